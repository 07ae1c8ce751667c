// Not stdio: its buffer shows a pipe or a file nothing until it is full or the program ends. Flushing it by
// hand is no cure, because after a write that failed half-way stdio keeps the rest and sends it again with
// the next flush. A program that prints a few lines does not want its start-up and exit work either.
#include "cli/output.h"

#include <poll.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdio>

namespace mar::cli {

namespace {

// A full pipe that another user of it made non-blocking. When its last reader leaves, the wait ends too, and
// the next write fails.
void wait_for_room() {
  pollfd out{STDOUT_FILENO, POLLOUT, 0};
  poll(&out, 1, -1);
}

void write_whole(const char* text, size_t length_bytes) {
  while (length_bytes > 0) {
    const ssize_t written = write(STDOUT_FILENO, text, length_bytes);
    if (written > 0) {
      text += written;
      length_bytes -= static_cast<size_t>(written);
    } else if (written < 0 && errno == EAGAIN) {
      wait_for_room();
    } else if (written == 0 || errno != EINTR) {
      return;
    }
  }
}

}  // namespace

// Most commands print nothing else, so this does without the formatting functions and their pages.
void say(const char* text) {
  char line[kMaxOutputBytes];
  size_t length_bytes = strnlen(text, sizeof line);
  memcpy(line, text, length_bytes);
  if (length_bytes < sizeof line) line[length_bytes++] = '\n';
  write_whole(line, length_bytes);
}

void sayf(const char* format, ...) {
  char text[kMaxOutputBytes + 1];
  va_list values;
  va_start(values, format);
  // NOLINTNEXTLINE(clang-analyzer-valist.Uninitialized): the analyzer loses va_start when it follows say()
  const int length_bytes = vsnprintf(text, sizeof text, format, values);
  va_end(values);
  if (length_bytes > 0) write_whole(text, static_cast<size_t>(std::min(length_bytes, kMaxOutputBytes)));
}

}  // namespace mar::cli
