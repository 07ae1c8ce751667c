// Proves that every slot is free or queued exactly once, or reports where that fails. Works on a copy;
// whatever the copy holds, every walk ends.
#pragma once

#include <cstdint>
#include <vector>

#include "tools/mar_queue/finding.h"
#include "tools/mar_queue/snapshot.h"

namespace mar::queue_tool {

enum class SlotUse : uint8_t {
  kFree,
  kQueued,
  kQueuedForDead,  // the owner of its head has ended
  kLost,           // on no chain
  kTwice,          // reached twice: chains that meet, or a circle
};

struct CheckResult {
  Findings damage;  // empty if the queue is sound
  std::vector<SlotUse> slots;
  std::vector<uint32_t> items;  // of each head, as far as its chain leads
  std::vector<bool> damaged;    // of each head: its chain, semaphore or owner is invalid or shared
  bool free_list_sound = true;
  bool chains_sound = true;  // the free list and the heads' chains are valid, end, and do not meet
  uint32_t free = 0;
  uint32_t queued = 0;
  uint32_t queued_for_dead = 0;
  uint32_t lost = 0;
};

CheckResult check_queue(const QueueImage& image, const std::vector<HeadUse>& uses);

}  // namespace mar::queue_tool
