// The engine log: one text file for the process, filtered by component and level, each line on disk before
// the call returns. Uninitialised until ZARNLogInit, and then every message is dropped at the cost of two
// lock and unlock pairs. All functions may be called from any thread; logging never fails toward its caller
// and leaves errno as it was.
#pragma once

#include <pthread.h>

#include <cstdarg>
#include <cstdio>

#include "log/components.h"

// What the log writes to and what it lets through. Guarded by the log mutex.
struct LogRecord {
  char* fileName;    // heap copy, "\" turned into "/"; null while uninitialised
  FILE* rollStream;  // open during a roll-over only
  long maxSize;      // bytes, 100 .. 100,000,000
  int threshold;     // highest level that is written
  long components;   // mask of enabled components
  int initialized;
  int console;  // non-zero: messages go to standard output instead; nothing here sets it
};
LogRecord* LogInfo();

extern "C" {

// Sets the log up, dropping former settings first, even when it then fails. `maxSize` is brought within its
// bounds; the last argument is not used. Returns 0, -1 (maxSize below 1, components negative, no file name,
// threshold invalid) or -2 (no memory). From here on SIGXFSZ no longer kills a process that had left it
// alone.
int ZARNLogInit(const char* fileName, long maxSize, int threshold, long components, int unused);
void ZARNLogDeinit(void);

// Logs one message; for `format` see BuildLogMessage. Returns -1 for an invalid level, else the result of
// releasing the log mutex, 0.
long ZARNLog(long component, int level, const char* format, ...) __attribute__((format(printf, 3, 4)));

// The same with an argument list and without the check of the level. `wide` 1: "%s" takes UCS-2 strings.
long ZARNLogVA(long component, int level, int wide, const char* format, va_list args);

// Does nothing; debug output is compiled out.
void ZARNDebug(long component, int level, const char* format, ...) __attribute__((format(printf, 3, 4)));

// 1 when the log is initialised and all bits of `mask` are enabled, else 0.
int IsComponentEnabled(long mask);

// The log mutex is held while a line is written. It is not recursive and never destroyed. fork() waits up to
// a second for it; the child finds it free, whichever thread held it before.
pthread_mutex_t* LogMutex(void);
long ZARNLogMutexLock(void);
long ZARNLogMutexUnlock(void);

// The POSIX calls with the family's codes: 0, or -13200 (init), -13201 (lock), -13203 (unlock), -13204
// (destroy); ZARNMutexTryLock -13202 when the mutex is held and -13201 on other failures. A null mutex fails.
// ZARNMutexInit zero-fills the mutex and gives it the default attributes.
long ZARNMutexInit(pthread_mutex_t* mutex);
long ZARNMutexLock(pthread_mutex_t* mutex);
long ZARNMutexTryLock(pthread_mutex_t* mutex);
long ZARNMutexUnlock(pthread_mutex_t* mutex);
long ZARNMutexDestroy(pthread_mutex_t* mutex);

}  // extern "C"
