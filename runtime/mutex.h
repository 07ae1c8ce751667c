// A mutual-exclusion lock over a POSIX mutex. Not recursive: locking it twice from one thread deadlocks.
#pragma once

#include <pthread.h>

inline constexpr long kMutexNotInitialised = -120;
inline constexpr long kMutexLockFailed = -122;
inline constexpr long kMutexUnlockFailed = -123;
inline constexpr long kMutexHeld = -124;  // TryLock only

// Failures are returned and recorded on the calling thread's error stack, as "CkesMutex::Lock()".
class CkesMutex {
 public:
  // Initialises the thread library where needed. On failure every operation gives kMutexNotInitialised.
  CkesMutex();
  ~CkesMutex();
  CkesMutex(const CkesMutex&) = delete;
  CkesMutex& operator=(const CkesMutex&) = delete;

  bool IsInitialized() const { return initialized; }

  long Lock();
  long Unlock();
  // kMutexHeld when somebody, the caller included, holds it.
  long TryLock();

  // For waiting on a condition variable. Stays the object's.
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

// Holds a mutex for a scope. Cancelling a thread unwinds its stack, so a cancelled holder lets go, too.
class MutexHold {
 public:
  explicit MutexHold(CkesMutex& held) : mutex(held) { mutex.Lock(); }
  ~MutexHold() { mutex.Unlock(); }
  MutexHold(const MutexHold&) = delete;
  MutexHold& operator=(const MutexHold&) = delete;

 private:
  CkesMutex& mutex;
};
