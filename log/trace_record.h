// The steps of the trace writer (log/trace.h). None of them reports a failure.
#pragma once

extern "C" {

// Finds the trace file, reads the host name and prepares the XML pieces. Runs once by itself
// when first needed.
void doInit(void);

// One write of the text without its terminator; failures are ignored.
void writeString(int fd, const char* text);

}  // extern "C"

namespace mar {

// wcDebugEnabled() at the given second of the UTC day.
int trace_enabled_at(int second_of_day);

}  // namespace mar
