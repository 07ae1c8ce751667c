// Random damage to header, heads and links: whatever they hold, an operation ends, answers with a code, and
// writes nothing but the fields and slots that are its own.
#include <gtest/gtest.h>

#include <cstdio>
#include <iterator>
#include <random>

#include "tests/ipc/made_queue.h"

namespace mar {

namespace {

constexpr uint16_t kSlots = 4;
constexpr uint32_t kSlack = 5000;
constexpr unsigned kSeed = 20261121;

struct DamagedQueue : testing::Test {
  DamagedQueue() { std::printf("seed %u\n", kSeed); }

  uint32_t pick(uint32_t below) { return std::uniform_int_distribution<uint32_t>(0, below - 1)(random); }

  // Numbers that are likely to be nearly right.
  uint32_t number() {
    switch (pick(6)) {
      case 0:
        return 0;
      case 1:
        return made.slot(pick(kSlots));
      case 2:
        return made.slot(pick(kSlots + 1)) + 4 * pick(3);
      case 3:
        return pick(10);
      case 4:
        return 0xFFFFFFFF - pick(10300);
      default:
        return static_cast<uint32_t>(random());
    }
  }
  void damage() {
    const uint32_t head = MadeQueue::head(pick(kSlots));
    switch (pick(7)) {
      case 0:
        made.u16(pick(2) * 2) = static_cast<uint16_t>(number());
        break;
      case 1:
        made.u32(4) = number();
        break;
      case 2:
        *made.at(head) = static_cast<uint8_t>(pick(5));
        break;
      case 3:
        made.u16(head + 2) = static_cast<uint16_t>(pick(8));
        break;
      case 4:
        made.u32(head + 4 + 4 * pick(2)) = pick(2) == 0 ? 0xFFFFFFFF : pick(3);
        break;
      case 5:
        made.u32(head + 12) = number();
        break;
      default:
        made.u32(made.slot(pick(kSlots)) + 10260) = number();
    }
  }
  long operate() {
    const _TIPCIdentifier user{pick(3), pick(3)};
    const long some_key = static_cast<long>(pick(6)) - 1;
    long key = 0;
    int freed = 0;
    bool taken = false;
    switch (pick(6)) {
      case 0:
        return queue.OpenChannel(user, &key);
      case 1:
        return queue.EmptyHead(static_cast<uint16_t>(pick(6)), user, freed);
      case 2:
        return queue.PrivatePut(user, some_key, message, pick(2) == 1);
      case 3:
        return queue.RecoverSlots(freed);
      default:
        return queue.KeyTryGet(some_key, message, taken);
    }
  }
  void restore() {
    std::memcpy(made.at(0), sound.data(), sound.size());
    for (uint16_t semaphore = mar::kOverflowSem; semaphore < kSlots + mar::kFirstHeadSem; ++semaphore) {
      while (made.semaphores().implTryGet_ID(semaphore) == mar::QueueSemaphores::WaitEnd::kTaken) continue;
    }
  }
  // What no operation ever writes: the state, each head's reserved byte and semaphore
  // number, all past the slots.
  std::vector<uint8_t> untouchable() {
    std::vector<uint8_t> bytes(made.at(8), made.at(12));
    for (uint32_t i = 0; i < kSlots; ++i) {
      bytes.insert(bytes.end(), made.at(MadeQueue::head(i)) + 1, made.at(MadeQueue::head(i)) + 4);
    }
    bytes.insert(bytes.end(), made.at(made.slot(kSlots)), made.at(made.slot(kSlots)) + kSlack);
    return bytes;
  }

  MadeQueue made{kSlots, CLI_IPC_NAME, kSlack};
  CommandQueue queue{CLI_IPC_NAME, false};
  TCLIMessage message = numbered(0xEE);
  std::vector<uint8_t> sound = made.bytes();
  std::mt19937 random{kSeed};
};

}  // namespace

TEST_F(DamagedQueue, NothingIsWrittenOutsideAndEveryOperationEnds) {
  ASSERT_TRUE(queue.IsInitialized());
  int failed = 0;
  for (int round = 0; round < 40000; ++round) {
    if (round % 40 == 0) restore();
    if (round % 4 == 3) damage();
    const auto before = made.bytes();
    const auto fixed = untouchable();
    const long code = operate();
    ASSERT_EQ(untouchable(), fixed) << "round " << round;
    if (code != QUEUE_PUT_FAILED && code != QUEUE_GET_FAILED) continue;
    ++failed;
    ASSERT_EQ(made.bytes(), before) << "round " << round << " code " << code;
  }
  EXPECT_GT(failed, 1000) << "the damage was too kind";
}

}  // namespace mar
