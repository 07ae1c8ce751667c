// What can be seen of one queue at one moment, without taking its lock or changing anything.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "contract/queue_layout.h"
#include "tools/mar_queue/control_file.h"
#include "tools/mar_queue/ipc_objects.h"

namespace mar::queue_tool {

// A copy of everything in the segment except the messages. Only `slots` has been checked.
struct QueueImage {
  uint16_t slots = 0;  // and heads: N, computed from the segment's size
  uint16_t items = 0;
  uint16_t heads_in_use = 0;
  uint32_t free_list = 0;
  uint32_t state = 0;
  std::vector<_TIPCHeadItem> heads;
  std::vector<uint32_t> next;  // of each slot
};

enum class Owner { kNobody, kEngine, kAlive, kGone };

// What the system knows about a head beyond its fields.
struct HeadUse {
  Owner owner = Owner::kNobody;
  int posts = -1;    // value of its semaphore, -1 unknown
  int waiting = -1;  // readers asleep on it, -1 unknown
};

struct Snapshot {
  ControlFile control_file;
  IpcObjects objects;  // all of the namespace
  std::optional<IpcObject> segment;
  std::optional<IpcObject> lock_set;    // the segment's own semaphores: lock and creator-alive
  std::optional<IpcObject> wakeup_set;  // the queue's semaphores
  int creator_alive = -1;               // value of the creator-alive semaphore, -1 unknown
  pid_t creator = 0;                    // the last to change it; 0 unknown, or of another process namespace
  int lock = -1;                        // 1 held throughout the snapshot, 0 free, -1 unknown
  pid_t lock_user = 0;                  // the last to take or release it

  std::optional<QueueImage> image;  // none if there is no segment, or it is unreadable or not a queue's
  bool settled = false;             // the image shows one moment: no writer was at work while it was copied
  std::vector<HeadUse> uses;        // of the image's heads
};

Snapshot take_snapshot(const std::string& base);

// A segment that holds a header but no slot is a queue, too.
bool is_queue_size(uint64_t segment_size_bytes);

// Whether there is a segment that can be a queue's. One without slots counts only with a lock set beside it:
// alone it is more likely another program's.
bool segment_fits(const Snapshot& snapshot);

inline bool creator_lives(const Snapshot& snapshot) { return snapshot.creator_alive > 1; }

// Whether the engine is in another process namespace. Its clients there seem to have ended.
inline bool in_another_process_namespace(const Snapshot& snapshot) {
  return creator_lives(snapshot) && snapshot.creator == 0;
}

}  // namespace mar::queue_tool
