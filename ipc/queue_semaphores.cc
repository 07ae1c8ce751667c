#include "ipc/queue_semaphores.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <ctime>

#include "contract/queue_layout.h"
#include "contract/status.h"
#include "ipc/naming.h"
#include "ipc/system.h"
#include "log/trace.h"

namespace mar {

namespace {

constexpr char kLocation[] = "CIPCQueue_LINUX::implInitialize";

// Adds `amount`, at least 1, to one semaphore, never waiting. Returns 0 or errno.
int implPost(int set, uint16_t number, int amount) {
  // More than a semaphore holds would wrap to a negative operation, a wait.
  sembuf post{number, static_cast<short>(std::min(amount, SEMAPHORE_MAX_COUNT)), 0};
  while (sys::semaphores_operate(set, &post, 1) == -1) {
    if (errno != EINTR) return errno;
  }
  return 0;
}

}  // namespace

bool QueueSemaphores::implInitialize(const char* name, int items, const IpcKeys* known_keys) {
  trace_ln("%s ENTER - name = %s, items = %d", kLocation, name, items);
  IpcKeys keys;
  if (known_keys != nullptr) {
    keys = *known_keys;
  } else if (!impl_ipc_keys(name, keys)) {
    trace_ln("%s - ERROR - ftok errno = %d", kLocation, errno);
    return false;
  }
  if (items > 0) {
    if (!implCreate(keys.queue_semaphores, items + 2)) return false;
  } else {
    VSemaphore = sys::semaphores_get(keys.queue_semaphores, 2, 0);
    if (VSemaphore == -1) {
      trace_ln("%s - ERROR - semget get semaphore id errno = %d", kLocation, errno);
      return false;
    }
  }
  trace_ln("%s EXIT - name = %s, items = %d", kLocation, name, items);
  return true;
}

bool QueueSemaphores::implCreate(key_t key, int count) {
  for (;;) {
    VSemaphore = sys::semaphores_get(key, count, IPC_CREAT | 0666);
    if (VSemaphore == -1) {
      trace_ln("%s - ERROR - semget IPC_CREAT errno = %d, sem_num = %d", kLocation, errno, count);
      return false;
    }
    semid_ds status;
    const int marker = sys::semaphore_value(VSemaphore, kMarkerSem);
    if (marker == -1 || sys::semaphores_stat(VSemaphore, status) == -1) {
      trace_ln("%s - ERROR - semctl GETVAL errno = %d", kLocation, errno);
      return false;
    }
    // A larger set is stale too: SETALL would read a value for each of its semaphores from our array.
    if (marker == 0 && status.sem_nsems == static_cast<unsigned long>(count)) break;
    if (sys::semaphores_remove(VSemaphore) == -1) {
      trace_ln("%s - ERROR - semctl IPC_RMID errno = %d", kLocation, errno);
      return false;
    }
  }
  auto* zeros = static_cast<unsigned short*>(std::calloc(static_cast<size_t>(count), sizeof(unsigned short)));
  const int cleared = zeros == nullptr ? -1 : sys::semaphores_set_all(VSemaphore, zeros);
  std::free(zeros);
  if (cleared == -1) {
    trace_ln("%s - ERROR - semctl SETALL errno = %d", kLocation, errno);
    return false;
  }
  if (const int error = implPost(VSemaphore, kMarkerSem, 1)) {
    trace_ln("%s - ERROR - semop Semaphore #0 initialization errno = %d", kLocation, error);
    return false;
  }
  return true;
}

bool QueueSemaphores::implDestroy() { return sys::semaphores_remove(VSemaphore) == 0; }

QueueSemaphores::WaitEnd QueueSemaphores::implTake(uint16_t semNumber, const timespec* limit, short flags) {
  sembuf take{semNumber, -1, flags};
  if (sys::semaphores_operate_for(VSemaphore, &take, 1, limit) == 0) return WaitEnd::kTaken;
  return errno == EAGAIN || errno == EINTR ? WaitEnd::kLook : WaitEnd::kFailed;
}

QueueSemaphores::WaitEnd QueueSemaphores::implGet_ID(uint16_t semNumber, int slice_ms) {
  const timespec slice{slice_ms / 1000, slice_ms % 1000 * 1'000'000L};
  return implTake(semNumber, slice_ms < 0 ? nullptr : &slice, 0);
}

QueueSemaphores::WaitEnd QueueSemaphores::implTryGet_ID(uint16_t semNumber) {
  return implTake(semNumber, nullptr, IPC_NOWAIT);
}

void QueueSemaphores::implDrain_ID(uint16_t semNumber) {
  const int posts = sys::semaphore_value(VSemaphore, semNumber);
  sembuf take{semNumber, static_cast<short>(-posts), IPC_NOWAIT};
  if (posts > 0) sys::semaphores_operate(VSemaphore, &take, 1);
}

long QueueSemaphores::implPut_ID(uint16_t semNumber) {
  return implPost(VSemaphore, semNumber, 1) == 0 ? 0 : QUEUE_PUT_FAILED;
}

long QueueSemaphores::implWaitCount(uint16_t semNumber, int& count) {
  count = sys::semaphore_waiters(VSemaphore, semNumber);
  return count == -1 ? QUEUE_COUNT_FAILED : 0;
}

long QueueSemaphores::implResetWait(uint16_t semNumber, int count) {
  return implPost(VSemaphore, semNumber, count) == 0 ? 0 : QUEUE_RESET_FAILED;
}

long QueueSemaphores::implWaitOverflow() {
  for (;;) {
    const WaitEnd end = implTake(kOverflowSem, nullptr, 0);
    if (end != WaitEnd::kLook) return end == WaitEnd::kTaken ? 0 : QUEUE_WAIT_FAILED;
  }
}

long QueueSemaphores::implResetOverflow(int count) {
  const int error = implPost(VSemaphore, kOverflowSem, count);
  return error == 0 || error == ERANGE ? 0 : QUEUE_OVFL_RESET_FAILED;
}

}  // namespace mar
