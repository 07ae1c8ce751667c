// What the operator reads, on descriptor 1. Each call is one write, made at once and without a buffer,
// so a pipe or a file shows every line and every progress dot as soon as a terminal would. Output never
// fails toward its caller: text that cannot be written (the reader is gone, the disk is full) is
// dropped and not tried again.
//
// SIGPIPE must be ignored; main() sees to it.
#pragma once

namespace mar::cli {

inline constexpr int kMaxOutputBytes = 512;  // of one call; a longer text is cut

// Prints `text` and a line end.
void say(const char* text);

// Prints the formatted text; `format` brings its own line end.
[[gnu::format(printf, 1, 2)]] void sayf(const char* format, ...);

}  // namespace mar::cli
