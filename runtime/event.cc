#include "runtime/event.h"

#include <errno.h>

#include <algorithm>

#include "runtime/error_manager.h"
#include "runtime/thread_library.h"

CkesEvent::CkesEvent(TEventMode reset_mode, bool initially_signalled)
    : mode(reset_mode), signalled(initially_signalled) {
  initialized = lock.IsInitialized();  // which has initialised the thread library
}

CkesEvent::~CkesEvent() {
  if (initialized) implDestroy();
}

long CkesEvent::Wait() {
  return record_failure(initialized ? implWait(nullptr) : kEventNotInitialised, "CkesEvent::Wait()");
}

long CkesEvent::Wait(long wait_ms) {
  const timespec deadline = implDeadline(std::max(wait_ms, 0L));
  return record_failure(initialized ? implWait(&deadline) : kEventNotInitialised, "CkesEvent::Wait(long)");
}

long CkesEvent::Signal() {
  return record_failure(initialized ? implSignal(mode != AUTO_RESET) : kEventNotInitialised,
                        "CkesEvent::Signal()");
}

long CkesEvent::Pulse() {
  return record_failure(initialized ? implSignal(false) : kEventNotInitialised, "CkesEvent::SignalAll()");
}

long CkesEvent::Reset() {
  if (!initialized) return record_failure(kEventNotInitialised, "CkesEvent::Reset()");
  const MutexHold held(lock);
  signalled = false;
  return 0;
}

// The clock is read in whole seconds; that the wait may end up to one second early is part of the contract.
timespec CkesEvent::implDeadline(long wait_ms) {
  return {.tv_sec = time(nullptr) + wait_ms / 1000, .tv_nsec = wait_ms % 1000 * 1'000'000};
}

long CkesEvent::implWait(const timespec* deadline) {
  const MutexHold held(lock);
  if (signalled) {
    if (mode == AUTO_RESET) signalled = false;
    return 0;
  }
  const int error = deadline == nullptr ? pthread_cond_wait(&condition, lock.GetUNIXMutex())
                                        : pthread_cond_timedwait(&condition, lock.GetUNIXMutex(), deadline);
  if (error == 0) return 0;
  return error == ETIMEDOUT ? kEventTimedOut : kEventWaitFailed;
}

long CkesEvent::implSignal(bool stays_up) {
  const MutexHold held(lock);
  const int error = mode == AUTO_RESET ? pthread_cond_signal(&condition) : pthread_cond_broadcast(&condition);
  signalled = stays_up;
  return error == 0 ? 0 : kEventSignalFailed;
}

void CkesEvent::implDestroy() { pthread_cond_destroy(&condition); }
