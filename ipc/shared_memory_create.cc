// The creator's side of a block: control file, semaphore set with its sign of life, segment.
#include <fcntl.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cerrno>
#include <cinttypes>
#include <cstdio>
#include <cstring>

#include "contract/queue_layout.h"
#include "contract/status.h"
#include "ipc/naming.h"
#include "ipc/shared_memory.h"
#include "log/trace.h"

using namespace mar;

CkesSharedMemory::CkesSharedMemory(const char* name, uint64_t size, bool remove)
    : VSize(size), VRemove(remove) {
  char ipc_name[kSegmentNameLimit + 1];
  CIPCUtils::createIPCName(name, nullptr, kSegmentNameLimit, ipc_name);
  VInitResult = implCreate(ipc_name, size);
  VInitialized = VInitResult == 0;
}

namespace {

// Keys come from a file, so there must be one; an existing file is left as it is.
bool impl_ensure_file(const char* name) {
  const int fd = open(name, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd >= 0) {
    close(fd);
    return true;
  }
  std::FILE* created = std::fopen(name, "we");
  if (created == nullptr) return false;
  std::fclose(created);
  return true;
}

}  // namespace

long CkesSharedMemory::implCreate(const char* name, uint64_t size) {
  trace_ln(
      "entering CkesSharedMemory::implCreate(const char* name, unsigned long size) - name = %s, size = "
      "%" PRIu64,
      name, size);
  if (!impl_ensure_file(name)) {
    trace_ln("CkesSharedMemory::implCreate() - ERROR - fopen(name, \"w\") failed to create where errno = %d",
             errno);
    return IPC_CREATE_FAILED;
  }
  IpcKeys keys;
  if (!impl_ipc_keys(name, keys)) {
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

// A fresh set, raised to 2 on the creator-alive semaphore: one for good, one that the kernel takes back when
// this process ends. A set that was ever raised belongs to an earlier creator and is replaced.
bool CkesSharedMemory::implCreateSemaphores(key_t key) {
  for (;;) {
    VSemaphore = semget(key, 2, 0666 | IPC_CREAT);
    if (VSemaphore == -1) {
      trace_ln(
          "CkesSharedMemory::implCreate() - ERROR - semget(sem_key, 2, 0666 | IPC_CREAT) where errno = %d",
          errno);
      return false;
    }
    const int sign = implCreatorSign();
    if (sign == -1) {
      trace_ln("CkesSharedMemory::implCreate() - ERROR - semctl(VSemaphore, 1, GETVAL) where errno = %d",
               errno);
      return false;
    }
    if (sign == 0 && implRaiseSign()) return true;
    if (sign == 0 && errno != EAGAIN) {
      trace_ln("CkesSharedMemory::implCreate() - ERROR - semop(VSemaphore, op_init, 2) where errno = %d",
               errno);
      return false;
    }
    if (semctl(VSemaphore, 0, IPC_RMID) == -1) {
      trace_ln("CkesSharedMemory::implCreate() - ERROR - semctl(VSemaphore, 0, IPC_RMID) where errno = %d",
               errno);
      return false;
    }
  }
}

// False with EAGAIN when another creator was faster: raised twice for good, a set would look alive for ever.
bool CkesSharedMemory::implRaiseSign() {
  sembuf op_init[] = {
      {kCreatorAliveSem, 0, IPC_NOWAIT}, {kCreatorAliveSem, 1, 0}, {kCreatorAliveSem, 1, SEM_UNDO}};
  int result = 0;
  while ((result = semop(VSemaphore, op_init, 3)) == -1 && errno == EINTR) continue;
  return result == 0;
}

bool CkesSharedMemory::implCreateSegment(key_t key, uint64_t size) {
  // No IPC_EXCL, although the text names it: a segment of an earlier creator that is large enough is used
  // again.
  VMemory = shmget(key, size, IPC_CREAT | 0666);
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
  std::memset(VAddress, 0, size);
  return true;
}

// A half-made block must not look alive: its semaphore set goes away or, without the remove flag, says that
// its creator is dead.
void CkesSharedMemory::implAbandon() {
  implDetach();
  if (VRemove) {
    semctl(VSemaphore, 0, IPC_RMID);
    if (VMemory != -1) shmctl(VMemory, IPC_RMID, nullptr);
    return;
  }
  sembuf take_back{kCreatorAliveSem, -1, SEM_UNDO | IPC_NOWAIT};
  semop(VSemaphore, &take_back, 1);
}
