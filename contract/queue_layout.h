// Layout of one message queue in its shared memory segment, and of its semaphore set. Native byte order, no
// padding; positions are byte offsets from the start of the segment, never pointers.
//
//   0             header, 12 bytes
//   12            N heads of 16 bytes
//   12 + 16 N     N item slots of sizeof(T) + 4 bytes each
//
// N is not stored: each process computes it from the size that the segment reports.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "contract/identity.h"
#include "contract/message.h"

enum TQueueState : uint32_t {
  IPCQUEUE_OPEN = 0,     // serves
  IPCQUEUE_CLOSE = 1,    // refuses puts; readers drain what is queued
  IPCQUEUE_DESTROY = 2,  // every reader fails at once
};

namespace mar {

struct QueueHeader {
  uint16_t itemCount;   // items now queued, over all heads; 0 .. N
  uint16_t headsInUse;  // heads ever claimed and not yet recycled; 0 .. N
  uint32_t freeList;    // first free slot; slots are chained through their next field
  uint32_t queueState;  // TQueueState
};
static_assert(sizeof(QueueHeader) == 12);
static_assert(offsetof(QueueHeader, itemCount) == 0 && offsetof(QueueHeader, headsInUse) == 2);
static_assert(offsetof(QueueHeader, freeList) == 4 && offsetof(QueueHeader, queueState) == 8);
static_assert(std::has_unique_object_representations_v<QueueHeader>);

}  // namespace mar

enum : uint8_t {
  HEAD_IDLE = 0,
  HEAD_READER = 1,     // a reader waits on it by identifier
  HEAD_CHANNEL = 2,    // addressable by key
  HEAD_WITHDRAWN = 3,  // set by the engine alone: a reader that finds it gives up
};

struct _TIPCHeadItem {
  uint8_t state;
  uint8_t reserved;       // not written by this program
  uint16_t semNumber;     // this head's semaphore in the queue's set, 2 .. N+1
  _TIPCIdentifier owner;  // NULL_IPC_ID when free
  uint32_t firstItem;     // slot of the first queued item, 0 when empty
};
static_assert(sizeof(_TIPCHeadItem) == 16);
static_assert(offsetof(_TIPCHeadItem, state) == 0 && offsetof(_TIPCHeadItem, semNumber) == 2);
static_assert(offsetof(_TIPCHeadItem, owner) == 4 && offsetof(_TIPCHeadItem, firstItem) == 12);
static_assert(std::has_unique_object_representations_v<_TIPCHeadItem>);

template <typename T>
struct CIPCQueueItem {
  T message;
  uint32_t next;  // slot of the next item of the same head or of the free list, 0 at the end
};
static_assert(sizeof(CIPCQueueItem<TCLIMessage>) == 10264);
static_assert(offsetof(CIPCQueueItem<TCLIMessage>, next) == 10260);
static_assert(std::has_unique_object_representations_v<CIPCQueueItem<TCLIMessage>>);

namespace mar {

// The queue's semaphore set: N + 2 semaphores.
inline constexpr uint16_t kMarkerSem = 0;     // 1 once the set is initialised
inline constexpr uint16_t kOverflowSem = 1;   // writers wait here on a full queue
inline constexpr uint16_t kFirstHeadSem = 2;  // head i is created with semaphore i + 2

// The segment's own set: two semaphores.
inline constexpr uint16_t kLockSem = 0;          // 0 free, 1 held
inline constexpr uint16_t kCreatorAliveSem = 1;  // 2 while the creator lives, 1 once it has died

// Offsets in a segment whose slots (message and next field) take `item_size_bytes` each.
struct QueueLayout {
  uint64_t item_size_bytes;

  static constexpr uint64_t kHeadsOffset = sizeof(QueueHeader);

  // The number of slots that fit into a segment of `segment_size_bytes`; 0 if none does.
  constexpr uint64_t capacity(uint64_t segment_size_bytes) const {
    if (segment_size_bytes < kHeadsOffset) return 0;
    return (segment_size_bytes - kHeadsOffset) / (sizeof(_TIPCHeadItem) + item_size_bytes);
  }
  constexpr uint64_t segment_size_bytes(uint64_t slots) const {
    return kHeadsOffset + slots * (sizeof(_TIPCHeadItem) + item_size_bytes);
  }
  constexpr uint64_t head_offset(uint64_t index) const {
    return kHeadsOffset + index * sizeof(_TIPCHeadItem);
  }
  constexpr uint64_t slot_offset(uint64_t slots, uint64_t index) const {
    return head_offset(slots) + index * item_size_bytes;
  }
  // Whether `offset` is exactly the start of one of the `slots` item slots.
  constexpr bool is_slot(uint64_t slots, uint64_t offset) const {
    const uint64_t first = head_offset(slots);
    return offset >= first && offset < slot_offset(slots, slots) && (offset - first) % item_size_bytes == 0;
  }
};

inline constexpr uint64_t kMaxQueueSlots = 65535;  // itemCount and headsInUse are 16 bits wide

inline constexpr QueueLayout kCommandQueueLayout{sizeof(CIPCQueueItem<TCLIMessage>)};
static_assert(kCommandQueueLayout.segment_size_bytes(1) == 10292);
static_assert(kCommandQueueLayout.capacity(10291) == 0 && kCommandQueueLayout.capacity(10292) == 1);
static_assert(kCommandQueueLayout.slot_offset(4, 1) == 12 + 16 * 4 + 10264);

}  // namespace mar
