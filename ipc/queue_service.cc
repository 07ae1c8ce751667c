// What a queue's owner and its repair tool need besides put and get: taking without waiting, freeing what
// dead users have left in their heads, ending a reader's wait, and finding lost slots.
#include "ipc/queue_core.h"
#include "ipc/shared_field.h"

namespace mar {

template <typename Work>
long QueueCore::OnHeadOf(_TIPCIdentifier identifier, const char* location, Work work) {
  if (const long code = LockFor(location)) return code;
  _TIPCHeadItem* const head = FindOwned(identifier);
  return UnlockAndReport({head == nullptr ? 0 : work(*head)}, location);
}

long QueueCore::TryGetFromSlot(long key, const Visitor& take, bool& taken) {
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
      code = TakeFirst(*head, false, take);
      taken = code != QUEUE_GET_FAILED;
    }
  }
  return UnlockAndReport({code}, kLocation);
}

long QueueCore::EmptyHead(uint16_t index, _TIPCIdentifier owner, int& freed, bool* emptied) {
  static constexpr char kLocation[] = "CIPCQueue::EmptyHead()";
  freed = 0;
  bool done = false;
  if (const long code = LockFor(kLocation)) return code;
  long code = index < VCapacity ? 0 : QUEUE_INVALID_KEY;
  if (code == 0 && IsOwnedBy(VHeads[index], owner)) code = EmptyLocked(VHeads[index], freed, done);
  if (emptied != nullptr) *emptied = done;
  return UnlockAndReport({code}, kLocation);
}

long QueueCore::EmptySlotsOf(_TIPCIdentifier identifier, const Visitor& visitor) {
  int freed = 0;
  bool emptied = false;
  return OnHeadOf(identifier, "CIPCQueue::EmptyHeadOf()",
                  [&](_TIPCHeadItem& head) { return EmptyLocked(head, freed, emptied, &visitor); });
}

long QueueCore::EmptyLocked(_TIPCHeadItem& head, int& freed, bool& emptied, const Visitor* visitor) {
  uint16_t sem_number = 0;
  int waiters = 0;
  if (!SemNumberOf(head, sem_number)) return QUEUE_GET_FAILED;
  if (const long code = VSemaphores.implWaitCount(sem_number, waiters)) return code;
  if (waiters > 0) return 0;
  if (const long code = FreeChain(head, freed, visitor)) return code;
  VSemaphores.implDrain_ID(sem_number);
  store_shared(head.state, HEAD_IDLE);
  emptied = true;
  return 0;
}

long QueueCore::WithdrawHead(_TIPCIdentifier owner, bool& withdrawn) {
  withdrawn = false;
  return OnHeadOf(owner, "CIPCQueue::WithdrawHead()",
                  [&](_TIPCHeadItem& head) { return WithdrawLocked(head, withdrawn); });
}

// Withdraws only while a reader waits. One that came later would overwrite the state and sleep.
long QueueCore::WithdrawLocked(_TIPCHeadItem& head, bool& withdrawn) {
  uint16_t sem_number = 0;
  int waiters = 0;
  if (!SemNumberOf(head, sem_number)) return QUEUE_GET_FAILED;
  if (const long code = VSemaphores.implWaitCount(sem_number, waiters)) return code;
  if (waiters == 0) return 0;
  withdrawn = true;
  store_shared(head.state, HEAD_WITHDRAWN);
  return VSemaphores.implPut_ID(sem_number);
}

long QueueCore::RestoreHead(_TIPCIdentifier owner, bool& settled) {
  settled = true;
  return OnHeadOf(owner, "CIPCQueue::RestoreHead()",
                  [&](_TIPCHeadItem& head) { return RestoreLocked(head, settled); });
}

// If the withdrawal's post is still there, no reader will come for it. If it is gone, a reader took it and is
// on its way to the lock: it must find the head withdrawn, or it would sleep again.
long QueueCore::RestoreLocked(_TIPCHeadItem& head, bool& settled) {
  uint16_t sem_number = 0;
  if (load_shared(head.state) != HEAD_WITHDRAWN) return 0;
  if (!SemNumberOf(head, sem_number)) return QUEUE_GET_FAILED;
  settled = VSemaphores.implTryGet_ID(sem_number) == QueueSemaphores::WaitEnd::kTaken;
  if (settled) store_shared(head.state, HEAD_IDLE);
  return 0;
}

// Moves the head's whole chain to the start of the free list. The head gives it up first: a process killed in
// between loses slots, but leaves none both queued and free.
long QueueCore::FreeChain(_TIPCHeadItem& head, int& freed, const Visitor* visitor) {
  uint32_t* const end = FindEnd(head, &freed);
  const uint32_t first = load_shared(head.firstItem);
  const uint32_t free_list = load_shared(VHeader->freeList);
  if (end == nullptr || (free_list != 0 && SlotAt(free_list) == nullptr)) {
    freed = 0;
    return QUEUE_GET_FAILED;
  }
  if (freed == 0) return 0;
  if (visitor != nullptr) VisitChain(head, freed, *visitor);
  const int items = load_shared(VHeader->itemCount);
  store_shared(head.firstItem, 0);
  store_shared(*end, free_list);
  store_shared(VHeader->freeList, first);
  store_shared(VHeader->itemCount, static_cast<uint16_t>(items > freed ? items - freed : 0));
  return items >= VCapacity ? VSemaphores.implResetOverflow() : 0;
}

// Visits at most `items` slots: the chain was sound a moment ago, but another process may change it.
void QueueCore::VisitChain(const _TIPCHeadItem& head, int items, const Visitor& visitor) const {
  uint8_t* slot = SlotAt(load_shared(head.firstItem));
  for (; items > 0 && slot != nullptr; --items) {
    visitor.visit(visitor.context, slot);
    slot = SlotAt(load_shared(*NextOf(slot)));
  }
}

long QueueCore::RecoverSlots(int& recovered) {
  static constexpr char kLocation[] = "CIPCQueue::RecoverSlots()";
  recovered = 0;
  SlotSet chained;
  if (const long code = LockFor(kLocation)) return code;
  return UnlockAndReport({RecoverLocked(chained, recovered)}, kLocation);
}

// Adds the slots of a chain to `marked` and their number to `items`. Returns false if the chain leads outside
// the slots or to a slot that is already marked, as in a circle.
bool QueueCore::MarkChain(const uint32_t& first, SlotSet& marked, int& items) const {
  uint32_t offset = load_shared(first);
  while (offset != 0) {
    uint8_t* const slot = SlotAt(offset);
    if (slot == nullptr) return false;
    const size_t index = (offset - VLayout.slot_offset(VCapacity, 0)) / VLayout.item_size_bytes;
    if (marked[index]) return false;
    marked[index] = true;
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
    if (chained[i]) continue;
    const auto offset = static_cast<uint32_t>(VLayout.slot_offset(VCapacity, i));
    store_shared(*NextOf(VBase + offset), free_list);
    store_shared(VHeader->freeList, offset);
    free_list = offset;
    ++recovered;
  }
  store_shared(VHeader->itemCount, static_cast<uint16_t>(queued));
  return was_full && queued < VCapacity ? VSemaphores.implResetOverflow() : 0;
}

}  // namespace mar
