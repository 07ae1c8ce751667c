// The trace writer: a second diagnostic channel beside the engine log. Each text becomes one record, plain or
// XML, in "trace-armdebug.log" in the product family's common log directory. Off unless VDebugRun is set.
//
// Takes no lock: records of several threads or processes may interleave, since each is written in several
// steps. Errors: nothing is reported to the caller, and errno stays as it was; a file that cannot be opened
// is reported once on standard output. A thread that is cancelled in a call finishes it first.
#pragma once

#include <cstddef>

namespace mar {

inline constexpr int kTracePlain = 0;
inline constexpr int kTraceXml = 1;  // the format when a program starts
inline constexpr int kTraceOff = 2;  // the file is opened, but nothing is written

}  // namespace mar

extern "C" {

// The run switch: 0 off, otherwise on. With a format above 2, which is a time of day, it is a number of
// minutes that are still to begin, and -1 while they run. Test it before building a trace text.
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

// Finds the trace file, reads the host name and prepares the XML pieces. Runs once by
// itself when first needed.
void doInit(void);

// One write of the text without its terminator; failures are ignored.
void writeString(int fd, const char* text);

}  // extern "C"

namespace mar {

// wcDebugEnabled() at the given second of the UTC day.
int trace_enabled_at(int second_of_day);

// wcDebugln of a formatted text, cut to 1023 bytes. The text is built only while VDebugRun is set.
void trace_ln(const char* format, ...) __attribute__((format(printf, 1, 2)));

}  // namespace mar
