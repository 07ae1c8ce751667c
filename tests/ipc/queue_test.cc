// One process on one queue: layout, order, codes, damaged segments.
#include "ipc/queue.h"

#include <gtest/gtest.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <fstream>
#include <functional>
#include <optional>
#include <string>

#include "ipc/naming.h"
#include "tests/ipc/made_queue.h"
#include "tests/support/error_trail.h"

namespace mar {

namespace {

constexpr _TIPCIdentifier kUser{7, 70};
constexpr _TIPCIdentifier kOther{7, 71};
constexpr int kNoQueue = -1;

// A queue of 4 slots with the engine's channel open, key 0.
struct OpenQueue : testing::Test {
  void SetUp() override {
    ASSERT_TRUE(made.made());
    queue.emplace(CLI_IPC_NAME, false);
    ASSERT_EQ(queue->OpenChannel(ZARNENGINE_ID, &key), 0);
    ASSERT_EQ(key, 0);
  }
  void put(uint32_t first, uint32_t last) {
    for (uint32_t i = first; i <= last; ++i) ASSERT_EQ(queue->KeyPut(key, numbered(i)), 0);
  }

  MadeQueue made{4};
  std::optional<CommandQueue> queue;
  long key = -1;
  TCLIMessage message{};
};

}  // namespace

TEST(QueueOpening, CapacityFollowsFromTheSegmentSize) {
  struct {
    const char* label;
    uint64_t size;
    int want;
  } const rows[] = {
      {"less than a header", 11, kNoQueue},
      {"header alone", 12, 0},
      {"one byte short of a slot", 10291, 0},
      {"exactly one slot", 10292, 1},
      {"eight slots and some slack", 82752, 8},
      {"as many as 16 bits count", 12 + 10280ull * 65535, 65535},
      {"one more than 16 bits count", 12 + 10280ull * 65536, kNoQueue},
  };
  std::ofstream(CLI_IPC_NAME) << 'x';
  mar::IpcKeys keys;
  ASSERT_TRUE(mar::impl_ipc_keys(CLI_IPC_NAME, keys));
  ASSERT_NE(semget(keys.segment_semaphores, 2, IPC_CREAT | 0666), -1);
  ASSERT_NE(semget(keys.queue_semaphores, 2, IPC_CREAT | 0666), -1);
  for (const auto& row : rows) {
    const int segment = shmget(keys.segment, row.size, IPC_CREAT | 0666);
    ASSERT_NE(segment, -1) << row.label;
    CommandQueue queue(CLI_IPC_NAME, false);
    EXPECT_EQ(queue.IsInitialized() ? queue.Capacity() : kNoQueue, row.want) << row.label;
    long key = 0;
    if (row.want == 0) {
      EXPECT_EQ(queue.OpenChannel(ZARNENGINE_ID, &key), QUEUE_OVERFLOW) << row.label;
    }
    shmctl(segment, IPC_RMID, nullptr);
  }
}

TEST(QueueOpening, AnUnusableQueueAnswersNotInit) {
  CommandQueue absent(CLI_IPC_NAME, false);
  TCLIMessage message{};
  long key = 0;
  EXPECT_EQ(absent.OpenChannel(ZARNENGINE_ID, &key), QUEUE_NOT_INIT);
  EXPECT_EQ(absent.KeyPut(0, message), QUEUE_NOT_INIT);
  EXPECT_EQ(error_trail(), "CIPCQueue::PrivatePut()\nCIPCQueue::KeyPut()\n");
  EXPECT_EQ(absent.Get(kUser, message), QUEUE_NOT_INIT);
  EXPECT_EQ(error_trail(), "CIPCQueue::PrivateGet()\nCIPCQueue::Get()\n");
  EXPECT_EQ(absent.SetState(IPCQUEUE_CLOSE), QUEUE_NOT_INIT);
  EXPECT_FALSE(absent.CreatorAlive());
}

TEST(QueueOpening, AClosingQueueIsRefusedAndOnlyDetachedFrom) {
  MadeQueue made(4);
  made.u32(8) = IPCQUEUE_CLOSE;
  EXPECT_FALSE(CommandQueue(CLI_IPC_NAME, false).IsInitialized());
  EXPECT_EQ(made.u32(8), 1u);
  made.u32(8) = IPCQUEUE_OPEN;
  EXPECT_TRUE(CommandQueue(CLI_IPC_NAME, false).IsInitialized());
  made.u32(8) = IPCQUEUE_CLOSE;
  EXPECT_FALSE(CommandQueue(CLI_IPC_NAME, true).IsInitialized());  // removes it for good
  made.u32(8) = IPCQUEUE_OPEN;
  EXPECT_FALSE(CommandQueue(CLI_IPC_NAME, false).IsInitialized());
}

TEST_F(OpenQueue, APutLaysOutTheSegmentAsAgreed) {
  put(0x41, 0x42);
  const uint32_t slot0 = 76, slot1 = 10340, slot2 = 20604;
  EXPECT_EQ(made.u16(0), 2);      // itemCount
  EXPECT_EQ(made.u16(2), 1);      // headsInUse
  EXPECT_EQ(made.u32(4), slot2);  // freeList
  EXPECT_EQ(*made.at(12), 2);     // the head's state: a channel
  EXPECT_EQ(*made.at(13), 0);     // reserved
  EXPECT_EQ(made.u16(14), 2);     // semNumber
  EXPECT_EQ(made.u32(16), 0u);    // owner: the engine
  EXPECT_EQ(made.u32(20), 0u);
  EXPECT_EQ(made.u32(24), slot0);     // firstItem
  EXPECT_EQ(made.u32(slot0), 0x41u);  // the record
  EXPECT_EQ(*made.at(slot0 + 8 + 10239), 0x41);
  EXPECT_EQ(made.u32(slot0 + 10260), slot1);  // next
  EXPECT_EQ(made.u32(slot1 + 10260), 0u);
  ASSERT_EQ(queue->KeyGet(key, message), 0);
  EXPECT_EQ(made.u32(24), slot1);
  EXPECT_EQ(made.u32(4), slot0);  // freed slots come first
  EXPECT_EQ(made.u32(slot0 + 10260), slot2);
  EXPECT_EQ(made.u16(0), 1);
}

TEST_F(OpenQueue, MessagesKeepTheirOrderAndAFrontPutOvertakes) {
  put(1, 2);
  ASSERT_EQ(queue->PrivatePut(ZARNENGINE_ID, -1, numbered(3), false), 0);  // by identifier: the same head
  ASSERT_EQ(queue->PrivatePut(NULL_IPC_ID, key, numbered(4), true), 0);
  for (const uint32_t want : {4u, 1u, 2u, 3u}) {
    ASSERT_EQ(queue->KeyGet(key, message), 0);
    EXPECT_EQ(std::memcmp(&message, std::make_unique<TCLIMessage>(numbered(want)).get(), sizeof message), 0)
        << want;
  }
  bool taken = true;
  EXPECT_EQ(queue->KeyTryGet(key, message, taken), 0);
  EXPECT_FALSE(taken);
}

TEST_F(OpenQueue, InPlaceAMessageIsWrittenAndReadInItsSlot) {
  put(0x41, 0x41);
  ASSERT_EQ(queue->KeyGet(key, message), 0);
  const uint32_t slot0 = made.slot(0), slot1 = made.slot(1);
  const auto fill = [&](TCLIMessage& slot) {
    EXPECT_EQ(made.u32(4), slot0);  // still free, so that a writer killed here changes nothing
    slot.command = 0x42;
  };
  ASSERT_EQ(queue->KeyPutInPlace(key, fill), 0);
  EXPECT_EQ(made.u32(4), slot1);
  EXPECT_EQ(*made.at(slot0), 0x42);
  EXPECT_EQ(*made.at(slot0 + 8), 0x41);  // left out
  int taken = 0;
  const auto take = [&](const TCLIMessage& slot) {
    EXPECT_EQ(made.u32(24), slot0);  // still queued
    EXPECT_EQ(slot.command, 0x42u);
    ++taken;
  };
  ASSERT_EQ(queue->GetInPlace(ZARNENGINE_ID, take), 0);
  EXPECT_EQ(made.u32(4), slot0);
  EXPECT_EQ(queue->KeyPutInPlace(key, fill), QUEUE_INVALID_KEY);  // no channel any more
  EXPECT_EQ(error_trail(), "CIPCQueue::PrivatePut()\nCIPCQueue::KeyPut()\n");
  ASSERT_EQ(queue->SetState(IPCQUEUE_CLOSE), 0);
  EXPECT_EQ(queue->GetInPlace(ZARNENGINE_ID, take), QUEUE_CLOSED);
  EXPECT_EQ(error_trail(), "CIPCQueue::PrivateGet()\nCIPCQueue::Get()\n");
  EXPECT_EQ(taken, 1);
}

TEST_F(OpenQueue, OnlyChannelsHaveKeys) {
  ASSERT_EQ(queue->Put(kUser, numbered(1)), 0);  // head 1 has an owner but is no channel
  const auto before = made.bytes();
  for (const long bad : {1L, 4L, -2L, 1L << sizeof(long) * 4, LONG_MAX / 2 + 1}) {
    EXPECT_EQ(queue->KeyPut(bad, numbered(2)), QUEUE_INVALID_KEY) << bad;
    EXPECT_EQ(queue->KeyGet(bad, message), QUEUE_INVALID_KEY) << bad;
  }
  EXPECT_EQ(made.bytes(), before);
}

TEST_F(OpenQueue, AFullQueueRefusesAtOnceAndOpensItsGateWhenItDrains) {
  put(1, 4);
  EXPECT_EQ(queue->KeyPut(key, numbered(5)), QUEUE_OVERFLOW);
  EXPECT_EQ(error_trail(), "CIPCQueue::CheckOverflow()\nCIPCQueue::PrivatePut()\nCIPCQueue::KeyPut()\n");
  EXPECT_EQ(made.semaphores().implTryGet_ID(mar::kOverflowSem), mar::QueueSemaphores::WaitEnd::kLook);
  ASSERT_EQ(queue->KeyGet(key, message), 0);
  EXPECT_EQ(made.semaphores().implTryGet_ID(mar::kOverflowSem), mar::QueueSemaphores::WaitEnd::kTaken);
  ASSERT_EQ(queue->KeyGet(key, message), 0);  // was not full: no second post
  EXPECT_EQ(made.semaphores().implTryGet_ID(mar::kOverflowSem), mar::QueueSemaphores::WaitEnd::kLook);
}

TEST_F(OpenQueue, AGateThatIsFullIsOpen) {
  ASSERT_EQ(made.semaphores().implResetOverflow(32766), 0);
  ASSERT_EQ(made.semaphores().implResetOverflow(1), 0);  // 32767, all that a semaphore holds
  put(1, 4);
  EXPECT_EQ(queue->KeyGet(key, message), 0);
  EXPECT_EQ(message.command, 1u);
}

TEST_F(OpenQueue, HeadsAreClaimedInOrderThenRecycledWhenIdleAndEmpty) {
  const auto user = [](uint32_t i) { return _TIPCIdentifier{100 + i, 1}; };
  for (uint32_t i = 1; i <= 3; ++i) ASSERT_EQ(queue->Put(user(i), numbered(i)), 0);
  EXPECT_EQ(made.u16(2), 4);
  EXPECT_EQ(queue->Put(user(9), numbered(9)), QUEUE_OVERFLOW);  // the full queue
  ASSERT_EQ(queue->Get(user(2), message), 0);
  EXPECT_EQ(message.command, 2u);
  ASSERT_EQ(queue->Put(user(9), numbered(9)), 0);  // head 2 is idle and empty now
  EXPECT_EQ(made.u32(MadeQueue::head(2) + 4), 109u);
  EXPECT_EQ(made.u16(2), 4);
  ASSERT_EQ(queue->Get(user(1), message), 0);
  *made.at(MadeQueue::head(1)) = HEAD_READER;                     // its owner is about to wait there
  EXPECT_EQ(queue->Put(user(10), numbered(10)), QUEUE_OVERFLOW);  // no head
  EXPECT_EQ(error_trail(), "CIPCQueue::PrivatePut()\nCIPCQueue::Put()\n");
}

// Thousands of heads are searched like four: the first free one is claimed, and found again.
TEST(LargeQueue, HeadsAreFoundWhereverTheyAre) {
  constexpr uint16_t kHeads = 3000;
  MadeQueue made(kHeads);
  ASSERT_TRUE(made.made());
  const auto user = [](uint32_t i) { return _TIPCIdentifier{100 + i, 1}; };
  for (uint32_t i = 0; i < kHeads; ++i) made.u32(MadeQueue::head(i) + 4) = user(i).process_id;
  for (const uint32_t i : {511u, 512u, 513u, kHeads - 1u}) {
    made.u16(2) = kHeads - 1;
    made.u32(MadeQueue::head(i) + 4) = made.u32(MadeQueue::head(i) + 8) = 0xFFFFFFFF;
    CommandQueue queue(CLI_IPC_NAME, false);
    ASSERT_EQ(queue.Put(user(i), numbered(i)), 0) << i;
    EXPECT_EQ(made.u32(MadeQueue::head(i) + 4), user(i).process_id) << i;
    EXPECT_EQ(made.u16(2), kHeads) << i;
    TCLIMessage message;
    ASSERT_EQ(queue.Get(user(i), message), 0) << i;
    EXPECT_EQ(message.command, i);
  }
}

TEST_F(OpenQueue, AClosedQueueDrainsAndThenFails) {
  put(1, 1);
  ASSERT_EQ(queue->SetState(IPCQUEUE_CLOSE), 0);
  EXPECT_EQ(queue->KeyPut(key, numbered(2)), QUEUE_CLOSED);
  EXPECT_EQ(queue->KeyGet(key, message), 0);
  EXPECT_EQ(queue->KeyGet(key, message), QUEUE_CLOSED);
  EXPECT_EQ(queue->Get(kUser, message), QUEUE_CLOSED);
}

TEST_F(OpenQueue, ADeadOwnersHeadIsEmptied) {
  for (uint32_t i = 1; i <= 3; ++i) ASSERT_EQ(queue->Put(kUser, numbered(i)), 0);
  int freed = -1;
  EXPECT_EQ(queue->EmptyHead(1, kOther, freed), 0);  // another user's by now
  EXPECT_EQ(freed, 0);
  EXPECT_EQ(queue->EmptyHead(4, kUser, freed), QUEUE_INVALID_KEY);
  EXPECT_EQ(queue->EmptyHead(1, kUser, freed), 0);
  EXPECT_EQ(freed, 3);
  EXPECT_EQ(made.semaphores().implTryGet_ID(3), mar::QueueSemaphores::WaitEnd::kLook);
  EXPECT_EQ(made.u16(0), 0);
  put(1, 4);  // every slot is back
}

// A writer killed between linking and counting leaves fewer items counted than there are.
TEST_F(OpenQueue, TheCountOfItemsStopsAtZero) {
  put(1, 1);
  made.u16(0) = 0;
  ASSERT_EQ(queue->KeyGet(key, message), 0);
  EXPECT_EQ(made.u16(0), 0);
  for (uint32_t i = 1; i <= 3; ++i) ASSERT_EQ(queue->Put(kUser, numbered(i)), 0);
  made.u16(0) = 2;
  int freed = 0;
  EXPECT_EQ(queue->EmptyHead(1, kUser, freed), 0);
  EXPECT_EQ(freed, 3);
  EXPECT_EQ(made.u16(0), 0);
}

// Each row breaks one number. The code is given, nothing is stored, and nothing outside the queue is touched.
TEST_F(OpenQueue, EveryNumberFromTheSegmentIsChecked) {
  put(1, 2);
  const auto sound = made.bytes();
  const uint32_t first = MadeQueue::head(0) + 12, slot0 = made.slot(0), slot1 = made.slot(1),
                 slot2 = made.slot(2);
  const uint32_t next0 = slot0 + 10260, next1 = slot1 + 10260, next2 = slot2 + 10260;
  struct {
    const char* label;
    std::function<void()> damage;
    long put;
    long get;  // kSkip: the put alone is broken
  } const rows[] = {
      {"free list inside a slot", [&] { made.u32(4) = slot2 + 4; }, QUEUE_PUT_FAILED, QUEUE_GET_FAILED},
      {"free list past the last slot", [&] { made.u32(4) = made.slot(4); }, QUEUE_PUT_FAILED,
       QUEUE_GET_FAILED},
      {"free list in the header", [&] { made.u32(4) = 8; }, QUEUE_PUT_FAILED, QUEUE_GET_FAILED},
      {"free list far away", [&] { made.u32(4) = 0xFFFFFFFC; }, QUEUE_PUT_FAILED, QUEUE_GET_FAILED},
      {"free list empty too early", [&] { made.u32(4) = 0; }, QUEUE_PUT_FAILED, 0},
      {"free slot linked to nowhere", [&] { made.u32(next2) = 13; }, QUEUE_PUT_FAILED, 0},
      {"first item in the heads", [&] { made.u32(first) = 12; }, QUEUE_PUT_FAILED, QUEUE_GET_FAILED},
      {"first item far away", [&] { made.u32(first) = 0x80000000; }, QUEUE_PUT_FAILED, QUEUE_GET_FAILED},
      {"chain leaves the slots", [&] { made.u32(next1) = 4; }, QUEUE_PUT_FAILED, QUEUE_GET_FAILED},
      {"circle of one", [&] { made.u32(next0) = slot0; }, QUEUE_PUT_FAILED, QUEUE_GET_FAILED},
      {"circle of two", [&] { made.u32(next1) = slot0; }, QUEUE_PUT_FAILED, QUEUE_GET_FAILED},
      {"circle past the first", [&] { made.u32(next1) = slot1; }, QUEUE_PUT_FAILED, QUEUE_GET_FAILED},
      {"semaphore of the marker", [&] { made.u16(14) = 0; }, QUEUE_PUT_FAILED, QUEUE_GET_FAILED},
      {"semaphore past the last", [&] { made.u16(14) = 6; }, QUEUE_PUT_FAILED, QUEUE_GET_FAILED},
      {"more items than slots", [&] { made.u16(0) = 9; }, QUEUE_OVERFLOW, 0},
  };
  for (const auto& row : rows) {
    std::memcpy(made.at(0), sound.data(), sound.size());
    row.damage();
    const auto damaged = made.bytes();
    EXPECT_EQ(queue->KeyPut(key, numbered(3)), row.put) << row.label;
    EXPECT_EQ(made.bytes(), damaged) << row.label;
    if (row.get == 0) continue;
    EXPECT_EQ(queue->KeyGet(key, message), row.get) << row.label;
    EXPECT_EQ(made.bytes(), damaged) << row.label;
    made.semaphores().implPut_ID(2);  // the post that the failed get took
  }
  std::memcpy(made.at(0), sound.data(), sound.size());
  made.u16(2) = 5;  // more heads in use than there are: none is left
  EXPECT_EQ(queue->Put(kUser, numbered(3)), QUEUE_OVERFLOW);
}

}  // namespace mar
