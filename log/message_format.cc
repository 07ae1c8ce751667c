#include "log/message_format.h"

#include <string.h>
#include <sys/time.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <iterator>
#include <memory>
#include <new>

#include "charset/codeset_default.h"
#include "charset/convert.h"
#include "charset/wide_string.h"
#include "util/time.h"

using namespace mar;

namespace {

// A message under construction in a buffer of kMessageBufferSize bytes. Text past its end is cut.
class MessageText {
 public:
  explicit MessageText(char* out) : out_(out) {}

  bool full() const { return length_ == kMaxMessageLength; }
  void terminate() { out_[length_] = '\0'; }

  void append(const char* text, size_t length) {
    length = std::min(length, room());
    memcpy(out_ + length_, text, length);
    length_ += length;
  }
  void append_string(const char* text) {
    if (text != nullptr) append(text, strnlen(text, room()));
  }
  void append_int(int value) {
    char text[11];  // "-2147483648"
    char* first = std::end(text);
    // Unsigned, because the smallest int has no positive counterpart.
    for (unsigned rest = value < 0 ? 0u - static_cast<unsigned>(value) : static_cast<unsigned>(value);;) {
      *--first = static_cast<char>('0' + rest % 10);
      rest /= 10;
      if (rest == 0) break;
    }
    if (value < 0) *--first = '-';
    append(first, static_cast<size_t>(std::end(text) - first));
  }
  void append_double(double value) {
    const int length = snprintf(out_ + length_, room() + 1, "%f", value);
    if (length > 0) length_ += std::min(static_cast<size_t>(length), room());
  }
  // In the default codeset. Kept as is: the block's size, so text that needs more than a byte per unit is
  // cut. False if memory runs out.
  bool append_wide(const uint16_t* units) {
    if (units == nullptr) return true;
    uint32_t length = xcs_wcslen(units);
    const uint32_t size = length + 2;
    const std::unique_ptr<char[]> text(new (std::nothrow) char[size]);
    if (text == nullptr) return false;
    xcs_cs_t codeset =
        *charset::codeset_or_default(xcs_get_def_cs());  // a copy, so that our shift state stays our own
    codeset.from_state = 0;
    char* end = text.get();
    uint32_t left = size;
    xcs_from_ucs2_r(&codeset, &units, &length, &end, &left);
    xcs_from_ucs2_r(&codeset, nullptr, &length, &end, &left);
    append(text.get(), size - left);
    return true;
  }

 private:
  size_t room() const { return kMaxMessageLength - length_; }

  char* out_;
  size_t length_ = 0;
};

// The value of TZ under which a date was made: a program may change it from one line to the next.
class ZoneName {
 public:
  bool is(const char* zone) const {
    return known_ && set_ == (zone != nullptr) && (zone == nullptr || strcmp(text_, zone) == 0);
  }
  void keep(const char* zone) {
    set_ = zone != nullptr;
    known_ = !set_ || strlen(zone) < sizeof text_;
    if (set_ && known_) stpcpy(text_, zone);
  }

 private:
  bool known_ = false;  // false at first, and for a value that is too long to keep
  bool set_ = false;
  char text_[64] = "";
};

// The date of the last line. Formatting it for each line would cost a system call where TZ is not set: the C
// library then looks at /etc/localtime each time.
struct DateOfSecond {
  time_t second = 0;
  ZoneName zone;
  size_t length = 0;
  char text[kLogDateSize] = "";
};
constinit DateOfSecond last_date MAR_GUARDED_BY(log_mutex);

const DateOfSecond& date_of(time_t second) MAR_REQUIRES(log_mutex) {
  const char* zone = getenv("TZ");
  if (second != last_date.second || !last_date.zone.is(zone)) {
    struct tm broken_down;
    local_time_of(second, &broken_down);
    last_date.second = second;
    last_date.zone.keep(zone);
    // If a locale's month name does not fit, there is no date: the length is 0.
    last_date.length = strftime(last_date.text, sizeof last_date.text, "%b %d %H:%M:%S", &broken_down);
  }
  return last_date;
}

}  // namespace

bool BuildLogMessage(char* out, int wide, const char* format, va_list args) {
  if (format == nullptr) return false;
  MessageText message(out);
  while (!message.full()) {
    const size_t run = strcspn(format, "%");
    message.append(format, run);
    format += run;
    if (format[0] == '\0') break;
    const char conversion = format[1];
    if (conversion == 'd' || conversion == 'i') {
      message.append_int(va_arg(args, int));
    } else if (conversion == 'f') {
      message.append_double(va_arg(args, double));
    } else if (conversion == 's' && wide == 1) {
      if (!message.append_wide(va_arg(args, const uint16_t*))) return false;
    } else if (conversion == 's') {
      message.append_string(va_arg(args, const char*));
    } else {
      break;
    }
    format += 2;
  }
  message.terminate();
  return true;
}

size_t MakeTheWholeLogLine(const char* message, char* line) {
  // One reading of the clock for date and milliseconds: two could lie on either side of a full second, and
  // the stamp would jump back.
  struct timeval now {};
  gettimeofday(&now, nullptr);
  const DateOfSecond& date = date_of(now.tv_sec);
  char* end = static_cast<char*>(mempcpy(line, date.text, date.length));
  const int millis = static_cast<int>(now.tv_usec / 1000);
  *end++ = ':';
  *end++ = static_cast<char>('0' + millis / 100);
  *end++ = static_cast<char>('0' + millis / 10 % 10);
  *end++ = static_cast<char>('0' + millis % 10);
  for (int blank = 0; blank < 3; ++blank) *end++ = ' ';
  const size_t length = strnlen(message, kMaxMessageLength);
  memcpy(end, message, length);
  end += length;
  *end++ = '\n';
  *end = '\0';
  return static_cast<size_t>(end - line);
}

void ZARNLog_JustifyString(const char* text, int mode, char* out, long width) {
  if (text == nullptr || out == nullptr || width < 1) return;
  const size_t room = static_cast<size_t>(width);
  const size_t length = strlen(text);
  if (length >= room) return;
  memset(out, ' ', room);
  out[room] = '\0';
  size_t start = 0;
  if (mode == 1) start = room - length;
  if (mode == 2) start = (room - length) / 2;
  memcpy(out + start, text, length);
  if (mode < 0 || mode > 2) out[length] = '\0';
}
