// What the operator reads, on descriptor 1. Each call is one write, at once and without a buffer in between,
// so a pipe or a file shows every line and every progress dot as soon as a terminal would. Output never fails
// toward its caller: a piece that cannot be written (the reader is gone, the disk is full) is dropped and not
// tried again.
//
// Needs SIGPIPE ignored; main() sees to it.
#pragma once

inline constexpr int kMaxOutputBytes = 512;  // of one call; the rest of a longer text is cut

// Prints `text` and a line end.
void say(const char* text);

// Prints what `format` makes, which brings its own line end.
[[gnu::format(printf, 1, 2)]] void sayf(const char* format, ...);
