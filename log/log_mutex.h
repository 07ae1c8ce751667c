// The log mutex, which serialises the threads of a process that log, and the family's wrappers of POSIX
// mutexes. Errors: each wrapper returns 0 or a code of its own.
#pragma once

#include <pthread.h>

#include "runtime/thread_annotations.h"

namespace mar {

// Stands for the log mutex in declarations; the mutex itself is LogMutex().
struct MAR_CAPABILITY("mutex") LogMutexCapability {};
inline constexpr LogMutexCapability log_mutex;

}  // namespace mar

extern "C" {

// Held while a line is written. Not recursive, and never destroyed. fork() waits up to a second for it; the
// child finds it free, whichever thread held it before.
pthread_mutex_t* LogMutex(void);
long ZARNLogMutexLock(void) MAR_ACQUIRE(mar::log_mutex);
long ZARNLogMutexUnlock(void) MAR_RELEASE(mar::log_mutex);

// Return 0, or -13200 (init), -13201 (lock), -13203 (unlock), -13204 (destroy); ZARNMutexTryLock returns
// -13202 if the mutex is held and -13201 for other failures. A null mutex is a failure. ZARNMutexInit
// zero-fills the mutex and gives it the default attributes.
long ZARNMutexInit(pthread_mutex_t* mutex);
long ZARNMutexLock(pthread_mutex_t* mutex);
long ZARNMutexTryLock(pthread_mutex_t* mutex);
long ZARNMutexUnlock(pthread_mutex_t* mutex);
long ZARNMutexDestroy(pthread_mutex_t* mutex);

}  // extern "C"
