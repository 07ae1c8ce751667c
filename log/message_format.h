// How a log line is made: the log's own formatter for the message text, and the line around it.
// No text, however long, is written past the stated sizes. Errors: BuildLogMessage returns
// false if there is no message.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include "log/log_mutex.h"

namespace mar {

inline constexpr size_t kMaxMessageLength = 1024;  // bytes
inline constexpr size_t kMessageBufferSize = kMaxMessageLength + 1;

// A date of up to 30 bytes (15 in the C locale), ":mmm", three blanks, the message, "\n" and a NUL.
inline constexpr size_t kLogDateSize = 31;
inline constexpr size_t kLineBufferSize = (kLogDateSize - 1) + 4 + 3 + kMaxMessageLength + 1 + 1;

}  // namespace mar

// Formats a message into `out` of kMessageBufferSize bytes, NUL-terminated and cut to 1024 bytes.
// "%d" and "%i" take an int, "%f" a double, "%s" a string; a null string adds nothing. If `wide` is 1, "%s"
// takes a NUL-terminated string of UCS-2 units, shown in the default codeset. Any other character after "%",
// including "%%" and a length modifier, ends the message there, and so does a "%" at the end. Returns false
// if the format is null or there is no memory for a wide string.
bool BuildLogMessage(char* out, int wide, const char* format, va_list args);

// Makes the whole line of `message` in `line` of kLineBufferSize bytes, as in
//   Nov 15 16:22:32:123   the message
// with a line end and the current local time. Returns its length. The date is kept from one line to the next
// and formatted again only when the second or TZ has changed.
size_t MakeTheWholeLogLine(const char* message, char* line) MAR_REQUIRES(mar::log_mutex);

extern "C" {

// Places `text` in `out` of `width` + 1 bytes: mode 0 at the left, 1 at the right, 2 in the middle, with
// blanks filling the rest; any other mode copies the text alone. Does nothing unless both are given, `width`
// is at least 1 and the text is shorter than it.
void ZARNLog_JustifyString(const char* text, int mode, char* out, long width);

}  // extern "C"
