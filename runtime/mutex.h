// A mutual-exclusion lock over a POSIX mutex. Not recursive: locking it twice from one thread deadlocks.
#pragma once

#include <pthread.h>

#include "runtime/thread_annotations.h"

#pragma GCC visibility push(default)

namespace mar {

inline constexpr long kMutexNotInitialised = -120;
inline constexpr long kMutexLockFailed = -122;
inline constexpr long kMutexUnlockFailed = -123;
inline constexpr long kMutexHeld = -124;  // TryLock only

}  // namespace mar

// Any thread may call any operation; none is a cancellation point. Operations return 0 or a code; a failure
// is also recorded on the calling thread's error stack, with the operation's name, as in "CkesMutex::Lock()".
// A child forked while another thread holds the mutex finds it held, as with any POSIX mutex.
class MAR_CAPABILITY("mutex") CkesMutex {
 public:
  // Initialises the thread library if needed. If that or the mutex's own initialisation fails, every
  // operation returns kMutexNotInitialised.
  CkesMutex();
  ~CkesMutex();
  CkesMutex(const CkesMutex&) = delete;
  CkesMutex& operator=(const CkesMutex&) = delete;

  bool IsInitialized() const { return initialized; }

  long Lock() MAR_ACQUIRE();
  long Unlock() MAR_RELEASE();
  // Returns kMutexHeld if any thread holds the mutex, the caller included.
  long TryLock() MAR_TRY_ACQUIRE(0);

  // For waiting on a condition variable. The object keeps it.
  pthread_mutex_t* GetUNIXMutex() { return &mutex; }

 private:
  bool implInitialize();
  void implDestroy();
  long implLock();
  long implUnlock();
  long implTryLock();

  bool initialized = false;
  pthread_mutex_t mutex = {};
};

namespace mar {

// Holds a mutex for a scope. Cancelling a thread unwinds its stack, so a cancelled holder releases it.
class MAR_SCOPED_CAPABILITY MutexHold {
 public:
  explicit MutexHold(CkesMutex& mutex) MAR_ACQUIRE(mutex) : mutex_(mutex) { mutex_.Lock(); }
  ~MutexHold() MAR_RELEASE() { mutex_.Unlock(); }
  MutexHold(const MutexHold&) = delete;
  MutexHold& operator=(const MutexHold&) = delete;

 private:
  CkesMutex& mutex_;
};

}  // namespace mar

#pragma GCC visibility pop
