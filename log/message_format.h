// How a log line is made: the log's own formatter for the message text, and the line round it. Nothing here
// allocates, and no text, however long, is written past the stated sizes.
#pragma once

#include <cstdarg>
#include <cstddef>
#include <cstdint>

inline constexpr size_t kMaxMessageLength = 1024;  // characters
inline constexpr size_t kMessageBufferSize = kMaxMessageLength + 1;

// A date of up to 30 characters (15 in the C locale), ":mmm", three blanks, the message, "\n" and a NUL.
inline constexpr size_t kLogDateSize = 31;
inline constexpr size_t kLineBufferSize = (kLogDateSize - 1) + 4 + 3 + kMaxMessageLength + 1 + 1;

// Formats a message into `out` of kMessageBufferSize bytes, NUL-terminated and cut to 1024 characters.
// "%d" and "%i" take an int, "%f" a double, "%s" a string; a null string adds nothing. When `wide` is 1, "%s"
// takes a NUL-terminated string of UCS-2 units, shown in the default codeset. Any other character after "%",
// "%%" and a length modifier included, and a "%" at the end, end the message there. Returns false when there
// is no message: a null format, or no memory for a wide string.
bool BuildLogMessage(char* out, int wide, const char* format, va_list args);

// Makes the whole line of `message` in `line` of kLineBufferSize bytes, as in
//   Nov 15 16:22:32:123   the message
// with "\n" at its end and the local time of now. Returns its length. To be called with the log mutex held:
// the date is kept from one line to the next and formatted anew only when the second or TZ has changed.
size_t MakeTheWholeLogLine(const char* message, char* line);

extern "C" {

// Places `text` in `out` of `width` + 1 bytes: mode 0 at the left, 1 at the right, 2 in the middle, blanks
// filling the rest; any other mode copies the text alone. Does nothing unless both are given, `width` is at
// least 1 and the text is shorter than it.
void ZARNLog_JustifyString(const char* text, int mode, char* out, long width);

}  // extern "C"
