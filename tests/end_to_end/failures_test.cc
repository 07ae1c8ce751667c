// What an operator sees when there is no engine, a dead, closing, full or dying one, or
// one that answers nonsense.
#include <gtest/gtest.h>
#include <sys/shm.h>

#include <memory>
#include <string>

#include "ipc/channel.h"
#include "ipc/naming.h"
#include "tests/end_to_end/scripted_engine.h"
#include "tests/support/program.h"
#include "tests/support/t1_path.h"

namespace mar {

namespace {

struct Seen {
  std::string output;
  int status;
};

Seen run_dump(const std::vector<std::string>& environment = {}) {
  Program t1({t1_path(), "dump"}, environment);
  std::string output = t1.output();
  return {output, t1.status()};
}

void expect_dump_fails_with(const char* result) {
  const Seen seen = run_dump();
  EXPECT_EQ(seen.output, std::string("\aERROR: mar_dump failed[") + result + "].\n");
  EXPECT_EQ(seen.status, 1);
}

// An engine in a process of its own that takes one request, runs `then`, and lives on until it is killed.
std::unique_ptr<Child> engine_process(const std::function<void(ScriptedEngine&, const TCLIMessage&)>& then =
                                          [](auto&, const auto&) {}) {
  auto engine = std::make_unique<Child>([then] {
    ScriptedEngine own;
    if (const auto request = own.request()) then(own, *request);
    pause();
    return 0;
  });
  EXPECT_TRUE(eventually([] { return CommandQueue(CLI_IPC_NAME, false).CreatorAlive(); }));
  return engine;
}

// Waits until some reader sleeps on a head other than the engine's.
bool client_waits() {
  mar::QueueSemaphores semaphores;
  return semaphores.implInitialize(CLI_IPC_NAME, 0) && eventually([&] {
           int count = 0;
           return semaphores.implWaitCount(mar::kFirstHeadSem + 1, count) == 0 && count == 1;
         });
}

}  // namespace

TEST(Failures, NoEngine) {
  expect_dump_fails_with("-2");
  std::fclose(std::fopen(CLI_IPC_NAME, "w"));
  expect_dump_fails_with("-2");
}

TEST(Failures, ADeadEngine) {
  engine_process()->kill();
  EXPECT_TRUE(CommandQueue(CLI_IPC_NAME, false).IsInitialized()) << "its queue is still there";
  expect_dump_fails_with("-2");
}

// Each failed open frees what the one before has left.
TEST(Failures, ManyFailedOpensHoldOneQueue) {
  engine_process()->kill();
  const auto attached = [] {
    mar::IpcKeys keys;
    shmid_ds status{};
    if (mar::impl_ipc_keys(CLI_IPC_NAME, keys)) shmctl(shmget(keys.segment, 1, 0), IPC_STAT, &status);
    return status.shm_nattch;
  };
  for (int i = 0; i < 50; ++i) ASSERT_EQ(zarn_ipc_openx(), -1244);
  EXPECT_EQ(attached(), 1u);
  EXPECT_EQ(zarn_ipc_closex(), 0);
  EXPECT_EQ(attached(), 0u);
  EXPECT_EQ(zarn_ipc_closex(), -249);
}

TEST(Failures, AClosingEngine) {
  ScriptedEngine engine;
  ASSERT_TRUE(engine.usable());
  ASSERT_EQ(engine.queue().SetState(IPCQUEUE_CLOSE), 0);
  expect_dump_fails_with("-2");
}

TEST(Failures, AFullQueue) {
  ScriptedEngine engine(2);
  ASSERT_TRUE(engine.usable());
  for (uint32_t i = 0; i < 2; ++i) ASSERT_EQ(engine.queue().Put(ZARNENGINE_ID, numbered(i)), 0);
  expect_dump_fails_with("-1");
}

// A segment too small for one slot is a queue all the same: its engine runs.
TEST(Failures, AQueueWithoutHeads) {
  CkesSharedMemory block(CLI_IPC_NAME, 10291, true);
  QueueSemaphores semaphores;
  ASSERT_TRUE(block.IsInitialized() && semaphores.implInitialize(CLI_IPC_NAME, 1));
  expect_dump_fails_with("-1");
  semaphores.implDestroy();
}

TEST(Failures, NoHeadForTheClient) {
  ScriptedEngine engine(2);
  ASSERT_TRUE(engine.usable());
  long key = -1;
  ASSERT_EQ(engine.queue().OpenChannel({1, 1}, &key), 0);
  expect_dump_fails_with("-1");
}

TEST(Failures, AnEngineThatDiesWhileTheClientWaits) {
  auto engine = engine_process();
  Program t1({t1_path(), "dump"});
  ASSERT_TRUE(client_waits());
  engine->kill();
  EXPECT_EQ(t1.output(), "\aERROR: mar_dump failed[-2].\n");
  EXPECT_EQ(t1.status(), 1);
}

TEST(Failures, AnEngineThatDiesInTheMiddleOfALongAnswer) {
  auto engine = engine_process([](ScriptedEngine& own, const TCLIMessage& request) {
    own.send(request, CLI_HEADER, 10240, ScriptedEngine::reply(1200, 1));
    own.send(request, CLI_APPEND, 10240, "");
  });
  Program t1({t1_path(), "dump"});
  ASSERT_TRUE(client_waits());
  engine->kill();
  EXPECT_EQ(t1.output(), "\aERROR: mar_dump failed[-2].\n");
}

TEST(Failures, ALastAnswerIsNotLost) {
  auto engine = engine_process([](ScriptedEngine& own, const TCLIMessage& request) {
    own.answer(request, 1);
    raise(SIGKILL);
  });
  Program t1({t1_path(), "dump"});
  EXPECT_EQ(t1.output(), "mar_dump worked!\n");
}

TEST(Failures, AnswersOfEveryShapeAreJudgedByTheirFirstEightBytes) {
  ScriptedEngine engine;
  ASSERT_TRUE(engine.usable());
  const std::string good = ScriptedEngine::reply(1200, 1);
  const std::string worked = "mar_dump worked!\n";
  const auto failed = [](const char* result) {
    return std::string("\aERROR: mar_dump failed[") + result + "].\n";
  };
  struct {
    const char* label;
    uint32_t kind;
    int32_t length;
    std::string data;
    std::string output;
  } const rows[] = {
      {"wrong marker", 0, 10240, ScriptedEngine::reply(1201, 1), failed("-27")},
      {"marker in host order", 0, 10240, std::string("\xB0\x04\0\0\0\0\0\1", 8), failed("-27")},
      {"a lone middle record", 2, 10240, good, worked},
      {"a lone end record", 3, 10240, good, worked},
      {"unknown kind", 99, 10240, good, worked},
      {"negative length", 0, -1, good, failed("-27")},
      {"no length", 0, 0, good, failed("-27")},
      {"length beyond the record", 0, 10241, good, worked},
      {"length far beyond", 0, INT32_MAX, good, worked},
      {"exactly the header", 0, 8, good, worked},
      {"marker alone", 0, 4, good, failed("0")},
      {"three bytes", 0, 3, good, failed("-27")},
      {"the smallest result", 0, 8, ScriptedEngine::reply(1200, INT32_MIN), failed("-2147483648")},
  };
  for (const auto& row : rows) {
    Program t1({t1_path(), "dump"});
    const auto request = engine.request();
    ASSERT_TRUE(request.has_value()) << row.label;
    ASSERT_TRUE(engine.send(*request, row.kind, row.length, row.data)) << row.label;
    EXPECT_EQ(t1.output(), row.output) << row.label;
  }
}

// Two installations on one host: each client finds its own engine, by name alone.
TEST(Failures, InstancesNeverMeet) {
  ScriptedEngine plain;
  ASSERT_TRUE(plain.usable());
  const std::string blue = "ARM_AGENT_PREFIX=blue";
  EXPECT_EQ(run_dump({blue}).output, "\aERROR: mar_dump failed[-2].\n");
  Child blue_engine([] {
    setenv("ARM_AGENT_PREFIX", "blue", 1);
    ScriptedEngine own(4, "/var/zarn/controls_cl.zarn.blue");
    const auto request = own.request();
    return request.has_value() && own.answer(*request, 1) ? pause() : 1;
  });
  ASSERT_TRUE(eventually([] {
    setenv("ARM_AGENT_PREFIX", "blue", 1);
    const bool alive = CommandQueue(CLI_IPC_NAME, false).CreatorAlive();
    unsetenv("ARM_AGENT_PREFIX");
    return alive;
  }));
  Program plain_t1({t1_path(), "dump"});
  EXPECT_EQ(run_dump({blue}).output, "mar_dump worked!\n");
  const auto request = plain.request();
  ASSERT_TRUE(request.has_value());
  ASSERT_TRUE(plain.answer(*request, 3));
  EXPECT_EQ(plain_t1.output(), "\aERROR: mar_dump failed[3].\n");
}

}  // namespace mar
