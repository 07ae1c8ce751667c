// The memory of a statically linked t1: what its code and the C library ask of an allocator.
#include "cli/arena.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstring>
#include <thread>
#include <utility>
#include <vector>

using mar::cli::Arena;

namespace {

bool lies_in(const Arena& arena, const void* block) {
  const auto* const at = static_cast<const uint8_t*>(block);
  const auto* const begin = reinterpret_cast<const uint8_t*>(&arena);
  return at >= begin && at < begin + sizeof arena;
}

bool is_zero(const void* block, size_t size_bytes) {
  const auto* const at = static_cast<const uint8_t*>(block);
  return at[0] == 0 && std::memcmp(at, at + 1, size_bytes - 1) == 0;
}

}  // namespace

TEST(Arena, PlacesBlocksApartWhereverTheyLie) {
  Arena arena;
  const size_t sizes[] = {0, 1, 16, 17, 10240, 40'000, 20'000, 1'000'000};  // some fit, some get a mapping
  std::vector<std::pair<uint8_t*, size_t>> blocks;
  for (const size_t size : sizes) {
    auto* const block = static_cast<uint8_t*>(arena.allocate(size));
    ASSERT_NE(block, nullptr) << size;
    EXPECT_EQ(reinterpret_cast<uintptr_t>(block) % 16, 0u) << size;
    EXPECT_EQ(lies_in(arena, block), size != 20'000 && size != 1'000'000) << size;
    std::memset(block, static_cast<int>(blocks.size() + 1), size);
    blocks.emplace_back(block, size);
  }
  for (size_t i = 0; i < blocks.size(); ++i) {
    for (size_t at = 0; at < blocks[i].second; ++at)
      ASSERT_EQ(blocks[i].first[at], i + 1) << blocks[i].second;
    arena.free(blocks[i].first);
  }
}

TEST(Arena, UsesItsMemoryAgainInWhateverOrderItIsFreed) {
  Arena arena;
  void* const kept = arena.allocate(100);
  for (int command = 0; command < 1000; ++command) {
    void* const first = arena.allocate(30'000);
    void* const second = arena.allocate(30'000);
    ASSERT_TRUE(lies_in(arena, first) && lies_in(arena, second)) << command;
    arena.free(command % 2 == 0 ? first : second);
    arena.free(command % 2 == 0 ? second : first);
  }
  arena.free(kept);
  arena.free(nullptr);
}

TEST(Arena, ClearsWhatWasUsedBefore) {
  Arena arena;
  void* const used = arena.allocate(1000);
  std::memset(used, 0xEE, 1000);
  arena.free(used);
  void* const again = arena.allocate_zeroed(50, 100);  // partly fresh
  EXPECT_EQ(again, used);
  EXPECT_TRUE(is_zero(again, 5000));
  EXPECT_TRUE(is_zero(arena.allocate_zeroed(50, 100), 5000));
  void* const mapped = arena.allocate_zeroed(1, 200'000);
  EXPECT_TRUE(is_zero(mapped, 200'000));
  arena.free(mapped);
}

TEST(Arena, KeepsTheContentOfABlockThatChangesItsSize) {
  Arena arena;
  void* block = arena.resize(nullptr, 5);
  std::memcpy(block, "12345", 5);
  for (const size_t size : {size_t{10}, size_t{300'000}, size_t{500'000}, size_t{5}}) {
    block = arena.resize(block, size);
    ASSERT_NE(block, nullptr) << size;
    EXPECT_EQ(std::memcmp(block, "12345", 5), 0) << size;
  }
  errno = 0;
  EXPECT_EQ(arena.resize(block, SIZE_MAX), nullptr);
  EXPECT_EQ(errno, ENOMEM);
  EXPECT_EQ(std::memcmp(block, "12345", 5), 0);
}

TEST(Arena, HasNoBlockOfAnImpossibleSize) {
  Arena arena;
  for (const size_t size : {SIZE_MAX, SIZE_MAX - 15, SIZE_MAX / 2}) {
    errno = 0;
    EXPECT_EQ(arena.allocate(size), nullptr) << size;
    EXPECT_EQ(errno, ENOMEM) << size;
  }
  EXPECT_EQ(arena.allocate_zeroed(SIZE_MAX / 2, 3), nullptr);
}

TEST(Arena, ServesThreadsAtOnce) {
  static Arena arena;
  std::atomic<int> damaged = 0;
  std::vector<std::thread> threads;
  for (uint8_t thread = 1; thread <= 4; ++thread) {
    threads.emplace_back([&damaged, thread] {
      for (int round = 0; round < 20'000; ++round) {
        auto* const block = static_cast<uint8_t*>(arena.allocate(64));
        std::memset(block, thread, 64);
        if (block[0] != thread || std::memcmp(block, block + 1, 63) != 0) ++damaged;
        arena.free(block);
      }
    });
  }
  for (std::thread& thread : threads) thread.join();
  EXPECT_EQ(damaged, 0);
}
