// What can be seen of one queue at one moment, without its lock and without changing anything.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "contract/queue_layout.h"
#include "tools/mar_queue/ipc_objects.h"
#include "tools/mar_queue/place.h"

// A copy of what the segment holds besides messages. None of its numbers has been checked but `slots`.
struct QueueImage {
  uint16_t slots = 0;  // and heads: N, from the segment's size
  uint16_t items = 0;
  uint16_t heads_in_use = 0;
  uint32_t free_list = 0;
  uint32_t state = 0;
  std::vector<_TIPCHeadItem> heads;
  std::vector<uint32_t> next;  // of each slot
};

enum class Owner { kNobody, kEngine, kAlive, kGone };

// What is known of a head besides its fields.
struct HeadUse {
  Owner owner = Owner::kNobody;
  int posts = -1;    // value of its semaphore, -1 unknown
  int waiting = -1;  // readers asleep on it, -1 unknown
};

struct Snapshot {
  Place place;
  IpcObjects objects;  // all there are
  std::optional<IpcObject> segment;
  std::optional<IpcObject> segment_set;
  std::optional<IpcObject> queue_set;
  int sign = -1;           // the creator-alive semaphore, -1 unknown
  pid_t creator = 0;       // last to change that semaphore; 0 unknown, or not of this process namespace
  int lock = -1;           // 1 held, through all the time that we looked; 0 free; -1 unknown
  pid_t lock_process = 0;  // the last that took or released it

  std::optional<QueueImage> image;  // none: no segment, not a queue's, or not readable
  bool settled = false;             // the image is of one moment, not torn by somebody's work on the queue
  std::vector<HeadUse> uses;        // of the image's heads
};

Snapshot look(const std::string& base);

// A segment that holds a header but no slot is a queue, too.
bool is_queue_size(uint64_t segment_size_bytes);

// Whether there is a segment and it can be a queue's. One without slots must have the lock's set beside it:
// alone it is more likely another program's.
bool segment_fits(const Snapshot& snapshot);

// Whether the creator-alive semaphore says so.
inline bool creator_lives(const Snapshot& snapshot) { return snapshot.sign > 1; }

// Whether the engine's process namespace is not ours: all of its processes seem to have ended.
inline bool in_another_process_namespace(const Snapshot& snapshot) {
  return creator_lives(snapshot) && snapshot.creator == 0;
}
