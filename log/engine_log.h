// The engine log: one text file for the process, filtered by component and level. Each line is on disk before
// the call returns. Until ZARNLogInit every message is dropped, at the cost of two lock and unlock pairs.
// Any thread may call any function; a child that is forked meanwhile finds the log's lock free. Errors:
// logging never fails toward its caller and leaves errno as it was; only ZARNLogInit and invalid levels have
// codes. Nothing is a cancellation point: a thread that is cancelled in a call finishes it first. A signal
// handler may call none of them.
#pragma once

#include <stdarg.h>

#include "log/components.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

// Sets the log up. Drops any former settings first, even if it then fails.
//   fileName    in UTF-8; copied. Missing directories are created with the first line.
//   maxSize     in bytes, moved within 100 .. 100,000,000; a larger file is trimmed to its newest lines
//   threshold   the highest level that is written
//   components  the mask of those that are written
//   unused      not used
// Returns 0, -1 (maxSize below 1, components negative, no file name, invalid threshold) or -2 (no memory).
// From here on SIGXFSZ is ignored if its action was the default one.
int ZARNLogInit(const char* fileName, long maxSize, int threshold, long components, int unused);
void ZARNLogDeinit(void);

// Logs one message, cut to 1024 bytes. The format knows "%d" and "%i" (int), "%f" (double) and "%s" (a text
// in UTF-8; null adds nothing). Any other character after "%" ends the message there, "%%" and a length
// modifier included. Returns -1 for an invalid level, else the result of releasing the log mutex, 0.
long ZARNLog(long component, int level, const char* format, ...) __attribute__((format(printf, 3, 4)));

// The same with an argument list and without the check of the level. `wide` 1: "%s" takes UCS-2 strings.
long ZARNLogVA(long component, int level, int wide, const char* format, va_list args);

// Does nothing; debug output is compiled out.
void ZARNDebug(long component, int level, const char* format, ...) __attribute__((format(printf, 3, 4)));

// 1 if the log is initialised and all bits of `mask` are enabled, else 0.
int IsComponentEnabled(long mask);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
