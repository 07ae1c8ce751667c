// The queue's owner makes the queue, takes it over, keeps it clean and removes it. Plain system calls show
// what there is.
#include "standin/queue_owner.h"

#include <gtest/gtest.h>
#include <sys/stat.h>

#include "contract/names.h"
#include "ipc/naming.h"
#include "tests/standin/requests.h"
#include "tests/support/child.h"
#include "tests/support/files.h"
#include "tests/support/kernel_objects.h"
#include "tests/support/raw_segment.h"

namespace mar::standin {

namespace {

using CommandQueue = CIPCQueue<TCLIMessage>;

bool exists(const char* path) { return access(path, F_OK) == 0; }

struct MadeOwner : QueueOwner {
  explicit MadeOwner(uint16_t slots) : QueueOwner(CLI_IPC_NAME, slots) { EXPECT_EQ(create().reason(), ""); }
};

}  // namespace

TEST(QueueOwner, LaysTheSegmentOutToTheByte) {
  MadeOwner owner(2);
  std::vector<uint8_t> want(12 + 2 * 16 + 2 * 10264, 0);
  RawSegment fields;
  fields.attach(want.data(), 2);
  fields.u16(2) = 1;   // heads in use
  fields.u32(4) = 44;  // the first free slot
  fields.u16(14) = 2;  // the engine's head: its semaphore
  want[12] = 2;        // and its state, a channel
  fields.u16(30) = 3;  // the free head: its semaphore
  fields.u32(32) = fields.u32(36) = 0xFFFFFFFF;
  fields.u32(44 + 10260) = 44 + 10264;  // the first slot's link
  EXPECT_EQ(segment_bytes(CLI_IPC_NAME), want);
  EXPECT_EQ(semaphore_values(CLI_IPC_NAME, 1), (std::vector<int>{0, 2}));
  EXPECT_EQ(semaphore_values(CLI_IPC_NAME, 3), (std::vector<int>{1, 0, 0, 0}));
}

TEST(QueueOwner, TakesEverythingAwayThatItMade) {
  rmdir("/var/zarn");
  for (const bool directory_was_there : {false, true}) {
    if (directory_was_there) mkdir("/var/zarn", 0755);
    MadeOwner owner(3);
    EXPECT_EQ(kernel_objects(), 3);
    owner.remove();
    EXPECT_EQ(kernel_objects(), 0);
    EXPECT_FALSE(exists(CLI_IPC_NAME));
    EXPECT_EQ(exists("/var/zarn"), directory_was_there);
  }
}

TEST(QueueOwner, ServesEachInstanceApart) {
  MadeOwner plain(2);
  setenv("ARM_AGENT_PREFIX", "two", 1);
  MadeOwner second(3);
  EXPECT_EQ(segment_bytes("/var/zarn/controls_cl.zarn.two").size(), 12u + 3 * 10280);
  second.remove();
  unsetenv("ARM_AGENT_PREFIX");
  EXPECT_FALSE(exists("/var/zarn/controls_cl.zarn.two"));
  EXPECT_EQ(segment_bytes(CLI_IPC_NAME).size(), 12u + 2 * 10280);
}

TEST(QueueOwner, LeavesALivingEngineAloneAndReplacesADeadOne) {
  Child engine([] {
    MadeOwner made(8);
    return pause();
  });
  ASSERT_TRUE(eventually([] { return CommandQueue(CLI_IPC_NAME, false).CreatorAlive(); }));
  QueueOwner owner(CLI_IPC_NAME, 2);
  EXPECT_EQ(owner.create().reason(), "an engine runs here already: /var/zarn/controls_cl.zarn");
  EXPECT_TRUE(CommandQueue(CLI_IPC_NAME, false).CreatorAlive());
  engine.kill();
  // The dead engine's segment is larger. If it were reused, clients would compute its number of slots.
  ASSERT_EQ(owner.create().reason(), "");
  EXPECT_EQ(segment_bytes(CLI_IPC_NAME).size(), 12u + 2 * 10280);
  EXPECT_EQ(semaphore_values(CLI_IPC_NAME, 3).size(), 4u);
  EXPECT_EQ(kernel_objects(), 3);
}

TEST(QueueOwner, LeavesItsSuccessorAlone) {
  MadeOwner owner(2);
  CkesSharedMemory successor(CLI_IPC_NAME, 12 + 10280, true);  // takes over our larger segment
  ASSERT_TRUE(successor.IsInitialized());
  owner.remove();
  EXPECT_FALSE(segment_bytes(CLI_IPC_NAME).empty());
  EXPECT_TRUE(CkesSharedMemory(CLI_IPC_NAME, false).CreatorAlive());
}

// The old engine's file has been deleted, and a new engine serves under its name.
TEST(QueueOwner, LeavesAControlFileThatIsNoLongerItsOwn) {
  MadeOwner owner(2);
  unlink(CLI_IPC_NAME);
  MadeOwner successor(2);
  owner.remove();
  EXPECT_TRUE(CommandQueue(CLI_IPC_NAME, false).CreatorAlive());
}

TEST(QueueOwner, SaysWhyThereIsNoQueue) {
  ASSERT_EQ(mkfifo("/var/zarn/fifo", 0600), 0);
  const std::pair<const char*, const char*> rows[] = {
      {"/nowhere/at/all", "control file /nowhere/at/all: No such file or directory"},
      {"/var/zarn", "control file /var/zarn: not a regular file"},
      {"/var/zarn/fifo", "control file /var/zarn/fifo: not a regular file"},
      {"plain", "control file plain: give its folder too, as in ./plain"},
  };
  for (const auto& [name, want] : rows) EXPECT_EQ(QueueOwner(name, 2).create().reason(), want);
  EXPECT_FALSE(exists("plain"));
  // This namespace's limit on the size of a semaphore set.
  static constexpr char kLimits[] = "/proc/sys/kernel/sem";
  const std::string before = read_file(kLimits);
  if (!(std::ofstream(kLimits) << "5 32000 500 10" << std::flush)) GTEST_SKIP() << "fixed limits";
  QueueOwner too_many(CLI_IPC_NAME, 4);
  EXPECT_EQ(
      too_many.create().reason(),
      "too many slots: the queue needs a set of 6 semaphores, see /proc/sys/kernel/sem: Invalid argument");
  write_file(kLimits, before);
  EXPECT_EQ(kernel_objects(), 0);
  EXPECT_FALSE(exists(CLI_IPC_NAME));
}

// A client of another process namespace has a process number that is unknown here.
TEST(QueueOwner, TakesADeadClientForAliveWhileItWaits) {
  MadeOwner owner(3);
  const _TIPCIdentifier waiting = dead_process(), gone{waiting.process_id, 2};
  Child reader([&] {
    CommandQueue queue(CLI_IPC_NAME, false);
    TCLIMessage answer;
    return queue.Get(waiting, answer) != 0 ? 1 : pause();
  });
  const auto now = std::chrono::steady_clock::now();
  ASSERT_TRUE(eventually([&] { return owner.lives(waiting, now); }));
  EXPECT_FALSE(owner.lives(gone, now));
  ASSERT_EQ(owner.put_answer(gone, {}), 0);
  EXPECT_EQ(owner.reap(now), 1) << "the one that does not wait";
  kill(reader.pid(), SIGSTOP);  // as if woken and not yet at the lock
  waitpid(reader.pid(), nullptr, WUNTRACED);
  ASSERT_EQ(owner.put_answer(waiting, {}), 0);
  EXPECT_EQ(owner.reap(now), 0) << "its answer is still to be read";
  EXPECT_EQ(owner.reap(now + std::chrono::seconds(6)), 1);
}

// A reader that gave up waiting has left the state and the post of the withdrawal behind.
TEST(QueueOwner, BringsAWithdrawnHeadBackIntoUse) {
  MadeOwner owner(2);
  const _TIPCIdentifier client{static_cast<uint32_t>(getpid()), 1};
  ASSERT_EQ(owner.put_answer(client, {}), 0);
  owner.discard(client);
  CkesSharedMemory memory(CLI_IPC_NAME, false);
  const auto state = [&]() -> uint8_t& { return static_cast<uint8_t*>(memory.GetAddress())[12 + 16]; };
  state() = HEAD_WITHDRAWN;
  EXPECT_FALSE(owner.restore(client)) << "its reader may be on the way to the lock";
  QueueSemaphores semaphores;
  ASSERT_TRUE(semaphores.implInitialize(CLI_IPC_NAME, 0));
  ASSERT_EQ(semaphores.implPut_ID(3), 0);
  EXPECT_TRUE(owner.restore(client));
  EXPECT_EQ(state(), HEAD_IDLE);
  EXPECT_EQ(semaphore_values(CLI_IPC_NAME, 3), (std::vector<int>{1, 0, 0, 0}));
}

TEST(QueueOwner, FreesTheHeadsOfTheDeadAndOfNobodyElse) {
  MadeOwner owner(6);
  const auto self = static_cast<uint32_t>(getpid());
  Child waiting([] {
    CommandQueue queue(CLI_IPC_NAME, false);
    TCLIMessage answer;
    return queue.Get({static_cast<uint32_t>(getpid()), 1}, answer);
  });
  ASSERT_TRUE(eventually([] { return segment_bytes(CLI_IPC_NAME)[12 + 16] == HEAD_READER; }));
  Child idle([] { return pause(); });
  const _TIPCIdentifier unread{static_cast<uint32_t>(idle.pid()), 1};
  const _TIPCIdentifier living{self, 1},
      nonsense{0u - static_cast<uint32_t>(getpgrp()), 1};  // to kill(), our living group
  for (const auto& client : {unread, unread, nonsense, living}) ASSERT_EQ(owner.put_answer(client, {}), 0);
  EXPECT_EQ(owner.reap(std::chrono::steady_clock::now()), 1) << "the nonsense";
  waiting.kill();
  idle.kill();
  EXPECT_EQ(owner.reap(std::chrono::steady_clock::now()), 2);
  EXPECT_EQ(owner.reap(std::chrono::steady_clock::now()), 0);
  owner.discard(ZARNENGINE_ID);  // as for a request that names the engine as its sender

  const auto bytes = segment_bytes(CLI_IPC_NAME);
  EXPECT_EQ(bytes[0], 1) << "what the living client has not read";
  EXPECT_EQ(bytes[12], HEAD_CHANNEL) << "the engine's own head";
  EXPECT_EQ(semaphore_values(CLI_IPC_NAME, 3), (std::vector<int>{1, 0, 0, 0, 0, 0, 1, 0}));
  for (uint32_t thread = 2; thread < 6; ++thread) {
    EXPECT_EQ(owner.put_answer({self, thread}, {}), 0) << "its head or slot is lost: " << thread;
  }
}

TEST(QueueOwner, TakesAProcessThatItMayNotSignalForAlive) {
  Child stranger([] {
    // EINVAL: the only user of a user namespace, who may not signal process 1 either.
    if (setresuid(65534, 65534, 65534) != 0 && errno != EINVAL) return 2L;
    return process_is_gone(1) ? 1L : 0L;
  });
  EXPECT_EQ(stranger.result(), 0);
}

}  // namespace mar::standin
