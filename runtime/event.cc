#include "runtime/event.h"

#include <errno.h>

#include <algorithm>

#include "runtime/error_manager.h"
#include "runtime/fork_order.h"
#include "runtime/static_mutex.h"
#include "runtime/thread_library.h"

using namespace mar;

namespace mar {

// The process's initialised events. fork() takes the inner lock of each, none of which is held for long, and
// gives the child condition variables on which no thread waits: the kernel copies the waiters' count but not
// the waiters, and destroying such a condition variable would wait for them.
class EventList {
 public:
  static void add(CkesEvent* event) {
    const StaticMutexHold hold(mutex_);
    event->next = first_;
    if (first_ != nullptr) first_->previous = event;
    first_ = event;
  }
  static void remove(CkesEvent* event) {
    const StaticMutexHold hold(mutex_);
    (event->previous != nullptr ? event->previous->next : first_) = event->next;
    if (event->next != nullptr) event->next->previous = event->previous;
  }

  [[gnu::constructor(kForkInnermost)]] static void hold_during_fork() {
    pthread_atfork(lock_all, unlock_all, renew_all);
  }

 private:
  // Not through CkesMutex::Lock, which records failures: the forking thread may have no error stack.
  static void lock_all() MAR_ACQUIRE(mutex_) {
    mutex_.lock();
    for (CkesEvent* event = first_; event != nullptr; event = event->next)
      pthread_mutex_lock(event->lock.GetUNIXMutex());
  }
  static void unlock_all() MAR_RELEASE(mutex_) {
    for (CkesEvent* event = first_; event != nullptr; event = event->next)
      pthread_mutex_unlock(event->lock.GetUNIXMutex());
    mutex_.unlock();
  }
  static void renew_all() MAR_RELEASE(mutex_) {
    for (CkesEvent* event = first_; event != nullptr; event = event->next) event->condition = {};
    unlock_all();
  }

  static inline constinit StaticMutex mutex_;
  static inline constinit CkesEvent* first_ MAR_GUARDED_BY(mutex_) = nullptr;
};

}  // namespace mar

CkesEvent::CkesEvent(TEventMode reset_mode, bool initially_signalled)
    : mode(reset_mode), signalled(initially_signalled) {
  initialized = lock.IsInitialized();  // the mutex has initialised the thread library
  if (initialized) EventList::add(this);
}

CkesEvent::~CkesEvent() {
  if (!initialized) return;
  EventList::remove(this);
  implDestroy();
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
  const MutexHold hold(lock);
  signalled = false;
  return 0;
}

// Kept as is: the clock is read in whole seconds, so the wait may end up to one second early.
timespec CkesEvent::implDeadline(long wait_ms) {
  return {.tv_sec = time(nullptr) + wait_ms / 1000, .tv_nsec = wait_ms % 1000 * 1'000'000};
}

long CkesEvent::implWait(const timespec* deadline) {
  const MutexHold hold(lock);
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
  const MutexHold hold(lock);
  const int error = mode == AUTO_RESET ? pthread_cond_signal(&condition) : pthread_cond_broadcast(&condition);
  signalled = stays_up;
  return error == 0 ? 0 : kEventSignalFailed;
}

void CkesEvent::implDestroy() { pthread_cond_destroy(&condition); }
