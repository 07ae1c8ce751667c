// Work on heads and slots, all of it with the segment lock held. Offsets and counts come from memory that
// other processes can write: a value that cannot be right is refused before anything is stored.
#include <algorithm>

#include "ipc/naming.h"
#include "ipc/queue_core.h"
#include "ipc/shared_field.h"
#include "ipc/system.h"

namespace mar {

namespace {

_TIPCIdentifier owner_of(const _TIPCHeadItem& head) {
  return {load_shared(head.owner.process_id), load_shared(head.owner.thread_id)};
}

void set_owner(_TIPCHeadItem& head, _TIPCIdentifier owner) {
  store_shared(head.owner.process_id, owner.process_id);
  store_shared(head.owner.thread_id, owner.thread_id);
}

}  // namespace

bool QueueCore::IsOwnedBy(const _TIPCHeadItem& head, _TIPCIdentifier owner) {
  return CIPCUtils::sameIPCIdentifiers(owner_of(head), owner);
}

uint32_t QueueCore::State() const { return load_shared(VHeader->queueState); }

// The slot at `offset`, or null if there is none.
uint8_t* QueueCore::SlotAt(uint32_t offset) const {
  return VLayout.is_slot(VCapacity, offset) ? VBase + offset : nullptr;
}

uint32_t* QueueCore::NextOf(uint8_t* slot) const { return reinterpret_cast<uint32_t*>(slot + MessageSize()); }

bool QueueCore::SemNumberOf(const _TIPCHeadItem& head, uint16_t& sem_number) const {
  sem_number = load_shared(head.semNumber);
  return sem_number >= kFirstHeadSem && sem_number - kFirstHeadSem < VCapacity;
}

template <typename Wanted>
_TIPCHeadItem* QueueCore::FirstHead(Wanted wanted) const {
  // Most clients find theirs here. The others read all heads, and each page of them would cost a page fault,
  // with the lock held.
  constexpr uint16_t kFirstLook = 512;
  _TIPCHeadItem* const end = VHeads + VCapacity;
  _TIPCHeadItem* const first_end = VHeads + std::min(kFirstLook, VCapacity);
  _TIPCHeadItem* head = std::find_if(VHeads, first_end, wanted);
  if (head == first_end && head != end) {
    if (!VHeadsPopulated) (void)sys::segment_populate(VBase, VLayout.head_offset(VCapacity));
    VHeadsPopulated = true;
    head = std::find_if(head, end, wanted);
  }
  return head == end ? nullptr : head;
}

_TIPCHeadItem* QueueCore::FindOwned(_TIPCIdentifier owner) const {
  return FirstHead([&](const _TIPCHeadItem& head) { return IsOwnedBy(head, owner); });
}

// The head of `owner`, and in `free` the first one without an owner before it. One with a broken semaphore
// number is not free, since no reader could wait on it.
_TIPCHeadItem* QueueCore::FindOwnedOrFree(_TIPCIdentifier owner, _TIPCHeadItem*& free) const {
  uint16_t sem_number = 0;
  free = nullptr;
  return FirstHead([&](_TIPCHeadItem& head) {
    const _TIPCIdentifier found = owner_of(head);
    if (CIPCUtils::sameIPCIdentifiers(found, owner)) return true;
    if (free == nullptr && CIPCUtils::sameIPCIdentifiers(found, NULL_IPC_ID) && SemNumberOf(head, sem_number))
      free = &head;
    return false;
  });
}

// A head that is idle, empty and without a waiting reader. Waiters are counted last, since each count is
// a system call.
_TIPCHeadItem* QueueCore::FindRecyclable() {
  uint16_t sem_number = 0;
  int waiters = 0;
  return FirstHead([&](const _TIPCHeadItem& head) {
    return load_shared(head.state) == HEAD_IDLE && load_shared(head.firstItem) == 0 &&
           SemNumberOf(head, sem_number) && VSemaphores.implWaitCount(sem_number, waiters) == 0 &&
           waiters == 0;
  });
}

long QueueCore::FindHead(_TIPCIdentifier identifier, bool create, _TIPCHeadItem*& head) {
  _TIPCHeadItem* free = nullptr;
  head = FindOwnedOrFree(identifier, free);
  if (head != nullptr) return 0;
  if (!create) return QUEUE_INVALID_ID;
  const uint16_t in_use = load_shared(VHeader->headsInUse);
  if (in_use < VCapacity) {
    head = free;
    // Counted before it is claimed: if the claimant dies in between, the head is recycled later.
    if (head != nullptr) store_shared(VHeader->headsInUse, static_cast<uint16_t>(in_use + 1));
  }
  if (head == nullptr && in_use <= VCapacity) head = FindRecyclable();
  if (head == nullptr) return QUEUE_OVERFLOW;
  implHeadReset(*head);
  set_owner(*head, identifier);
  return 0;
}

long QueueCore::SelectHead(_TIPCIdentifier identifier, long key, _TIPCHeadItem*& head) {
  if (key == -1) return FindHead(identifier, true, head);
  if (key < 0 || key >= VCapacity || load_shared(VHeads[key].state) != HEAD_CHANNEL) return QUEUE_INVALID_KEY;
  head = VHeads + key;
  return 0;
}

long QueueCore::implHeadReset(_TIPCHeadItem& head) {
  set_owner(head, NULL_IPC_ID);
  store_shared(head.firstItem, 0);
  store_shared(head.state, HEAD_IDLE);
  return 0;
}

// The field that ends the head's chain, or null if the chain is broken. No chain has more than N items; a
// circle has no end and need not pass its first item.
uint32_t* QueueCore::FindEnd(_TIPCHeadItem& head, int* items) const {
  uint32_t* link = &head.firstItem;
  for (int passed = 0; passed <= VCapacity; ++passed) {
    const uint32_t offset = load_shared(*link);
    if (offset == 0) {
      if (items != nullptr) *items = passed;
      return link;
    }
    uint8_t* const slot = SlotAt(offset);
    if (slot == nullptr) return nullptr;
    link = NextOf(slot);
  }
  return nullptr;
}

// The slot at `link` and what follows it; false if either offset is broken.
bool QueueCore::ReadLink(const uint32_t& link, Link& found) const {
  found.offset = load_shared(link);
  found.slot = SlotAt(found.offset);
  if (found.slot == nullptr) return false;
  found.next = load_shared(*NextOf(found.slot));
  return found.next == 0 || SlotAt(found.next) != nullptr;
}

long QueueCore::LinkMessage(_TIPCHeadItem& head, const Visitor& fill, bool front) {
  uint16_t sem_number = 0;
  uint32_t* const end = FindEnd(head);
  Link free;
  if (end == nullptr || !SemNumberOf(head, sem_number) || !ReadLink(VHeader->freeList, free)) {
    return QUEUE_PUT_FAILED;
  }
  uint32_t* const link = front ? &head.firstItem : end;
  const uint32_t follower = front ? load_shared(head.firstItem) : 0;
  const auto items = static_cast<uint16_t>(load_shared(VHeader->itemCount) + 1);
  // The slot is filled while it still heads the free list, which takes longest: a writer killed here has
  // changed nothing. Next the slot leaves the free list: a writer killed after that loses a slot, but never
  // leaves one both free and queued.
  fill.visit(fill.context, free.slot);
  store_shared(VHeader->freeList, free.next);
  store_shared(*NextOf(free.slot), follower);
  store_shared(*link, free.offset);
  store_shared(VHeader->itemCount, items);
  VLastMoved = true;
  const long posted = VSemaphores.implPut_ID(sem_number);
  if (items == VCapacity) VSemaphores.implSetOverflow();
  return posted;
}

long QueueCore::UnlinkMessage(_TIPCHeadItem& head, const Visitor& take, bool& was_full) {
  Link first;
  const uint32_t free_list = load_shared(VHeader->freeList);
  if (FindEnd(head) == nullptr || !ReadLink(head.firstItem, first) ||
      (free_list != 0 && SlotAt(free_list) == nullptr)) {
    return QUEUE_GET_FAILED;
  }
  const uint16_t items = load_shared(VHeader->itemCount);
  was_full = items == VCapacity;
  take.visit(take.context, first.slot);
  store_shared(head.firstItem, first.next);
  store_shared(*NextOf(first.slot), free_list);
  store_shared(VHeader->freeList, first.offset);
  VLastMoved = true;
  // A writer killed between linking and counting leaves an item that was never counted.
  if (items > 0) store_shared(VHeader->itemCount, static_cast<uint16_t>(items - 1));
  return 0;
}

long QueueCore::TakeFirst(_TIPCHeadItem& head, bool by_identifier, const Visitor& take) {
  bool was_full = false;
  long code = UnlinkMessage(head, take, was_full);
  if (code != 0) return code;
  // Kept as is: a failure from here on is reported although the message has been taken.
  uint16_t sem_number = 0;
  if (by_identifier)
    code = SemNumberOf(head, sem_number) ? ReleaseIfUnwatched(head, sem_number) : QUEUE_COUNT_FAILED;
  if (code == 0 && was_full) code = VSemaphores.implResetOverflow();
  return code;
}

long QueueCore::ReleaseIfUnwatched(_TIPCHeadItem& head, uint16_t sem_number) {
  int waiters = 0;
  const long code = VSemaphores.implWaitCount(sem_number, waiters);
  if (code == 0 && waiters == 0) store_shared(head.state, HEAD_IDLE);
  return code;
}

long QueueCore::implAwakenAll() {
  int waiters = 0;
  if (VSemaphores.implWaitCount(kOverflowSem, waiters) != 0) return QUEUE_COUNT_FAILED;
  if (waiters > 0 && VSemaphores.implResetOverflow(waiters) != 0) return QUEUE_OVFL_RESET_FAILED;
  for (_TIPCHeadItem* head = VHeads; head != VHeads + VCapacity; ++head) {
    uint16_t sem_number = 0;
    if (!SemNumberOf(*head, sem_number)) continue;  // damaged, so no reader can be waiting on it
    if (VSemaphores.implWaitCount(sem_number, waiters) != 0) return QUEUE_COUNT_FAILED;
    if (waiters > 0 && VSemaphores.implResetWait(sem_number, waiters) != 0) return QUEUE_RESET_FAILED;
  }
  return 0;
}

}  // namespace mar
