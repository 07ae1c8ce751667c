// What an engine does to a new segment before clients may use it.
#pragma once

#include <cstdint>

#include "contract/message.h"
#include "contract/queue_layout.h"
#include "ipc/shared_field.h"

namespace mar {

// Lays out `size_bytes` of zeros at `base`, room for at least one slot, as an empty command queue: no head
// claimed, head i with semaphore i + 2, all slots on the free list in order. The caller holds the segment's
// lock and makes the queue's semaphore set afterwards, without which no client can open the queue. Cannot
// fail.
inline void lay_out_queue(void* base, uint64_t size_bytes) {
  const QueueLayout& layout = kCommandQueueLayout;
  const uint64_t slots = layout.capacity(size_bytes);
  const auto slot_offset = [&](uint64_t i) { return static_cast<uint32_t>(layout.slot_offset(slots, i)); };
  auto* bytes = static_cast<uint8_t*>(base);
  for (uint64_t i = 0; i < slots; ++i) {
    auto* head = reinterpret_cast<_TIPCHeadItem*>(bytes + layout.head_offset(i));
    store_shared(head->semNumber, static_cast<uint16_t>(kFirstHeadSem + i));
    store_shared(head->owner.process_id, NULL_IPC_ID.process_id);
    store_shared(head->owner.thread_id, NULL_IPC_ID.thread_id);
    auto* slot = reinterpret_cast<CIPCQueueItem<TCLIMessage>*>(bytes + slot_offset(i));
    store_shared(slot->next, i + 1 < slots ? slot_offset(i + 1) : 0);
  }
  store_shared(reinterpret_cast<QueueHeader*>(bytes)->freeList, slot_offset(0));
}

}  // namespace mar
