// The memory of a process that lives for one command: blocks one after the other in the program's own pages,
// so that the kernel is asked for nothing. A freed block is used again once the blocks after it are free too,
// as they are after each command. What does not fit gets a mapping of its own. Any thread may call.
#pragma once

#include <cstddef>
#include <cstdint>

#include "runtime/static_mutex.h"

namespace mar::cli {

class Arena {
 public:
  // Blocks lie at multiples of 16 and are the caller's until free(). Null without memory, with errno set.
  void* allocate(size_t size_bytes) { return find_room(size_bytes).content; }
  void* allocate_zeroed(size_t count, size_t size_bytes);
  // Moves the content to a block of another size. `content` may be null; it stays valid if this fails.
  void* resize(void* content, size_t size_bytes);
  void free(void* content);  // may be null

 private:
  struct alignas(16) Block {  // the header of the content after it
    size_t size_bytes;        // of both
    uint32_t below_bytes;     // the size of the block before it; 0 for the first
    bool is_mapped;           // in a mapping of its own
    bool is_free;
  };
  struct Room {
    void* content = nullptr;
    size_t used_bytes = 0;  // of the content, from its start: past them it is zero
  };

  Room find_room(size_t size_bytes);
  Room place(size_t size_bytes);
  static Room map(size_t size_bytes);

  static constexpr size_t kSizeBytes = size_t{64} * 1024;  // a command needs 31 KB for its buffers

  StaticMutex mutex_;
  uint32_t used_bytes_ MAR_GUARDED_BY(mutex_) = 0;
  uint32_t last_bytes_ MAR_GUARDED_BY(mutex_) = 0;   // the size of the last block; 0 if there is none
  uint32_t dirty_bytes_ MAR_GUARDED_BY(mutex_) = 0;  // past them memory_ has never been used, so it is zero
  alignas(16) uint8_t memory_[kSizeBytes] = {};
};

}  // namespace mar::cli
