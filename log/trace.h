// The trace writer: a second diagnostic channel beside the engine log. Each text becomes one record, plain or
// XML, in "trace-armdebug.log" in the product family's common log directory. Off unless VDebugRun is set.
//
// No lock is taken: records of several threads or processes may interleave, since each is written in several
// steps. Nothing is reported to the caller and errno stays as it was.
#pragma once

#include <cstddef>

inline constexpr int kTracePlain = 0;
inline constexpr int kTraceXml = 1;  // the format at start
inline constexpr int kTraceOff = 2;  // the file is opened, but nothing is written

extern "C" {

// The run switch: 0 off, otherwise on. With a format above 2, which is a time of day, it is a number of
// minutes still to begin, and -1 while they run. Test it before building a trace text.
extern int VDebugRun;

// Writes one record; a null text writes nothing. wcDebugln ends a plain record with "\n", wcDebug leaves the
// line open. An XML record is the same from both.
void wcDebug(const char* text);
void wcDebugln(const char* text);

// Whether a record would be written now. With a format above 2, seconds since midnight UTC, this is what
// begins the timed period of VDebugRun minutes (plain records) and ends it, setting the format to 2 then. A
// period that reaches past midnight does not end by itself.
int wcDebugEnabled(void);

int wcDebugGetLogFormat(void);
void wcDebugSetLogFormat(int format);

// The path of the trace file, at most size - 1 characters of it, terminated.
void wcDebugGetLogFileSpec(char* out, size_t size);

// Finds the trace file, reads the host name and prepares the XML pieces. Runs by itself once, at first need.
void doInit(void);

// One write of the text without its terminator; failures are ignored.
void writeString(int fd, const char* text);

}  // extern "C"

// wcDebugEnabled() at the given second of the UTC day.
int trace_enabled_at(int second_of_day);

// wcDebugln of a formatted text, cut to 1023 bytes. The text is built only while VDebugRun is set.
void trace_ln(const char* format, ...) __attribute__((format(printf, 1, 2)));
