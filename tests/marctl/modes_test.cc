// batch, ping, wait, and schema.
#include <gtest/gtest.h>

#include <algorithm>
#include <csignal>
#include <nlohmann/json.hpp>
#include <sstream>

#include "tests/marctl/marctl.h"

namespace mar {

namespace {

std::vector<nlohmann::json> json_lines(const std::string& output) {
  std::vector<nlohmann::json> lines;
  std::istringstream text(output);
  for (std::string line; std::getline(text, line);)
    lines.push_back(nlohmann::json::parse(line, nullptr, false));
  return lines;
}

}  // namespace

TEST(MarctlBatch, StopsAtTheFirstFailureOrGoesOn) {
  const struct {
    const char* arguments;
    const char* input;
    const char* output;
    int status;
    size_t sent;
  } rows[] = {
      {"batch -", "dump\n\n#\n{\"message\":\"debug\",\"payload\":{\"level\":9}}\ndump",
       "1: dump: done\n4: debug: The engine refused it with the result -4.\n", 7, 2},
      {"batch - --keep-going",
       "debug --level 9\nrequest-data-upload --request 1 --policy 1 --start 0 --end 1 --flags 1,1\ndump\r\n",
       "1: debug: The engine refused it with the result -4.\n"
       "2: request-data-upload: The engine has nothing to upload.\n3: dump: done\n",
       7, 3},
      {"batch - --quiet --keep-going", "dump\ndump extra\ndump",
       "2: The following argument was not expected: extra\n", 2, 2},
      {"batch -", "dump\ndump extra\ndump",
       "1: dump: done\n2: The following argument was not expected: extra\n", 2, 1},
      {"batch --keep-going /var/zarn/input", "dump\ndump extra\ndump",
       "marctl: /var/zarn/input:2: The following argument was not expected: extra\n", 2, 0},
      {"batch /var/zarn/input", "dump\ndump", "1: dump: done\n2: dump: done\n", 0, 2},
      {"batch -", "", "", 0, 0},
  };
  for (const auto& row : rows) {
    EngineThread engine;
    const Ran ran = marctl(row.arguments, row.input);
    EXPECT_EQ(ran.output, row.output);
    EXPECT_EQ(ran.status, row.status) << row.arguments;
    const auto requests = engine.requests();
    EXPECT_EQ(requests.size(), row.sent) << row.arguments;
    for (const auto& request : requests)
      EXPECT_EQ(request.record.sender.process_id, requests[0].record.sender.process_id);
  }
}

TEST(MarctlBatch, ReportsInJson) {
  EngineThread engine;
  const auto lines = json_lines(marctl("--json batch -", "dump\ndebug --level 9\n").output);
  ASSERT_EQ(lines.size(), 2u);
  EXPECT_EQ(lines[0]["line"], 1);
  EXPECT_EQ(lines[0]["message"], "dump");
  EXPECT_EQ(lines[0]["status"], 0);
  EXPECT_GT(lines[0]["ms"], 0);
  EXPECT_EQ(lines[1]["outcome"], "refused");
  EXPECT_EQ(lines[1]["result"], -4);
}

TEST(MarctlPing, CountsAndMeasures) {
  EngineThread engine(with_faults({"ping-engine#2:result=-5"}));
  const Ran ran = marctl("--json ping --count 3 --interval 0.001");
  EXPECT_EQ(ran.status, 7);
  const auto lines = json_lines(ran.output);
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[1]["result"], -5);
  EXPECT_EQ(lines[3]["sent"], 3);
  EXPECT_EQ(lines[3]["answered"], 2);
  const double first = lines[0]["ms"], third = lines[2]["ms"];
  EXPECT_EQ(lines[3]["min_ms"], std::min(first, third));
  EXPECT_EQ(lines[3]["max_ms"], std::max(first, third));
  EXPECT_EQ(lines[3]["avg_ms"], (first + third) / 2);
}

TEST(MarctlPing, SumsUpWhenInterrupted) {
  EngineThread engine;
  Program pinging(marctl_command("ping --count 2 --interval 1000"));
  ASSERT_EQ(pinging.line().substr(0, 7), "ping 1:");
  kill(pinging.pid(), SIGINT);
  const Ran ran = finish(pinging);
  EXPECT_EQ(ran.status, 0);
  EXPECT_EQ(ran.output.substr(0, 18), "1 sent, 1 answered") << ran.output;
}

TEST(MarctlWait, EndsWhenTheEngineIsUpOrDown) {
  EXPECT_EQ(marctl("wait --for down").output, "wait: done\n");
  EXPECT_EQ(marctl("wait --for up --timeout 0.2").status, 6);
  Program up(marctl_command("wait --for up"));
  std::optional<EngineThread> engine(std::in_place);
  EXPECT_EQ(finish(up).status, 0);
  const Ran still_up = marctl("wait --for down --timeout 0.2");
  EXPECT_EQ(still_up.output, "marctl: wait: The time was up. The engine runs.\n");
  EXPECT_EQ(still_up.status, 6);
  Program down(marctl_command("wait --for down"));
  engine.reset();
  EXPECT_EQ(finish(down).status, 0);
}

TEST(MarctlWait, AnEngineThatIsClosingIsNotYetDown) {
  EngineThread engine(with_faults({"dump:close"}));
  EXPECT_EQ(marctl("dump").status, 3);
  EXPECT_EQ(marctl("wait --for down --timeout 0.2").status, 6);
}

TEST(MarctlWatch, SendsNoSecondPingToAnEngineThatIsSilent) {
  EngineThread engine(with_faults({"ping-engine#2:silent"}));
  const Ran ran = marctl("--json watch --count 4 --interval 0.02");
  EXPECT_EQ(ran.status, 6);
  const auto lines = json_lines(ran.output);
  ASSERT_EQ(lines.size(), 4u);
  EXPECT_EQ(lines[0]["state"], "up");
  EXPECT_EQ(lines[0]["slots"], 16);
  EXPECT_EQ(lines[3]["state"], "silent");
  EXPECT_GT(lines[3]["waiting_ms"], lines[1]["waiting_ms"]);
  EXPECT_EQ(engine.requests().size(), 2u);
}

TEST(MarctlWatch, ShowsWhatTheQueueHolds) {
  EXPECT_EQ(marctl("watch --count 1").status, 3);
  EngineThread engine(with_faults({"start:full"}));
  const auto lines = json_lines(marctl("--json watch --count 1").output);
  ASSERT_EQ(lines.size(), 1u);
  EXPECT_EQ(lines[0]["outcome"], "full");
  EXPECT_EQ(lines[0]["queued"], 16);
}

TEST(MarctlOnATerminal, WatchAndBatchDrawOneLineAgain) {
  EngineThread engine;
  const auto drawn = [](const std::string& command) {
    Program terminal({"script", "-qec", command, "/dev/null"});
    return finish(terminal).output;
  };
  const std::string watch = drawn(MARCTL_PATH " watch --count 2 --interval 0.001");
  EXPECT_EQ(std::count(watch.begin(), watch.end(), '\r'), 2 + 1) << watch;  // and the last line end
  write_file("/var/zarn/input", "dump\ndebug --level 9\n");
  const std::string batch = drawn(MARCTL_PATH " batch --keep-going /var/zarn/input >/dev/null");
  EXPECT_EQ(batch.rfind("\r1 of 2, 0 failed\033[K", 0), 0u) << batch;
  EXPECT_TRUE(batch.ends_with("\r\033[K")) << batch;
}

TEST(MarctlSchema, DescribesEachCommand) {
  const auto lines = nlohmann::json::parse(marctl("schema").output);
  EXPECT_EQ(lines["oneOf"].size(), 19u);
  const auto threshold = nlohmann::json::parse(marctl("schema add-threshold").output);
  EXPECT_EQ(threshold["required"], (std::vector<std::string>{"a", "b", "c", "d", "e", "numbers"}));
  EXPECT_EQ(threshold["properties"]["d"]["maximum"], 255);
  EXPECT_EQ(threshold["properties"]["host"]["maxLength"], 255);
  EXPECT_EQ(threshold["properties"]["host"]["default"], ".*");
  EXPECT_EQ(threshold["properties"]["numbers"]["minItems"], 3);
  EXPECT_EQ(marctl("schema nonsense").status, 2);
}

}  // namespace mar
