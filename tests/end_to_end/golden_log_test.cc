// What the engine log says of a command, line by line: one section of golden_log.txt for each situation. A
// message with a line end in it stands there as it stands in the log.
#include <gtest/gtest.h>

#include <fstream>
#include <functional>
#include <map>
#include <string>

#include "engine_client/commands.h"
#include "engine_client/exchange.h"
#include "ipc/channel.h"
#include "log/engine_log.h"
#include "tests/end_to_end/scripted_engine.h"

namespace mar {

namespace {

constexpr char kLogFile[] = "/var/zarn/client.log";

// "== name" opens a section, which goes on to the next.
std::map<std::string, std::string> golden_sections() {
  std::map<std::string, std::string> sections;
  std::ifstream file(GOLDEN_LOG);
  std::string name;
  for (std::string line; std::getline(file, line);) {
    if (line.rfind("== ", 0) == 0) {
      name = line.substr(3);
    } else {
      sections[name] += line + "\n";
    }
  }
  return sections;
}

// The log without what differs from run to run: time stamps, and the ids of thread and process.
std::string logged() {
  constexpr char kStampShape[] = "Nov 15 16:22:32:123   ";
  constexpr size_t kStampSize = sizeof kStampShape - 1;
  const std::string user = "ipc_user_id = [";
  std::ifstream file(kLogFile);
  std::string text;
  for (std::string line; std::getline(file, line); text += line + "\n") {
    const bool stamped =
        line.size() >= kStampSize && line[9] == ':' && line[15] == ':' && line.substr(19, 3) == "   ";
    if (stamped) line.erase(0, kStampSize);
    if (const size_t at = line.find(user); at != line.npos) {
      line.replace(at + user.size(), line.find(']', at) - at - user.size(), "THREAD , PROCESS");
    }
  }
  return text;
}

// Runs `command` in a process whose log is on, while `engine_side` plays the engine's part.
std::string log_of(
    const std::function<void()>& command, const std::function<void()>& engine_side = [] {}) {
  unlink(kLogFile);
  setenv("LC_ALL", "C", 1);  // the stamp names the month in the user's language
  Child client([&] {
    const int code = ZARNLogInit(kLogFile, 100'000'000, 3, 8192, 0);
    command();
    return code;
  });
  engine_side();
  EXPECT_EQ(client.result(), 0);
  return logged();
}

struct GoldenLog : testing::Test {
  void expect(const std::string& situation, const std::string& log) {
    EXPECT_EQ(log, golden[situation]) << situation;
  }
  std::map<std::string, std::string> golden = golden_sections();
};

void dump() { mar_dump(0); }

}  // namespace

TEST_F(GoldenLog, WithoutEngine) {
  expect("no engine", log_of(dump));
  expect("bad policy", log_of([] { mar_request_data_upload(1, 0, 0, 0, 0, 0, {}, {}, {}); }));
  const unsigned char request[8] = {};
  expect("no queue", log_of([&] {
           unsigned char* reply = nullptr;
           zarn_send_rcv_from_mar_engine(request, sizeof request, &reply);
         }));
  expect("closed twice", log_of([] { zarn_ipc_closex(); }));
  Child([] { return MadeQueue(2).made() ? pause() : 1; }).kill();
  Child creator([] { return MadeQueue(2).made() ? pause() : 1; });
  ASSERT_TRUE(eventually([] { return EngineIsRunning() == 1; }));
  creator.kill();
  expect("dead engine", log_of([] { zarn_ipc_openx(); }));
}

TEST_F(GoldenLog, WithAnEngine) {
  ScriptedEngine engine;
  ASSERT_TRUE(engine.usable());
  const auto answers = [&](const std::vector<uint32_t>& kinds) {
    return [&engine, kinds] {
      const auto request = engine.request();
      ASSERT_TRUE(request.has_value());
      for (const uint32_t kind : kinds) engine.send(*request, kind, 10240, ScriptedEngine::reply(1200, 1));
    };
  };
  expect("answered", log_of(dump, answers({0})));
  expect("cleared", log_of([] { mar_clear_eng(); }, answers({0})));
  expect("stopped", log_of([] { mar_stop_engine(); }, answers({0})));
  expect("long answer", log_of(dump, answers({1, 2, 3})));
  expect("stray middle", log_of(dump, answers({2})));
  expect("stray end", log_of(dump, answers({3})));
  expect("unknown kind", log_of(dump, answers({99})));
  for (uint32_t i = 0; i < 8; ++i) ASSERT_EQ(engine.queue().Put({1, 1}, numbered(i)), 0);
  expect("full queue", log_of(dump));
}

TEST_F(GoldenLog, WithoutAHeadForTheEngine) {
  MadeQueue made(1);
  ASSERT_TRUE(made.made());
  CommandQueue queue(CLI_IPC_NAME, false);
  long key = 0;
  ASSERT_EQ(queue.OpenChannel({1, 1}, &key), 0);
  expect("no channel", log_of([] { zarn_ipc_openx(); }));
}

TEST_F(GoldenLog, WithoutAHeadForTheClient) {
  ScriptedEngine engine(2);
  ASSERT_TRUE(engine.usable());
  long key = 0;
  ASSERT_EQ(engine.queue().OpenChannel({1, 1}, &key), 0);
  expect("no head", log_of(dump));
}

}  // namespace mar
