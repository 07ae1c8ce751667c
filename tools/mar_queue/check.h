// Proves that every slot is free or queued exactly once, or says where that fails. Everything is walked on a
// copy; whatever the copy holds, the walk ends.
#pragma once

#include <cstdint>
#include <vector>

#include "tools/mar_queue/finding.h"
#include "tools/mar_queue/snapshot.h"

enum class SlotUse : uint8_t {
  kFree,
  kQueued,
  kQueuedForDead,  // its head's owner has ended
  kLost,           // on no chain
  kTwice,          // reached twice: chains that meet, or a circle
};

struct CheckResult {
  Findings damage;  // empty: the queue is sound
  std::vector<SlotUse> slots;
  std::vector<uint32_t> items;  // of each head, as far as its chain goes
  std::vector<bool> damaged;    // of each head: its chain, semaphore or owner is not its own
  bool free_list_sound = true;
  bool chains_sound = true;  // neither the free list nor a head's chain is broken, circular or shared
  uint32_t free = 0;
  uint32_t queued = 0;
  uint32_t queued_for_dead = 0;
  uint32_t lost = 0;
};

CheckResult check(const QueueImage& image, const std::vector<HeadUse>& uses);
