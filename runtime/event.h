// A flag that threads wait for until another thread signals it.
//   manual reset  Signal releases every waiter and leaves the flag up, so later waits pass until Reset.
//   auto reset    Signal releases at most one waiter and leaves the flag down; without a waiter it is lost.
//                 Only a flag that was up from the start lets a Wait pass: one, which takes it down.
#pragma once

#include <pthread.h>
#include <time.h>

#include <cstdint>

#include "runtime/mutex.h"

namespace mar {

inline constexpr long kEventNotInitialised = -130;
inline constexpr long kEventTimedOut = -132;
inline constexpr long kEventWaitFailed = -133;
inline constexpr long kEventSignalFailed = -134;

class EventList;

}  // namespace mar

#pragma GCC visibility push(default)

// Any other value behaves as MANUAL_RESET.
enum TEventMode : int32_t { MANUAL_RESET = 0, AUTO_RESET = 1 };

// Any thread may call any operation. Operations return 0 or a code; a failure is also recorded on the calling
// thread's error stack, with the operation's name, as in "CkesEvent::Wait()".
// A forked child finds every event free, its flag as it was, and no thread waiting on it.
class CkesEvent {
 public:
  // Auto reset, not signalled.
  CkesEvent() : CkesEvent(AUTO_RESET, false) {}
  // Initialises the thread library if needed. If that fails, every operation returns kEventNotInitialised.
  CkesEvent(TEventMode reset_mode, bool initially_signalled);
  // Waits for threads that still wait on the event; do not destroy it before they have been released.
  ~CkesEvent();
  CkesEvent(const CkesEvent&) = delete;
  CkesEvent& operator=(const CkesEvent&) = delete;

  bool IsInitialized() const { return initialized; }

  // Both wait at most once and do not look at the flag again: like the condition variable underneath, they
  // may return 0 without a signal. Both are cancellation points; a cancelled wait leaves the event usable.
  long Wait();
  // Returns kEventTimedOut after `wait_ms`, counted from the start of the current second and so up to a
  // second early. A negative time counts as 0, which never waits.
  long Wait(long wait_ms);

  long Signal();
  // Releases waiters as Signal does and leaves the flag down in either mode.
  // Kept as is: its failures are recorded as "CkesEvent::SignalAll()".
  long Pulse();
  // Takes the flag down.
  long Reset();

 private:
  static timespec implDeadline(long wait_ms);
  long implWait(const timespec* deadline);  // null: no limit
  long implSignal(bool stays_up);
  void implDestroy();

  TEventMode mode;
  bool initialized = false;
  pthread_cond_t condition = {};  // all zero bytes: ready for use
  CkesMutex lock;
  bool signalled MAR_GUARDED_BY(lock);

  friend class mar::EventList;
  CkesEvent* next = nullptr;  // both guarded by the list's mutex
  CkesEvent* previous = nullptr;
};

#pragma GCC visibility pop
