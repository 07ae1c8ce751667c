// Opening, locking, copying. Creating a block is the engine's side: shared_memory_create.cc.
#include "ipc/shared_memory.h"

#include <cerrno>

#include "contract/queue_layout.h"
#include "contract/status.h"
#include "ipc/naming.h"
#include "ipc/shared_field.h"
#include "ipc/system.h"
#include "log/trace.h"
#include "runtime/error_manager.h"
#include "util/deadline.h"

using namespace mar;

CkesSharedMemory::CkesSharedMemory(const char* name, bool remove) : VRemove(remove) {
  char ipc_name[mar::kSegmentNameLimit + 1];
  CIPCUtils::createIPCName(name, nullptr, mar::kSegmentNameLimit, ipc_name);
  VInitResult = implOpen(ipc_name);
  VInitialized = VInitResult == 0 || VInitResult == SHMEM_SERVER_DEAD;
}

CkesSharedMemory::~CkesSharedMemory() {
  if (VInitialized) implDestroy();
}

bool CkesSharedMemory::FitLength(uint64_t offset, uint64_t& length) const {
  if (offset >= VSize || VSize - offset == 1) return false;
  // Kept as is: cut one byte short of the end, a margin that engine and clients share.
  if (length > VSize - offset) length = VSize - offset - 1;
  return true;
}

long CkesSharedMemory::Read(uint64_t offset, uint64_t length, void* buffer) {
  long code = 0;
  if (!VInitialized) {
    code = SHMEM_NOT_INIT;
  } else if (!FitLength(offset, length)) {
    code = IPC_READ_FAILED;
  } else {
    code = implRead(offset, length, buffer);
  }
  return record_failure(code, "CkesSharedMemory::Read()");
}

long CkesSharedMemory::Write(uint64_t offset, uint64_t length, const void* buffer) {
  const uint64_t wanted = length;
  long code = 0;
  if (!VInitialized) {
    code = SHMEM_NOT_INIT;
  } else if (!FitLength(offset, length)) {
    code = IPC_WRITE_FAILED;
  } else {
    if (length < wanted) record_failure(IPC_WRITE_INCOMPLETE, "CkesSharedMemory::Write()");
    code = implWrite(offset, length, buffer);
  }
  return record_failure(code, "CkesSharedMemory::Write()");
}

long CkesSharedMemory::Lock() {
  return record_failure(VInitialized ? implLock() : SHMEM_NOT_INIT, "CkesSharedMemory::Lock()");
}

long CkesSharedMemory::Unlock() {
  return record_failure(VInitialized ? implUnlock() : SHMEM_NOT_INIT, "CkesSharedMemory::Unlock()");
}

bool CkesSharedMemory::CreatorAlive() { return implCreatorAliveValue() > 1; }

// A set that is gone went with its creator.
bool CkesSharedMemory::CreatorDied() {
  const int value = implCreatorAliveValue();
  return value == 1 || value == -1;
}

int CkesSharedMemory::implCreatorAliveValue() const {
  return mar::sys::semaphore_value(VSemaphore, mar::kCreatorAliveSem);
}

long CkesSharedMemory::implOpen(const char* name) {
  static constexpr char kLocation[] = "CkesSharedMemory_UNIX::implOpen";
  trace_ln("%s ENTER - name = %s", kLocation, name);
  if (!mar::impl_ipc_keys(name, VKeys)) {
    trace_ln("%s - ERROR -  ftok(name, IPC_MEM_ID) failed where name = %s, errno = %d", kLocation, name,
             errno);
    return IPC_UNAVAILABLE;
  }
  VSemaphore = mar::sys::semaphores_get(VKeys.segment_semaphores, 2, 0);
  if (VSemaphore == -1) {
    trace_ln("%s - ERROR - semget(sem_key, 2, 0) failed where errno = %d", kLocation, errno);
    return IPC_OPEN_FAILED;
  }
  VMemory = mar::sys::segment_get(VKeys.segment, 1, 0);
  if (VMemory == -1) {
    trace_ln("%s - ERROR - shmget(mem_key, 1, 0) failed where errno = %d", kLocation, errno);
    return IPC_OPEN_FAILED;
  }
  if (!implAttach()) {
    trace_ln("%s - ERROR - shmat(VMemory, 0, 0) failed where errno = %d", kLocation, errno);
    return IPC_OPEN_FAILED;
  }
  const long code = implOpenAttached(kLocation);
  if (code == IPC_OPEN_FAILED) implDetach();
  if (code == 0) trace_ln("%s EXIT - name = %s", kLocation, name);
  return code;
}

// Second half of the open: finds the block's size and whether its creator lives.
long CkesSharedMemory::implOpenAttached(const char* location) {
  shmid_ds info;
  if (mar::sys::segment_stat(VMemory, info) == -1) {
    trace_ln("%s - ERROR - shmctl(VMemory, IPC_STAT, &info) failed where errno = %d", location, errno);
    return IPC_OPEN_FAILED;
  }
  VSize = info.shm_segsz;
  const int sem_val = implCreatorAliveValue();
  if (sem_val == -1 || sem_val == 1) {
    trace_ln("%s - ERROR - semctl(VSemaphore, 1, GETVAL) failed where errno = %d, sem_val = %d", location,
             errno, sem_val);
    return sem_val == 1 ? SHMEM_SERVER_DEAD : IPC_OPEN_FAILED;
  }
  return 0;
}

bool CkesSharedMemory::implAttach() {
  VAddress = mar::sys::segment_attach(VMemory);
  return VAddress != nullptr;
}

void CkesSharedMemory::implDetach() {
  if (VAddress != nullptr) mar::sys::segment_detach(VAddress);
  VAddress = nullptr;
}

void CkesSharedMemory::implDestroy() {
  implDetach();
  if (!VRemove) return;
  mar::sys::semaphores_remove(VSemaphore);
  mar::sys::segment_remove(VMemory);
}

// One atomic step: waits until the lock is free, then takes it. The kernel releases it if this process dies.
long CkesSharedMemory::implLock() {
  sembuf take[] = {{mar::kLockSem, 0, 0}, {mar::kLockSem, 1, SEM_UNDO}};
  const mar::Deadline deadline = mar::call_deadline();
  for (;;) {
    const timespec rest = deadline.is_set() ? deadline.remaining() : timespec{};
    const int result =
        mar::sys::semaphores_operate_for(VSemaphore, take, 2, deadline.is_set() ? &rest : nullptr);
    if (result == 0) break;
    if (errno == EINTR) continue;
    trace_ln("%s: semop on VSemaphore[%d] failed [%d] errno[%d]\n", "CkesSharedMemory::implLock", VSemaphore,
             result, errno);
    return SHMEM_LOCK_FAILED;
  }
  VLockedIn.exchange(mar::process_generation(), std::memory_order_acquire);
  return 0;
}

// Only the holder may release the lock. A stray -1 with undo would free the lock of another process and, when
// this one exits, leave it taken with no holder.
long CkesSharedMemory::implUnlock() {
  // Cleared first: once the kernel has released the lock, another thread may take it through this handle.
  const uint32_t holder = VLockedIn.exchange(0, std::memory_order_release);
  if (holder != mar::process_generation()) return SHMEM_UNLOCK_FAILED;
  sembuf release{mar::kLockSem, -1, SEM_UNDO | IPC_NOWAIT};
  while (mar::sys::semaphores_operate(VSemaphore, &release, 1) == -1) {
    if (errno == EINTR) continue;
    // EAGAIN: someone else has released it. EIDRM, EINVAL: it went with its set. Otherwise it is still held.
    if (errno != EAGAIN && errno != EIDRM && errno != EINVAL) VLockedIn = holder;
    return SHMEM_UNLOCK_FAILED;
  }
  return 0;
}

long CkesSharedMemory::implRead(uint64_t offset, uint64_t length, void* buffer) {
  if (implLock() != 0) return SHMEM_LOCK_FAILED;
  mar::copy_shared(buffer, static_cast<const uint8_t*>(VAddress) + offset, length);
  return implUnlock();
}

long CkesSharedMemory::implWrite(uint64_t offset, uint64_t length, const void* buffer) {
  if (implLock() != 0) return SHMEM_LOCK_FAILED;
  mar::copy_shared(static_cast<uint8_t*>(VAddress) + offset, buffer, length);
  return implUnlock();
}
