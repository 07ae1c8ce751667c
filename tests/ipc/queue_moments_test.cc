// What happens between two steps of one operation: each test acts at one exact moment, or has one step fail.
#include <gtest/gtest.h>

#include <optional>

#include "ipc/naming.h"
#include "runtime/error_manager.h"
#include "tests/ipc/made_queue.h"
#include "tests/ipc/semaphore_hook.h"
#include "tests/support/child.h"

namespace mar {

namespace {

constexpr _TIPCIdentifier kUser{7, 70};

// An engine's process that makes the queue, and a reader in this one.
struct Moments : testing::Test {
  void SetUp() override {
    ASSERT_TRUE(eventually([] { return CommandQueue(CLI_IPC_NAME, false).CreatorAlive(); }));
    reader.emplace(CLI_IPC_NAME, false);
    engine.emplace(CLI_IPC_NAME, false);
  }
  // What the reader's Get returns when `action` runs in the moment before its wait number `slice`. Every wait
  // ends at once, as if its time had run out; a reader that would sleep on is ended after 20 of them.
  long get(int slice, const std::function<void()>& action) {
    int waits = 0;
    const HookScope hook([&](const sembuf&, bool timed) {
      if (!timed) return 0;
      if (++waits == slice) action();
      return waits < 20 ? EAGAIN : E2BIG;
    });
    return reader->Get(kUser, message);
  }
  void kill_creator() {
    creator.kill();
    ASSERT_FALSE(CommandQueue(CLI_IPC_NAME, false).CreatorAlive());
  }

  Child creator{[] {
    MadeQueue made(4);
    if (made.made()) pause();
    return 0;
  }};
  std::optional<CommandQueue> reader, engine;
  TCLIMessage message{};
};

}  // namespace

// At that moment the reader does not count as waiting, so closing the queue does not wake it.
TEST_F(Moments, AQueueThatClosesBeforeTheReaderSleeps) {
  EXPECT_EQ(get(1, [&] { EXPECT_EQ(engine->SetState(IPCQUEUE_CLOSE), 0); }), QUEUE_CLOSED);
  EXPECT_EQ(engine->SetState(IPCQUEUE_OPEN), 0);
  EXPECT_EQ(get(3, [&] { EXPECT_EQ(engine->SetState(IPCQUEUE_DESTROY), 0); }), QUEUE_CLOSED);
  EXPECT_EQ(engine->SetState(IPCQUEUE_OPEN), 0);
  const auto answer_and_close = [&] {
    EXPECT_EQ(engine->Put(kUser, numbered(5)), 0);
    EXPECT_EQ(engine->SetState(IPCQUEUE_CLOSE), 0);
  };
  EXPECT_EQ(get(1, answer_and_close), 0) << "what is queued is still read";
  EXPECT_EQ(message.command, 5u);
}

TEST_F(Moments, ACreatorThatDiesAfterSeveralSlices) {
  EXPECT_EQ(get(3, [&] { kill_creator(); }), QUEUE_GET_FAILED);
}

TEST_F(Moments, ACreatorThatAnswersAndDies) {
  const auto answer_and_die = [&] {
    EXPECT_EQ(engine->Put(kUser, numbered(6)), 0);
    kill_creator();
  };
  EXPECT_EQ(get(2, answer_and_die), 0);
  EXPECT_EQ(message.command, 6u);
}

// The lock is still the writer's then: neither its next operation nor the end of its handle may wait for it.
TEST_F(Moments, AnUnlockThatFailsLeavesTheLockHeld) {
  Child writer([] {
    alarm(20);
    const HookScope hook([](const sembuf& first, bool) { return first.sem_op == -1 ? ENOMEM : 0; });
    CommandQueue failing(CLI_IPC_NAME, false);
    return failing.Put(kUser, numbered(1)) * 1000 + failing.Put(kUser, numbered(2));
  });
  EXPECT_EQ(writer.result(), SHMEM_UNLOCK_FAILED * 1001);
  EXPECT_EQ(engine->Get(kUser, message), 0) << "the kernel released it at the writer's end";
  EXPECT_EQ(message.command, 1u);
}

}  // namespace mar
