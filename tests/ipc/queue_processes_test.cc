// Several processes on one queue: blocked readers and writers, dying creators, withdrawn heads.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/sem.h>

#include <memory>

#include "ipc/naming.h"
#include "tests/ipc/made_queue.h"
#include "tests/support/child.h"

namespace mar {

namespace {

constexpr _TIPCIdentifier kUser{7, 70};
constexpr uint16_t kUserSem = 2;  // the first head claimed

long get_as_user() {
  CommandQueue queue(CLI_IPC_NAME, false);
  TCLIMessage message{};
  const long code = queue.Get(kUser, message);
  return code == 0 ? static_cast<long>(message.command) : code;
}

// A queue whose creator is a process of its own, that can be killed.
struct QueueOfAnother : testing::Test {
  void SetUp() override {
    ASSERT_TRUE(eventually([] { return CommandQueue(CLI_IPC_NAME, false).CreatorAlive(); }));
    semaphores.implInitialize(CLI_IPC_NAME, 0);
  }
  bool reader_blocks() {
    return eventually([&] {
      int count = 0;
      return semaphores.implWaitCount(kUserSem, count) == 0 && count == 1;
    });
  }

  Child creator{[] {
    MadeQueue made(4);
    if (made.made()) pause();
    return 0;
  }};
  mar::QueueSemaphores semaphores;
};

struct OwnQueue : testing::Test {
  MadeQueue made{4};
};

}  // namespace

TEST_F(OwnQueue, AReaderSleepsUntilItsOwnMessageComes) {
  Child reader(get_as_user);
  ASSERT_TRUE(eventually([&] { return made.waiters(kUserSem) == 1; }));
  EXPECT_EQ(*made.at(MadeQueue::head(0)), HEAD_READER);
  CommandQueue queue(CLI_IPC_NAME, false);
  ASSERT_EQ(queue.Put({7, 71}, numbered(1)), 0);  // another thread of that process
  made.semaphores().implPut_ID(kUserSem);         // woken with nothing there: sleeps on
  ASSERT_TRUE(eventually([&] { return made.waiters(kUserSem) == 1; }));
  ASSERT_EQ(queue.Put(kUser, numbered(5)), 0);
  EXPECT_EQ(reader.result(), 5);
  EXPECT_EQ(*made.at(MadeQueue::head(0)), HEAD_IDLE);
}

TEST_F(OwnQueue, DestroyReleasesABlockedReader) {
  Child reader(get_as_user);
  ASSERT_TRUE(eventually([&] { return made.waiters(kUserSem) == 1; }));
  { const CommandQueue ending(CLI_IPC_NAME, true); }
  EXPECT_EQ(reader.result(), QUEUE_CLOSED);
}

TEST_F(OwnQueue, AWithdrawnHeadSendsItsReaderAway) {
  Child reader(get_as_user);
  ASSERT_TRUE(eventually([&] { return made.waiters(kUserSem) == 1; }));
  *made.at(MadeQueue::head(0)) = HEAD_WITHDRAWN;
  made.semaphores().implPut_ID(kUserSem);
  EXPECT_EQ(reader.result(), QUEUE_INVALID_ID);
  EXPECT_EQ(*made.at(MadeQueue::head(0)), HEAD_IDLE);
}

TEST_F(OwnQueue, AWriterMayWaitForRoom) {
  CommandQueue queue(CLI_IPC_NAME, false);
  for (uint32_t i = 1; i <= 4; ++i) ASSERT_EQ(queue.Put(kUser, numbered(i)), 0);
  const auto put_waiting = [] {
    CommandQueue own(CLI_IPC_NAME, false);
    own.SetWaitOnOverflow(true);
    return own.Put(kUser, numbered(5));
  };
  TCLIMessage message{};
  {
    Child writer(put_waiting);
    ASSERT_TRUE(eventually([&] { return made.waiters(mar::kOverflowSem) == 1; }));
    ASSERT_EQ(queue.Get(kUser, message), 0);
    EXPECT_EQ(writer.result(), 0);
  }
  mar::IpcKeys keys;
  ASSERT_TRUE(mar::impl_ipc_keys(CLI_IPC_NAME, keys));
  const int set = semget(keys.segment_semaphores, 2, 0);
  Child writer([set] {
    CommandQueue own(CLI_IPC_NAME, false);
    own.SetWaitOnOverflow(true);
    const long code = own.Put(kUser, numbered(6));
    return code * 10 + semctl(set, mar::kLockSem, GETVAL);
  });
  ASSERT_TRUE(eventually([&] { return made.waiters(mar::kOverflowSem) == 1; }));
  ASSERT_EQ(queue.SetState(IPCQUEUE_CLOSE), 0);
  // Kept as is: the refused writer keeps the lock, as long as its queue object lives.
  EXPECT_EQ(writer.result(), QUEUE_CLOSED * 10 + 1);
  EXPECT_EQ(queue.KeyPut(0, numbered(7)), QUEUE_CLOSED);
}

TEST_F(OwnQueue, CloseWakesABlockedReader) {
  Child reader(get_as_user);
  ASSERT_TRUE(eventually([&] { return made.waiters(kUserSem) == 1; }));
  ASSERT_EQ(CommandQueue(CLI_IPC_NAME, false).SetState(IPCQUEUE_CLOSE), 0);
  EXPECT_EQ(reader.result(), QUEUE_CLOSED);
}

// A set of an unknown size is not written to.
TEST_F(OwnQueue, ASemaphoreSetOfAnotherSizeIsReplaced) {
  ASSERT_TRUE(made.semaphores().implDestroy());
  mar::IpcKeys keys;
  ASSERT_TRUE(mar::impl_ipc_keys(CLI_IPC_NAME, keys));
  ASSERT_NE(semget(keys.queue_semaphores, 1000, IPC_CREAT | 0666), -1);
  ASSERT_TRUE(made.semaphores().implInitialize(CLI_IPC_NAME, 4));
  EXPECT_NE(semget(keys.queue_semaphores, 6, 0), -1);
  EXPECT_EQ(semget(keys.queue_semaphores, 7, 0), -1);
}

// The writer dies in the middle of the long copy: its message ends at a page that cannot be read.
TEST_F(OwnQueue, AWriterKilledInTheCopyHasChangedNothing) {
  CommandQueue queue(CLI_IPC_NAME, false);
  long key = -1;
  ASSERT_EQ(queue.OpenChannel(ZARNENGINE_ID, &key), 0);
  ASSERT_EQ(queue.KeyPut(key, numbered(1)), 0);
  const auto fields = [&] {
    std::vector<uint8_t> all(made.at(0), made.at(made.slot(0)));
    for (uint32_t k = 0; k < 4; ++k) {
      const uint8_t* const next = made.at(made.slot(k) + 10260);
      all.insert(all.end(), next, next + 4);
    }
    return all;
  };
  const auto before = fields();
  const long page = sysconf(_SC_PAGESIZE);
  auto* pages = static_cast<uint8_t*>(mmap(nullptr, static_cast<size_t>(4 * page), PROT_READ | PROT_WRITE,
                                           MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
  ASSERT_EQ(mprotect(pages + 2 * page, static_cast<size_t>(2 * page), PROT_NONE), 0);
  Child writer([&] {
    signal(SIGSEGV, SIG_DFL);  // a sanitizer would have it
    CommandQueue own(CLI_IPC_NAME, false);
    return own.KeyPut(key, *reinterpret_cast<TCLIMessage*>(pages));
  });
  EXPECT_EQ(writer.result(), Child::kNoResult);
  EXPECT_EQ(fields(), before);
  EXPECT_EQ(queue.KeyPut(key, numbered(2)), 0);  // the lock is free, and so is the slot
}

TEST_F(QueueOfAnother, AReaderOutlivesItsCreator) {
  Child reader(get_as_user);
  ASSERT_TRUE(reader_blocks());
  creator.kill();
  EXPECT_EQ(reader.result(), QUEUE_GET_FAILED);
}

TEST_F(QueueOfAnother, AReaderOutlivesTheSemaphores) {
  Child reader(get_as_user);
  ASSERT_TRUE(reader_blocks());
  semaphores.implDestroy();
  EXPECT_EQ(reader.result(), QUEUE_GET_FAILED);
}

TEST_F(QueueOfAnother, ALockThatIsGoneIsReportedAsSuch) {
  Child reader(get_as_user);
  ASSERT_TRUE(reader_blocks());
  mar::IpcKeys keys;
  ASSERT_TRUE(mar::impl_ipc_keys(CLI_IPC_NAME, keys));
  semctl(semget(keys.segment_semaphores, 2, 0), 0, IPC_RMID);
  semaphores.implPut_ID(kUserSem);
  EXPECT_EQ(reader.result(), SHMEM_LOCK_FAILED);
}

TEST_F(QueueOfAnother, AReaderOfADeadCreatorsQueueWaitsOn) {
  creator.kill();
  Child reader(get_as_user);
  ASSERT_TRUE(reader_blocks());
  CommandQueue queue(CLI_IPC_NAME, false);
  EXPECT_FALSE(queue.CreatorAlive());
  ASSERT_EQ(queue.Put(kUser, numbered(6)), 0);
  EXPECT_EQ(reader.result(), 6);
}

}  // namespace mar
