// The engine log: one text file for the process, filtered by component and level. Each line is on disk
// before the call returns. Until ZARNLogInit every message is dropped, at the cost of two lock and
// unlock pairs. Errors: logging never fails toward its caller and leaves errno as it was; only
// ZARNLogInit and invalid levels have codes. Any thread may call any function. A thread that is
// cancelled in a call finishes it first.
#pragma once

#include <cstdarg>
#include <cstdio>

#include "log/components.h"
#include "log/log_mutex.h"

namespace mar {

// What the log writes to and what it lets through.
struct LogRecord {
  char* fileName MAR_GUARDED_BY(log_mutex);    // heap copy, "\" turned into "/"; null while uninitialised
  FILE* rollStream MAR_GUARDED_BY(log_mutex);  // open during a roll-over only
  long maxSize MAR_GUARDED_BY(log_mutex);      // bytes, 100 .. 100,000,000
  int threshold MAR_GUARDED_BY(log_mutex);     // highest level that is written
  long components MAR_GUARDED_BY(log_mutex);   // mask of enabled components
  int initialized MAR_GUARDED_BY(log_mutex);
  int console MAR_GUARDED_BY(log_mutex);  // non-zero: messages go to standard output; never set here
};

}  // namespace mar

mar::LogRecord* LogInfo();

extern "C" {

// Sets the log up. Drops any former settings first, even if it then fails. `maxSize` is moved within its
// bounds; the last argument is not used. Returns 0, -1 (maxSize below 1, components negative, no file name,
// invalid threshold) or -2 (no memory). From here on SIGXFSZ is ignored if its action was the default one.
int ZARNLogInit(const char* fileName, long maxSize, int threshold, long components, int unused);
void ZARNLogDeinit(void);

// Logs one message; see BuildLogMessage for `format`. Returns -1 for an invalid level, else the result of
// releasing the log mutex, 0.
long ZARNLog(long component, int level, const char* format, ...) __attribute__((format(printf, 3, 4)));

// The same with an argument list and without the check of the level. `wide` 1: "%s" takes UCS-2 strings.
long ZARNLogVA(long component, int level, int wide, const char* format, va_list args);

// Does nothing; debug output is compiled out.
void ZARNDebug(long component, int level, const char* format, ...) __attribute__((format(printf, 3, 4)));

// 1 if the log is initialised and all bits of `mask` are enabled, else 0.
int IsComponentEnabled(long mask);

}  // extern "C"
