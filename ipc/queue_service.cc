// What a queue's owner and its repairers need beside put and get: taking without waiting, and giving back
// what a dead user has left in its head.
#include "ipc/queue_core.h"
#include "ipc/shared_field.h"

long QueueCore::TryGetBytes(long key, void* message, bool& taken) {
  static constexpr char kLocation[] = "CIPCQueue::KeyTryGet()";
  taken = false;
  if (const long code = LockFor(kLocation)) return code;
  _TIPCHeadItem* head = nullptr;
  long code = key == -1 ? QUEUE_INVALID_KEY : SelectHead(NULL_IPC_ID, key, head);
  uint16_t sem_number = 0;
  if (code == 0 && !SemNumberOf(*head, sem_number)) code = QUEUE_GET_FAILED;
  if (code == 0) {
    VSemaphores.implTryGet_ID(sem_number);
    if (load_shared(head->firstItem) != 0) {
      code = TakeFirst(*head, false, message);
      taken = code != QUEUE_GET_FAILED;
    }
  }
  return UnlockAndReport({code}, kLocation);
}

long QueueCore::EmptyHead(uint16_t index, _TIPCIdentifier owner, int& freed) {
  static constexpr char kLocation[] = "CIPCQueue::EmptyHead()";
  freed = 0;
  if (const long code = LockFor(kLocation)) return code;
  const long code = index < VCapacity ? EmptyLocked(VHeads[index], owner, freed) : QUEUE_INVALID_KEY;
  return UnlockAndReport({code}, kLocation);
}

long QueueCore::EmptyHeadOf(_TIPCIdentifier identifier) {
  static constexpr char kLocation[] = "CIPCQueue::EmptyHeadOf()";
  if (const long code = LockFor(kLocation)) return code;
  int freed = 0;
  _TIPCHeadItem* const head = FindOwned(identifier);
  return UnlockAndReport({head == nullptr ? 0 : EmptyLocked(*head, identifier, freed)}, kLocation);
}

long QueueCore::EmptyLocked(_TIPCHeadItem& head, _TIPCIdentifier owner, int& freed) {
  uint16_t sem_number = 0;
  int waiters = 0;
  if (FindOwned(owner) != &head) return 0;
  if (!SemNumberOf(head, sem_number)) return QUEUE_GET_FAILED;
  if (const long code = VSemaphores.implWaitCount(sem_number, waiters)) return code;
  if (waiters > 0) return 0;
  if (const long code = FreeChain(head, freed)) return code;
  VSemaphores.implDrain_ID(sem_number);
  store_shared(head.state, HEAD_IDLE);
  return 0;
}

// Puts the head's whole chain before the free list. The head lets go first: dying in between loses slots to
// the queue but never leaves one both queued and free.
long QueueCore::FreeChain(_TIPCHeadItem& head, int& freed) {
  uint32_t* const end = FindEnd(head, &freed);
  const uint32_t first = load_shared(head.firstItem);
  const uint32_t free_list = load_shared(VHeader->freeList);
  if (end == nullptr || (free_list != 0 && SlotAt(free_list) == nullptr)) {
    freed = 0;
    return QUEUE_GET_FAILED;
  }
  if (freed == 0) return 0;
  const int items = load_shared(VHeader->itemCount);
  store_shared(head.firstItem, 0);
  store_shared(*end, free_list);
  store_shared(VHeader->freeList, first);
  store_shared(VHeader->itemCount, static_cast<uint16_t>(items > freed ? items - freed : 0));
  return items >= VCapacity ? VSemaphores.implResetOverflow() : 0;
}

long QueueCore::RecoverSlots(int& recovered) {
  static constexpr char kLocation[] = "CIPCQueue::RecoverSlots()";
  recovered = 0;
  SlotSet chained;
  if (const long code = LockFor(kLocation)) return code;
  return UnlockAndReport({RecoverLocked(chained, recovered)}, kLocation);
}

// Adds a chain's slots to `marked` and their number to `items`. False where the chain leaves the slots or
// meets one that is marked already: so also in a circle.
bool QueueCore::MarkChain(const uint32_t& first, SlotSet& marked, int& items) const {
  uint32_t offset = load_shared(first);
  while (offset != 0) {
    uint8_t* const slot = SlotAt(offset);
    if (slot == nullptr) return false;
    const size_t index = (offset - VLayout.slot_offset(VCapacity, 0)) / VLayout.item_size_bytes;
    if (marked.test(index)) return false;
    marked.set(index);
    ++items;
    offset = load_shared(*NextOf(slot));
  }
  return true;
}

long QueueCore::RecoverLocked(SlotSet& chained, int& recovered) {
  int free = 0;
  int queued = 0;
  bool sound = MarkChain(VHeader->freeList, chained, free);
  for (uint16_t i = 0; sound && i < VCapacity; ++i) sound = MarkChain(VHeads[i].firstItem, chained, queued);
  if (!sound) return QUEUE_GET_FAILED;
  const bool was_full = load_shared(VHeader->itemCount) >= VCapacity;
  uint32_t free_list = load_shared(VHeader->freeList);
  for (uint16_t i = 0; i < VCapacity; ++i) {
    if (chained.test(i)) continue;
    const auto offset = static_cast<uint32_t>(VLayout.slot_offset(VCapacity, i));
    store_shared(*NextOf(VBase + offset), free_list);
    store_shared(VHeader->freeList, offset);
    free_list = offset;
    ++recovered;
  }
  store_shared(VHeader->itemCount, static_cast<uint16_t>(queued));
  return was_full && queued < VCapacity ? VSemaphores.implResetOverflow() : 0;
}
