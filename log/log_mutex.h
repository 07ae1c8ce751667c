// Mutexes of the engine family: thin wrappers of the POSIX calls, and the one mutex of the engine log.
#pragma once

#include <pthread.h>

inline constexpr long kMutexInitFailed = -13200;
inline constexpr long kMutexLockFailed = -13201;
inline constexpr long kMutexHeld = -13202;
inline constexpr long kMutexUnlockFailed = -13203;
inline constexpr long kMutexDestroyFailed = -13204;

extern "C" {

// Each returns 0 or its own code above; a null mutex fails.
long ZARNMutexInit(pthread_mutex_t* mutex);  // zero-filled first, default attributes
long ZARNMutexLock(pthread_mutex_t* mutex);
long ZARNMutexTryLock(pthread_mutex_t* mutex);  // kMutexHeld when it is held, kMutexLockFailed otherwise
long ZARNMutexUnlock(pthread_mutex_t* mutex);
long ZARNMutexDestroy(pthread_mutex_t* mutex);

// The log mutex: guards the log record and is held while a line is written. Not recursive, never destroyed.
pthread_mutex_t* LogMutex(void);
long ZARNLogMutexLock(void);
long ZARNLogMutexUnlock(void);

}  // extern "C"
