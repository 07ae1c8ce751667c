// The trace writer: a second diagnostic channel beside the engine log. Each text becomes one record, plain or
// XML, in "trace-armdebug.log" in the product family's common log directory. Off unless VDebugRun is set.
//
// Any thread may call any function. None takes a lock: records of several threads or processes may
// interleave, since each is written in several steps. Errors: nothing is reported to the caller, and errno
// stays as it was; a file that cannot be opened is reported once on standard output. Nothing is a
// cancellation point: a thread that is cancelled in a call finishes it first. A signal handler may call
// none of them.
#pragma once

#include <stddef.h>

// Formats of the records. Any other above MAR_TRACE_OFF is a time of day, see wcDebugEnabled(); one below
// MAR_TRACE_PLAIN is plain.
enum {
  MAR_TRACE_PLAIN = 0,
  MAR_TRACE_XML = 1,  // when a program starts
  MAR_TRACE_OFF = 2,  // the file is opened, but nothing is written
};

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

// The run switch: 0 off, otherwise on. With a format above 2, which is a time of day, it is a number of
// minutes that are still to begin, and -1 while they run. Test it before building a trace text. It has no
// lock: set it before other threads trace.
extern int VDebugRun;

// Writes one record; a null text writes nothing. wcDebugln ends a plain record with a line end, wcDebug
// leaves the line open. An XML record is the same from both.
void wcDebug(const char* text);
void wcDebugln(const char* text);

// Whether a record would be written now. With a format above 2, seconds since midnight UTC, this call begins
// the timed period of VDebugRun minutes (plain records) and ends it, setting the format to 2. A period that
// reaches past midnight does not end by itself.
int wcDebugEnabled(void);

int wcDebugGetLogFormat(void);
void wcDebugSetLogFormat(int format);

// The path of the trace file: at most size - 1 characters of it, terminated.
void wcDebugGetLogFileSpec(char* out, size_t size);

#ifdef __cplusplus
}  // extern "C"

namespace mar {

// wcDebugln of a formatted text, cut to 1023 bytes. The text is built only while VDebugRun is set.
void trace_ln(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace mar
#endif
#pragma GCC visibility pop
