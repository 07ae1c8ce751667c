// Opening and closing, and the public operations: lock, do the work on heads and slots (queue_heads.cc),
// unlock, then record on the error stack what failed.
#include "ipc/queue_core.h"

#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "ipc/naming.h"
#include "ipc/shared_field.h"
#include "ipc/system.h"
#include "log/trace.h"
#include "runtime/error_manager.h"
#include "util/deadline.h"

namespace mar {

namespace {

constexpr char kConstructor[] = "CIPCQueue<T>::CIPCQueue(const char*,bool)";
constexpr char kLockLocation[] = "CkesSharedMemory::Lock()";
constexpr char kUnlockLocation[] = "CkesSharedMemory::Unlock()";
constexpr char kCheckOverflow[] = "CIPCQueue::CheckOverflow()";

// How long a reader sleeps before it looks whether the queue is open and its creator alive.
constexpr int64_t kWaitSliceMs = 250;
constexpr int64_t kNsPerMs = 1'000'000;

// A slice that ends with the call's deadline, if that comes first.
int slice_ms(Deadline deadline) {
  if (!deadline.is_set()) return kWaitSliceMs;
  return static_cast<int>(std::min(kWaitSliceMs, (deadline.remaining_ns() + kNsPerMs - 1) / kNsPerMs));
}

// Without the lock: only the reader itself sets this state, and it no longer waits. If others have set
// another state meanwhile, that stands.
void leave_head(_TIPCHeadItem& head) { replace_shared(head.state, HEAD_READER, HEAD_IDLE); }

// Leaves the head when the reader's thread is cancelled.
class ReaderGuard {
 public:
  explicit ReaderGuard(_TIPCHeadItem& head) : head_(&head) {}
  ~ReaderGuard() {
    if (head_ != nullptr) leave_head(*head_);
  }
  ReaderGuard(const ReaderGuard&) = delete;
  ReaderGuard& operator=(const ReaderGuard&) = delete;

  void dismiss() { head_ = nullptr; }

 private:
  _TIPCHeadItem* head_;
};

}  // namespace

QueueCore::QueueCore(const char* name, bool remove, uint32_t message_size_bytes)
    : VRemove(remove), VLayout{message_size_bytes + sizeof(uint32_t)} {
  trace_ln("%s ENTER, name[%s] remove[%d]\n", kConstructor, name, remove);
  errno = 0;
  VSharedMemory.emplace(name, remove);
  const long result = VSharedMemory->GetInitResult();
  // A block whose creator has died still opens; its users ask CreatorAlive().
  if (result == 0 || result == SHMEM_SERVER_DEAD) {
    char ipc_name[kQueueNameLimit + 1];
    CIPCUtils::createIPCName(name, nullptr, kQueueNameLimit, ipc_name);
    // Cut to its limit, the name may be that of another file than the segment's.
    const bool same_file = std::strlen(ipc_name) < kQueueNameLimit - 1;
    VInitialized = VSemaphores.implInitialize(ipc_name, 0, same_file ? &VSharedMemory->GetKeys() : nullptr) &&
                   MapSegment();
    VCreatorSeenAlive = result == 0;
    if (!VInitialized) {
      VOpenCause = OpenCause(result);
      trace_ln("%s ERROR - VInitialized == 0\n", kConstructor);
      VSharedMemory.reset();
    }
  } else {
    VOpenError = errno;
    VOpenCause = OpenCause(result);
    trace_ln("%s - ERROR -VSharedMemory->GetInitResult() = %ld\n", kConstructor, result);
  }
  if (VInitialized && State() != IPCQUEUE_OPEN) {
    const uint32_t state = State();
    VOpenCause = state == IPCQUEUE_CLOSE     ? MAR_CAUSE_CLOSING
                 : state == IPCQUEUE_DESTROY ? MAR_CAUSE_DESTROYED
                                             : MAR_CAUSE_BAD_STATE;
    Close();
  }
  trace_ln("%s EXIT, name[%s] remove[%d] VInitialized[%d]\n", kConstructor, name, remove, VInitialized);
}

QueueCore::~QueueCore() {
  if (VInitialized) Close();
}

bool QueueCore::MapSegment() {
  const uint64_t size_bytes = VSharedMemory->GetSize();
  const uint64_t slots = VLayout.capacity(size_bytes);
  // A header without slots is a queue all the same: it runs, and has no head.
  if (size_bytes < QueueLayout::kHeadsOffset || slots > kMaxQueueSlots) return false;
  VCapacity = static_cast<uint16_t>(slots);
  VBase = static_cast<uint8_t*>(VSharedMemory->GetAddress());
  VHeader = reinterpret_cast<QueueHeader*>(VBase);
  VHeads = reinterpret_cast<_TIPCHeadItem*>(VBase + QueueLayout::kHeadsOffset);
  return true;
}

// What made the open fail, by the code and errno of the step that failed. EINVAL means a set of another size,
// or an object that was removed between two steps; the set would still be there.
mar_cause QueueCore::OpenCause(long segment_result) const {
  const int error = errno;
  const IpcKeys& keys = VSharedMemory->GetKeys();
  const auto is_too_small = [](key_t key) {
    return sys::semaphores_get(key, 2, 0) == -1 && sys::semaphores_get(key, 0, 0) != -1;
  };
  const bool removed =
      error == EINVAL && !is_too_small(keys.segment_semaphores) && !is_too_small(keys.queue_semaphores);
  const bool absent = removed || error == ENOENT || error == ENOTDIR || error == EIDRM;
  if (error == ENOMEM) return MAR_CAUSE_NO_MEMORY;
  if (segment_result == IPC_UNAVAILABLE) return absent ? MAR_CAUSE_NO_CONTROL_FILE : MAR_CAUSE_NO_ACCESS;
  if (error == EACCES || error == EPERM) return MAR_CAUSE_NO_PERMISSION;
  if (!absent) return MAR_CAUSE_KEY_CLASH;  // such a set, or a segment that is no queue
  return segment_result == IPC_OPEN_FAILED ? MAR_CAUSE_NO_QUEUE : MAR_CAUSE_HALF_MADE;
}

mar_cause QueueCore::AbsenceCause() {
  if (!VInitialized) return VOpenCause;
  if (CreatorAlive()) return MAR_CAUSE_NONE;
  return VSharedMemory->CreatorDied() ? MAR_CAUSE_CREATOR_DEAD : MAR_CAUSE_HALF_MADE;
}

void QueueCore::Close() {
  // Kept by a put that was refused while it waited, or by an unlock that failed.
  if (VSharedMemory->HoldsLock()) VSharedMemory->Unlock();
  if (VRemove) SetState(IPCQUEUE_DESTROY);
  if (!VSharedMemory->HoldsLock()) VSharedMemory->Lock();
  if (VRemove) VSemaphores.implDestroy();
  if (VSharedMemory->HoldsLock()) VSharedMemory->Unlock();
  VSharedMemory.reset();
  VInitialized = false;
}

void QueueCore::Detach() {
  VSharedMemory.reset();
  VInitialized = false;
}

bool QueueCore::CreatorAlive() {
  if (!VInitialized) return false;
  VCreatorSeenAlive = VSharedMemory->CreatorAlive();
  return VCreatorSeenAlive;
}

long QueueCore::Report(Outcome outcome, const char* location) {
  if (outcome.code == 0) return 0;
  CkesErrorManager::SetError(outcome.code, outcome.origin != nullptr ? outcome.origin : location);
  if (outcome.origin != nullptr) CkesErrorManager::AddFunction(location);
  return outcome.code;
}

long QueueCore::LockFor(const char* location) {
  if (!VInitialized) return Report({QUEUE_NOT_INIT}, location);
  if (VSharedMemory->HoldsLock()) return 0;  // see Close; to wait for one's own lock would never end
  return PassOn(VSharedMemory->Lock(), location);
}

long QueueCore::UnlockAndReport(Outcome outcome, const char* location) {
  const long unlocked = VSharedMemory->HoldsLock() ? VSharedMemory->Unlock() : 0;
  return outcome.code != 0 ? Report(outcome, location) : PassOn(unlocked, location);
}

long QueueCore::PassOn(long code, const char* location) {
  if (code != 0) CkesErrorManager::AddFunction(location);
  return code;
}

long QueueCore::OpenChannel(_TIPCIdentifier identifier, long* key) {
  static constexpr char kLocation[] = "CIPCQueue::OpenChannel()";
  if (const long code = LockFor(kLocation)) return code;
  _TIPCHeadItem* head = nullptr;
  const long code = FindHead(identifier, true, head);
  if (code == 0) {
    store_shared(head->state, HEAD_CHANNEL);
    *key = head - VHeads;
  }
  return UnlockAndReport({code}, kLocation);
}

bool QueueCore::HoldsMessageFor(_TIPCIdentifier identifier) const {
  const _TIPCHeadItem* const head = VInitialized ? FindOwned(identifier) : nullptr;
  return head != nullptr && load_shared(head->firstItem) != 0;
}

uint16_t QueueCore::ItemCount() const {
  return VInitialized ? std::min(load_shared(VHeader->itemCount), VCapacity) : uint16_t{0};
}

long QueueCore::SetState(TQueueState state) {
  static constexpr char kLocation[] = "CIPCQueue::SetState()";
  if (const long code = LockFor(kLocation)) return code;
  store_shared(VHeader->queueState, state);
  const long woken = state == IPCQUEUE_OPEN ? 0 : implAwakenAll();
  if (const long code = PassOn(VSharedMemory->Unlock(), kLocation)) return code;
  return Report({woken}, kLocation);
}

long QueueCore::PutInSlot(_TIPCIdentifier identifier, long key, const Visitor& fill, bool front) {
  static constexpr char kLocation[] = "CIPCQueue::PrivatePut()";
  VLastMoved = false;
  if (const long code = LockFor(kLocation)) return code;
  if (State() != IPCQUEUE_OPEN) {
    const long unlocked = PassOn(VSharedMemory->Unlock(), kLocation);
    return unlocked != 0 ? unlocked : Report({QUEUE_CLOSED}, kLocation);
  }
  const Outcome room = CheckOverflow(VWaitOverflow);
  // Kept as is: a writer that waited for room on a queue that then closed returns with the lock held.
  if (room.code == QUEUE_CLOSED) return Report(room, kLocation);
  if (room.code != 0) return UnlockAndReport(room, kLocation);
  _TIPCHeadItem* head = nullptr;
  Link free;
  // Read before a head is claimed, so a put that fails on a broken queue stores nothing.
  const bool broken = key == -1 && !ReadLink(VHeader->freeList, free);
  long code = broken ? QUEUE_PUT_FAILED : SelectHead(identifier, key, head);
  if (code == 0) code = LinkMessage(*head, fill, front);
  return UnlockAndReport({code}, kLocation);
}

// Waits for room if `wait` is set. However the wait ends, the lock is held again afterwards, unless it could
// not be released or taken.
QueueCore::Outcome QueueCore::CheckOverflow(bool wait) {
  while (load_shared(VHeader->itemCount) >= VCapacity) {
    if (!wait) return {QUEUE_OVERFLOW, kCheckOverflow};
    if (const long code = VSharedMemory->Unlock()) return {code, kUnlockLocation};
    Outcome waited{VSemaphores.implWaitOverflow(), kCheckOverflow};
    if (waited.code == 0 && State() != IPCQUEUE_OPEN) waited.code = QUEUE_CLOSED;
    const long locked = VSharedMemory->Lock();
    if (waited.code != 0) return waited;
    if (locked != 0) return {locked, kLockLocation};
  }
  return {};
}

long QueueCore::GetFromSlot(_TIPCIdentifier identifier, long key, const Visitor& take) {
  static constexpr char kLocation[] = "CIPCQueue::PrivateGet()";
  VLastMoved = false;
  const bool by_identifier = key == -1;
  if (const long code = LockFor(kLocation)) return code;
  _TIPCHeadItem* head = nullptr;
  Outcome outcome{SelectHead(identifier, key, head)};
  if (outcome.code == 0) outcome = WaitForItem(*head, by_identifier);
  if (outcome.code == 0) outcome.code = TakeFirst(*head, by_identifier, take);
  return UnlockAndReport(outcome, kLocation);
}

// Entered with the lock held, and left with it held unless this fails. The state is set before each wait: a
// reader that shares the head may have set it back to idle.
QueueCore::Outcome QueueCore::WaitForItem(_TIPCHeadItem& head, bool by_identifier) {
  uint16_t sem_number = 0;
  if (!SemNumberOf(head, sem_number)) return {QUEUE_GET_FAILED};
  const auto drained = [&] { return load_shared(head.firstItem) == 0 && State() != IPCQUEUE_OPEN; };
  for (;;) {
    if (drained()) return {QUEUE_CLOSED};
    if (by_identifier) store_shared(head.state, HEAD_READER);
    if (const Outcome waited = WaitUnlocked(head, sem_number); waited.code != 0) return waited;
    if (drained()) return {QUEUE_CLOSED};
    if (load_shared(head.state) == HEAD_WITHDRAWN) {
      ReleaseIfUnwatched(head, sem_number);
      return {QUEUE_INVALID_ID};
    }
    if (load_shared(head.firstItem) != 0) return {};
    // Woken with nothing queued, as by implAwakenAll. The queue is open, so wait again. If another process
    // keeps posting, only this test finds that the creator has died or that the time is up.
    if (call_deadline().has_passed() || (VCreatorSeenAlive && !CreatorAlive())) return {QUEUE_GET_FAILED};
  }
}

// The one blocking wait of a reader: never with the lock held. A reader that leaves without the lock, because
// it is cancelled or its time is up, still leaves its head idle.
QueueCore::Outcome QueueCore::WaitUnlocked(_TIPCHeadItem& head, uint16_t sem_number) {
  if (const long code = VSharedMemory->Unlock()) return {code, kUnlockLocation};
  ReaderGuard guard(head);
  const long waited = WaitForPost(sem_number);
  guard.dismiss();
  if (State() == IPCQUEUE_DESTROY) return {QUEUE_CLOSED};
  if (const long code = VSharedMemory->Lock()) {
    if (call_deadline().has_passed()) leave_head(head);
    return {code, kLockLocation};
  }
  return {waited};
}

// A reader outlives its engine: between slices it looks whether the queue is still open and whether the
// creator, alive before, has died. What the creator queued in its last moment is still taken; the wait after
// that one gives up, as does one whose deadline has passed. A thread can be cancelled between two slices.
// Returns 0 when there is something to judge with the lock held.
long QueueCore::WaitForPost(uint16_t sem_number) {
  const Deadline deadline = call_deadline();
  for (;;) {
    pthread_testcancel();
    const QueueSemaphores::WaitEnd end = VSemaphores.implGet_ID(sem_number, slice_ms(deadline));
    if (end == QueueSemaphores::WaitEnd::kTaken) return 0;
    if (end == QueueSemaphores::WaitEnd::kFailed) return QUEUE_GET_FAILED;
    // A queue that closed after this reader released the lock, but before it slept, did not post for it.
    if (State() != IPCQUEUE_OPEN) {
      VSemaphores.implTryGet_ID(sem_number);
      return 0;
    }
    const bool given_up = deadline.has_passed();
    if (!given_up && (VSharedMemory->CreatorAlive() || !VCreatorSeenAlive)) continue;
    if (VSemaphores.implTryGet_ID(sem_number) == QueueSemaphores::WaitEnd::kTaken) return 0;
    if (!given_up) VCreatorSeenAlive = false;
    return QUEUE_GET_FAILED;
  }
}

}  // namespace mar
