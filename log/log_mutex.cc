#include "log/log_mutex.h"

#include <errno.h>

long ZARNMutexInit(pthread_mutex_t* mutex) {
  if (mutex == nullptr) return kMutexInitFailed;
  *mutex = {};
  return pthread_mutex_init(mutex, nullptr) == 0 ? 0 : kMutexInitFailed;
}

long ZARNMutexLock(pthread_mutex_t* mutex) {
  return mutex != nullptr && pthread_mutex_lock(mutex) == 0 ? 0 : kMutexLockFailed;
}

long ZARNMutexTryLock(pthread_mutex_t* mutex) {
  if (mutex == nullptr) return kMutexLockFailed;
  const int refused = pthread_mutex_trylock(mutex);
  if (refused == 0) return 0;
  return refused == EBUSY ? kMutexHeld : kMutexLockFailed;
}

long ZARNMutexUnlock(pthread_mutex_t* mutex) {
  return mutex != nullptr && pthread_mutex_unlock(mutex) == 0 ? 0 : kMutexUnlockFailed;
}

long ZARNMutexDestroy(pthread_mutex_t* mutex) {
  return mutex != nullptr && pthread_mutex_destroy(mutex) == 0 ? 0 : kMutexDestroyFailed;
}

pthread_mutex_t* LogMutex(void) {
  // The static initialiser makes the first use safe from any thread and costs nothing at start-up.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wzero-as-null-pointer-constant"  // the system's macro says 0
  static constinit pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
#pragma GCC diagnostic pop
  return &mutex;
}

long ZARNLogMutexLock(void) { return ZARNMutexLock(LogMutex()); }

long ZARNLogMutexUnlock(void) { return ZARNMutexUnlock(LogMutex()); }
