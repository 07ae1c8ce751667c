// Sessions on file: a recording answers again as its engine did, and what is not a recording is refused.
#include "standin/recording.h"

#include <gtest/gtest.h>

#include "standin/request_line.h"
#include "tests/standin/client.h"
#include "tests/standin/requests.h"
#include "tests/support/engine.h"
#include "tests/support/files.h"

namespace mar::standin {

namespace {

constexpr char kPath[] = "/var/zarn/recording";

ServedRequest served(const TCLIMessage& request, int32_t result, const char* effects = "") {
  return {1, request, result, effects, effects, {}};
}

}  // namespace

TEST(Recording, GivesBackWhatWasWritten) {
  const uint8_t level[] = {0, 0, 2, 0}, changed[] = {0, 1, 2, 0};
  const TCLIMessage debug = request_of(126, level, 4);
  write_file(kPath, recording_line(served(debug, -9, "result=-9,delay=3")) + "\n\n" +
                        notice_line(LineForm::kJson, {}, "note", "freed 1 heads") + '\n' +
                        recording_line(served(request_of(125), 1)) + '\n' +
                        request_line(LineForm::kJson, served(request_of(126, level, 4), 7)) + '\n');
  auto recording = Recording::read(kPath);
  ASSERT_EQ(recording.reason(), "");
  const RecordedRequest* request = (*recording).next(126);
  ASSERT_NE(request, nullptr);
  EXPECT_EQ(request->result, -9);
  EXPECT_EQ(request->data, "000002");
  EXPECT_TRUE(request->is_same(debug));
  EXPECT_FALSE(request->is_same(request_of(126, level, 3))) << "the zero at the end counts";
  EXPECT_FALSE(request->is_same(request_of(126, changed, 4)));
  FaultEffects effects;
  request->faults.apply_to(effects);
  EXPECT_EQ(effects.delay_ms, 3);
  EXPECT_EQ(effects.text, "result=-9,delay=3");
  request = (*recording).next(126);
  ASSERT_NE(request, nullptr);
  EXPECT_EQ(request->line, 5u);
  EXPECT_TRUE(request->is_same(request_of(126, changed, 4))) << "its bytes are not known";
  EXPECT_EQ((*recording).next(126), nullptr);
  EXPECT_EQ((*recording).next(113), nullptr);
}

// What the engine would refuse was accepted then, and the other way round.
TEST(Recording, IsAnsweredByAgain) {
  const TCLIMessage dump = request_of(125), level_2 = request_of(126, 2u), level_4 = request_of(126, 4u);
  write_file(kPath, recording_line(served(dump, -9, "result=-9")) + '\n' +
                        recording_line(served(level_4, 1)) + '\n' + recording_line(served(level_4, -7)) +
                        '\n' + recording_line(served(request_of(101), -5)) + '\n' +
                        recording_line(served(request_of(101), 1)) + '\n');
  std::vector<std::string> notices;
  EngineOptions options = with_faults({"debug#3:result=-8"});
  options.on_notice = [&](Notice, const std::string& text) { notices.push_back(text); };
  uint32_t log_level = 0;
  options.on_dump = [&](const EngineState& state) { log_level = state.log_level; };
  options.replay = *Recording::read(kPath);
  EngineThread engine(options);
  Client client;
  const struct {
    TCLIMessage request;
    long want;
  } rows[] = {{dump, -9},    {level_4, 1}, {level_2, -7},         {level_2, -8},
              {level_4, -4}, {dump, 1},    {request_of(101), -5}, {request_of(101), 1}};
  for (const auto& row : rows) EXPECT_EQ(client.ask(row.request), row.want) << &row - rows;
  EXPECT_TRUE(engine.join()) << "the accepted stop ends it";
  EXPECT_EQ(log_level, 3u) << "what was refused changed nothing";
  EXPECT_EQ(notices, std::vector<std::string>{"request 3 differs from the one recorded in line 3"});
}

TEST(Recording, NamesTheLineThatIsNoRecording) {
  const struct {
    const char* text;
    const char* reason;
  } rows[] = {
      {"", ""},
      {"{\"event\":\"ready\",\"text\":\"\"}", ""},
      {"\nrequest 1", ", line 2: not a JSON object with an \"event\""},
      {"[1]", ", line 1: not a JSON object with an \"event\""},
      {"{\"event\":1}", ", line 1: not a JSON object with an \"event\""},
      {"{\"event\":\"request\",\"code\":-1,\"result\":1}", ", line 1: \"code\" is not a message code"},
      {"{\"event\":\"request\",\"code\":125}", ", line 1: \"result\" is not a result"},
      {"{\"event\":\"request\",\"code\":125,\"result\":2147483648}", ", line 1: \"result\" is not a result"},
      {"{\"event\":\"request\",\"code\":125,\"result\":1.5}", ", line 1: \"result\" is not a result"},
      {"{\"event\":\"request\",\"code\":125,\"result\":1,\"effects\":\"silly\"}",
       ", line 1: \"effects\": \"silly\" is not a fault"},
      {"{\"event\":\"request\",\"code\":125,\"result\":1,\"data\":\"00\"}",
       ", line 1: \"data\" needs text and a \"length\""},
  };
  for (const auto& row : rows) {
    write_file(kPath, row.text);
    EXPECT_EQ(Recording::read(kPath).reason(), (*row.reason == '\0' ? "" : kPath) + std::string(row.reason))
        << row.text;
  }
  EXPECT_EQ(Recording::read("/var/zarn").reason(), "/var/zarn: cannot be read");
  EXPECT_EQ(Recording::read("/var/zarn/none").reason(), "/var/zarn/none: No such file or directory");
}

}  // namespace mar::standin
