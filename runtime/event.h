// A flag that threads wait for until another signals it.
//   manual reset  Signal releases every waiter and the flag stays up, so that later waits pass, until
//                 Reset.
//   auto reset    Signal releases at most one waiter and leaves the flag down: with nobody waiting it is
//                 lost. Only a flag that was up from the start lets a Wait pass, one, which takes it down.
#pragma once

#include <pthread.h>
#include <time.h>

#include <cstdint>

#include "runtime/mutex.h"

inline constexpr long kEventNotInitialised = -130;
inline constexpr long kEventTimedOut = -132;
inline constexpr long kEventWaitFailed = -133;
inline constexpr long kEventSignalFailed = -134;

// Any other value behaves as MANUAL_RESET.
enum TEventMode : int32_t { MANUAL_RESET = 0, AUTO_RESET = 1 };

namespace mar {
class EventList;
}

// Any thread may call any operation. In a forked child an event is as it was, with no thread waiting on it.
// Failures are returned and recorded on the calling thread's error stack,
// as "CkesEvent::Wait()". Must not be destroyed while a thread waits on it: the destructor would wait for
// that one.
class CkesEvent {
 public:
  // Auto reset, not signalled.
  CkesEvent() : CkesEvent(AUTO_RESET, false) {}
  // Initialises the thread library where needed. On failure every operation gives kEventNotInitialised.
  CkesEvent(TEventMode reset_mode, bool initially_signalled);
  ~CkesEvent();
  CkesEvent(const CkesEvent&) = delete;
  CkesEvent& operator=(const CkesEvent&) = delete;

  bool IsInitialized() const { return initialized; }

  // Both wait at most once and do not look at the flag again: like the condition variable below them, they
  // may return 0 without a signal. Both are cancellation points; a cancelled wait leaves the event usable.
  long Wait();
  // Gives kEventTimedOut after `wait_ms`, counted from the start of the current second and so up to a second
  // early. A negative time is 0, which never waits.
  long Wait(long wait_ms);

  long Signal();
  // Releases like Signal and leaves the flag down in either mode.
  // Kept as is: its failures are recorded as "CkesEvent::SignalAll()".
  long Pulse();
  // Takes the flag down.
  long Reset();

 private:
  static timespec implDeadline(long wait_ms);
  long implWait(const timespec* deadline);  // null: without end
  long implSignal(bool stays_up);
  void implDestroy();

  TEventMode mode;
  bool initialized = false;
  pthread_cond_t condition = {};  // all zero bytes: ready for use
  CkesMutex lock;
  bool signalled;  // guarded by lock

  friend class mar::EventList;
  CkesEvent* next = nullptr;  // the links are guarded by the list's mutex
  CkesEvent* previous = nullptr;
};
