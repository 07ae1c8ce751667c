// The exit status tells what became of a command, and only what cannot have been executed is tried again.
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <nlohmann/json.hpp>

#include "contract/causes.h"
#include "tests/marctl/marctl.h"

namespace mar {

namespace {

// Whether the process sleeps until a time of its own, as marctl does before it tries again.
bool is_pausing(pid_t process) {
  const std::string call = read_file("/proc/" + std::to_string(process) + "/syscall");
  return call.starts_with(std::to_string(SYS_clock_nanosleep) + ' ');
}

}  // namespace

TEST(MarctlStatus, TellsTheKindsOfFailureApart) {
  const struct {
    const char* fault;
    const char* arguments;
    int status;
    const char* output;
  } rows[] = {
      {"dump:result=1", "dump", 0, "dump: done\n"},
      {"dump:result=1", "dump --quiet", 0, ""},
      {"dump:marker=7", "dump", 1,
       "marctl: dump: The answer does not begin as an answer of the engine does.\n"},
      {"dump:silent", "dump --timeout 0.2", 6,
       "marctl: dump: The deadline passed before the engine had answered.\n"},
      {"dump:result=-5", "dump --quiet", 7, "marctl: dump: The engine refused it with the result -5.\n"},
      {"dump:result=-2", "dump", 7, "marctl: dump: The engine refused it with the result -2.\n"},
      {"dump:result=0", "dump", 7, "marctl: dump: The engine refused it with the result 0.\n"},
      {"dump:result=2", "dump", 8, "marctl: dump: The engine has nothing to upload.\n"},
      {"dump:close", "dump", 3,
       "marctl: dump: The engine is closing its queue and accepts no more requests: wait until it has ended, "
       "then start it again.\n"},
      {"dump:result=1", "--instance other dump", 3,
       "marctl: dump: There is no control file /var/zarn/controls_cl.zarn.other: start the engine.\n"},
  };
  for (const auto& row : rows) {
    EngineThread engine(with_faults({row.fault}));
    const Ran ran = marctl(row.arguments);
    EXPECT_EQ(ran.status, row.status) << row.arguments << ' ' << row.fault;
    EXPECT_EQ(ran.output, row.output) << row.arguments << ' ' << row.fault;
  }
}

TEST(MarctlStatus, TellsMissingPermission) {
  EngineThread engine;
  Program program({"sh", "-c",
                   "chmod 0 /var/zarn; exec setpriv --bounding-set=-all " MARCTL_PATH
                   " dump --json --retry 9"});
  const Ran ran = finish(program);
  chmod("/var/zarn", 0777);
  EXPECT_EQ(ran.status, 4) << ran.output;
  const auto line = nlohmann::json::parse(ran.output, nullptr, false);
  EXPECT_EQ(line["outcome"], "no-permission");
  EXPECT_EQ(line["cause"], MAR_CAUSE_NO_ACCESS);
}

TEST(MarctlStatus, AFullQueueIsTriedAgain) {
  std::optional<EngineThread> engine(with_faults({"start:full"}));
  EXPECT_EQ(marctl("dump").status, 5);
  Program retrying(marctl_command("dump --retry 1000"));
  ASSERT_TRUE(eventually([&] { return is_pausing(retrying.pid()); }));
  engine.reset();
  engine.emplace();
  EXPECT_EQ(finish(retrying).status, 0);
  EXPECT_EQ(engine->requests().size(), 1u);
}

// A client finds out that no head is free when it looks for its answer.
TEST(MarctlStatus, WithoutAHeadForTheAnswerNothingIsSentAgain) {
  EngineOptions options;
  options.slots = 2;  // a head for the engine, and one for a client
  EngineThread engine(with_faults({"ping-engine:silent"}, options));
  Program waiting(marctl_command("ping-engine"));
  ASSERT_TRUE(eventually([&] { return engine.requests().size() == 1; }));
  EXPECT_EQ(marctl("dump --retry 1").status, 5);
  engine.stop();  // once it has served what is queued
  EXPECT_EQ(engine.requests().size(), 2u);
}

TEST(MarctlStatus, AnEngineThatIsNotThereIsWaitedForButNothingIsSentTwice) {
  Program early(marctl_command("dump --retry 1000"));
  ASSERT_TRUE(eventually([&] { return is_pausing(early.pid()); }));
  std::optional<EngineProcess> engine(with_faults({"dump#2:die-before"}));
  EXPECT_EQ(finish(early).status, 0);
  Program unlucky(marctl_command("dump --retry 2"));
  engine->join();
  EngineThread next;
  EXPECT_NE(finish(unlucky).status, 0);
  EXPECT_EQ(next.requests().size(), 0u) << "the engine that died may have executed it";
}

}  // namespace mar
