#include "ipc/shared_memory.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <memory>

#include "contract/status.h"
#include "runtime/error_manager.h"
#include "tests/support/child.h"
#include "tests/support/error_trail.h"
#include "tests/support/kernel_objects.h"

namespace mar {

namespace {

constexpr char kName[] = "/var/zarn/block";
constexpr uint64_t kSize = 100;

// The lock semaphore, 0, or the sign of life, 1; -1 without the set.
int semaphore_value(size_t number) {
  const auto values = semaphore_values(kName, 1);
  return number < values.size() ? values[number] : -1;
}

// Creates the block in a process of its own and lets it live until it is killed.
std::unique_ptr<Child> living_creator() {
  auto creator = std::make_unique<Child>([] {
    const CkesSharedMemory block(kName, kSize, false);
    if (block.IsInitialized()) pause();
    return block.GetInitResult();
  });
  EXPECT_TRUE(eventually([] { return CkesSharedMemory(kName, false).GetInitResult() == 0; }));
  return creator;
}

}  // namespace

TEST(SharedMemory, OpenTellsWhatIsMissing) {
  EXPECT_EQ(CkesSharedMemory(kName, false).GetInitResult(), IPC_UNAVAILABLE);
  std::ofstream(kName) << 'x';
  CkesSharedMemory nothing(kName, false);
  EXPECT_EQ(nothing.GetInitResult(), IPC_OPEN_FAILED);
  char byte = 0;
  EXPECT_EQ(nothing.Read(0, 1, &byte), SHMEM_NOT_INIT);
  EXPECT_EQ(nothing.Lock(), SHMEM_NOT_INIT);
  EXPECT_EQ(error_trail(), "CkesSharedMemory::Lock()\n");
  EXPECT_EQ(CkesSharedMemory("/var/zarn/no/such/place", kSize, true).GetInitResult(), IPC_CREATE_FAILED);
}

TEST(SharedMemory, TheSignOfLifeEndsWithTheCreator) {
  auto creator = living_creator();
  EXPECT_EQ(semaphore_value(1), 2);
  CkesSharedMemory open(kName, false);
  EXPECT_TRUE(open.CreatorAlive());
  EXPECT_EQ(open.GetSize(), kSize);
  creator->kill();
  EXPECT_FALSE(open.CreatorAlive());
  CkesSharedMemory late(kName, false);
  EXPECT_EQ(late.GetInitResult(), SHMEM_SERVER_DEAD);
  EXPECT_TRUE(late.IsInitialized());
}

TEST(SharedMemory, ANewCreatorTakesOverFromALivingOne) {
  auto creator = living_creator();
  CkesSharedMemory open(kName, false);
  const CkesSharedMemory next(kName, kSize, true);
  EXPECT_EQ(next.GetInitResult(), 0);
  EXPECT_EQ(open.Lock(), SHMEM_LOCK_FAILED);  // its set is gone
  EXPECT_TRUE(CkesSharedMemory(kName, false).CreatorAlive());
}

TEST(SharedMemory, AHalfMadeBlockDoesNotLookAlive) {
  std::ofstream(kName) << 'x';
  EXPECT_EQ(CkesSharedMemory(kName, ~uint64_t{0}, false).GetInitResult(), IPC_CREATE_FAILED);
  EXPECT_EQ(semaphore_value(1), 1);
  EXPECT_EQ(CkesSharedMemory(kName, ~uint64_t{0}, true).GetInitResult(), IPC_CREATE_FAILED);
  EXPECT_EQ(semaphore_value(1), -1);
}

TEST(SharedMemory, OnlyTheRemoveFlagRemoves) {
  { const CkesSharedMemory kept(kName, kSize, false); }
  EXPECT_TRUE(CkesSharedMemory(kName, false).IsInitialized());
  { const CkesSharedMemory removed(kName, true); }
  EXPECT_EQ(CkesSharedMemory(kName, false).GetInitResult(), IPC_OPEN_FAILED);
}

TEST(SharedMemory, CopiesStopShortOfTheEnd) {
  CkesSharedMemory block(kName, kSize, true);
  struct {
    const char* label;
    uint64_t offset, length;
    uint64_t copied;
    bool fails;
  } const rows[] = {
      {"inside", 10, 5, 5, false},
      {"up to the end", 90, 10, 10, false},
      {"beyond the end", 95, 10, 4, false},
      {"from the last byte", 99, 10, 0, true},
      {"at the end", 100, 1, 0, true},
      {"far beyond", 5000, 1, 0, true},
      {"length that wraps", 50, ~uint64_t{0}, 49, false},
      {"offset that wraps", ~uint64_t{0}, 2, 0, true},
  };
  for (const auto& row : rows) {
    std::array<uint8_t, kSize> source, before, after, target{};
    source.fill(0xAA);
    std::memset(block.GetAddress(), 0x55, kSize);
    before.fill(0x55);
    EXPECT_EQ(block.Write(row.offset, row.length, source.data()), row.fails ? IPC_WRITE_FAILED : 0)
        << row.label;
    for (uint64_t i = 0; i < row.copied; ++i) before[row.offset + i] = 0xAA;
    std::memcpy(after.data(), block.GetAddress(), kSize);
    EXPECT_EQ(after, before) << row.label;
    EXPECT_EQ(block.Read(row.offset, row.length, target.data()), row.fails ? IPC_READ_FAILED : 0)
        << row.label;
    EXPECT_EQ(std::count(target.begin(), target.end(), 0xAA), static_cast<long>(row.copied)) << row.label;
  }
  long code = 0;
  CkesErrorManager::SetError(0, "");
  block.Write(95, 10, "0123456789");
  CkesErrorManager::GetError(&code);
  EXPECT_EQ(code, IPC_WRITE_INCOMPLETE);
}

TEST(SharedMemory, OnlyTheHolderUnlocks) {
  CkesSharedMemory holder(kName, kSize, true);
  CkesSharedMemory other(kName, false);
  EXPECT_EQ(other.Unlock(), SHMEM_UNLOCK_FAILED);
  EXPECT_EQ(semaphore_value(0), 0);
  ASSERT_EQ(holder.Lock(), 0);
  EXPECT_EQ(other.Unlock(), SHMEM_UNLOCK_FAILED);
  Child forked([&] { return holder.HoldsLock() ? 0 : holder.Unlock(); });
  EXPECT_EQ(forked.result(), SHMEM_UNLOCK_FAILED) << "the lock stays with the parent";
  EXPECT_EQ(semaphore_value(0), 1);
  EXPECT_EQ(holder.Unlock(), 0);
  EXPECT_EQ(semaphore_value(0), 0);
  EXPECT_EQ(holder.Unlock(), SHMEM_UNLOCK_FAILED);
  EXPECT_EQ(error_trail(), "CkesSharedMemory::Unlock()\n");
}

TEST(SharedMemory, AKilledHolderReleasesTheLock) {
  CkesSharedMemory block(kName, kSize, true);
  Child holder([] {
    CkesSharedMemory own(kName, false);
    own.Lock();
    pause();
    return 0;
  });
  ASSERT_TRUE(eventually([] { return semaphore_value(0) == 1; }));
  Child waiter([] { return CkesSharedMemory(kName, false).Lock(); });
  holder.kill();
  EXPECT_EQ(waiter.result(), 0);
  EXPECT_TRUE(eventually([] { return semaphore_value(0) == 0; }));
}

}  // namespace mar
