// The creator's side of a block: control file, semaphore set with its sign of life, segment.
#include <cerrno>
#include <cinttypes>

#include "contract/queue_layout.h"
#include "contract/status.h"
#include "ipc/naming.h"
#include "ipc/shared_field.h"
#include "ipc/shared_memory.h"
#include "ipc/system.h"
#include "log/trace.h"

using namespace mar;

CkesSharedMemory::CkesSharedMemory(const char* name, uint64_t size, bool remove)
    : VSize(size), VRemove(remove) {
  char ipc_name[mar::kSegmentNameLimit + 1];
  CIPCUtils::createIPCName(name, nullptr, mar::kSegmentNameLimit, ipc_name);
  VInitResult = implCreate(ipc_name, size);
  VInitialized = VInitResult == 0;
}

long CkesSharedMemory::implCreate(const char* name, uint64_t size) {
  trace_ln(
      "entering CkesSharedMemory::implCreate(const char* name, unsigned long size) - name = %s, size = "
      "%" PRIu64,
      name, size);
  if (!mar::sys::file_exists_or_is_created(name)) {
    trace_ln("CkesSharedMemory::implCreate() - ERROR - fopen(name, \"w\") failed to create where errno = %d",
             errno);
    return IPC_CREATE_FAILED;
  }
  mar::IpcKeys keys;
  if (!mar::impl_ipc_keys(name, keys)) {
    trace_ln("CkesSharedMemory::implCreate() - ERROR - ftok(name, IPC_SEM_ID) where errno = %d", errno);
    return IPC_CREATE_FAILED;
  }
  if (!implCreateSemaphores(keys.segment_semaphores)) return IPC_CREATE_FAILED;
  if (!implCreateSegment(keys.segment, size)) {
    implAbandon();
    return IPC_CREATE_FAILED;
  }
  trace_ln(
      "exiting CkesSharedMemory::implCreate(const char* name, unsigned long size) - name = %s, size = "
      "%" PRIu64,
      name, size);
  return 0;
}

// Makes a fresh set and raises its creator-alive semaphore by 2: by 1 for good, and by 1 that the
// kernel takes back when this process ends. A set that was raised before belongs to an earlier creator
// and is replaced.
bool CkesSharedMemory::implCreateSemaphores(key_t key) {
  for (;;) {
    VSemaphore = mar::sys::semaphores_get(key, 2, 0666 | IPC_CREAT);
    if (VSemaphore == -1) {
      trace_ln(
          "CkesSharedMemory::implCreate() - ERROR - semget(sem_key, 2, 0666 | IPC_CREAT) where errno = %d",
          errno);
      return false;
    }
    const int alive = implCreatorAliveValue();
    if (alive == -1) {
      trace_ln("CkesSharedMemory::implCreate() - ERROR - semctl(VSemaphore, 1, GETVAL) where errno = %d",
               errno);
      return false;
    }
    if (alive == 0 && implRaiseCreatorAlive()) return true;
    if (alive == 0 && errno != EAGAIN) {
      trace_ln("CkesSharedMemory::implCreate() - ERROR - semop(VSemaphore, op_init, 2) where errno = %d",
               errno);
      return false;
    }
    if (mar::sys::semaphores_remove(VSemaphore) == -1) {
      trace_ln("CkesSharedMemory::implCreate() - ERROR - semctl(VSemaphore, 0, IPC_RMID) where errno = %d",
               errno);
      return false;
    }
  }
}

// False with EAGAIN when another creator was faster: a set raised twice for good would look alive for ever.
bool CkesSharedMemory::implRaiseCreatorAlive() {
  sembuf op_init[] = {{mar::kCreatorAliveSem, 0, IPC_NOWAIT},
                      {mar::kCreatorAliveSem, 1, 0},
                      {mar::kCreatorAliveSem, 1, SEM_UNDO}};
  int result = 0;
  while ((result = mar::sys::semaphores_operate(VSemaphore, op_init, 3)) == -1 && errno == EINTR) continue;
  return result == 0;
}

bool CkesSharedMemory::implCreateSegment(key_t key, uint64_t size) {
  // No IPC_EXCL, although the text names it: an earlier creator's segment that is large enough is used again.
  VMemory = mar::sys::segment_get(key, size, IPC_CREAT | 0666);
  if (VMemory == -1) {
    trace_ln(
        "CkesSharedMemory::implCreate() - ERROR - shmget(mem_key, size, 0666 | IPC_CREAT | IPC_EXCL) where "
        "errno = %d, "
        "size = %" PRIu64,
        errno, size);
    return false;
  }
  if (!implAttach()) {
    trace_ln("CkesSharedMemory::implCreate() - ERROR - shmat(VMemory, 0, 0) where errno = %d", errno);
    return false;
  }
  mar::clear_shared(VAddress, size);
  return true;
}

// A half-made block must not look alive. Its semaphore set is removed or, without the remove flag, told that
// its creator has died.
void CkesSharedMemory::implAbandon() {
  implDetach();
  if (VRemove) {
    mar::sys::semaphores_remove(VSemaphore);
    if (VMemory != -1) mar::sys::segment_remove(VMemory);
    return;
  }
  sembuf take_back{mar::kCreatorAliveSem, -1, SEM_UNDO | IPC_NOWAIT};
  mar::sys::semaphores_operate(VSemaphore, &take_back, 1);
}
