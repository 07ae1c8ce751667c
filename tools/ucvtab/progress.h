// A line on the terminal that rewrites itself, for commands that go through the whole catalogue or a long
// text.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <string>

namespace mar::ucvtab {

class Progress {
 public:
  Progress(size_t total, bool quiet) : total_(total), shown_(!quiet && isatty(STDERR_FILENO) == 1) {}
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;
  ~Progress() {
    if (shown_) std::fputs("\r\033[K", stderr);
  }

  void step(const std::string& name) {
    ++done_;
    if (!shown_) return;
    std::fprintf(stderr, "\r\033[K[%zu/%zu] %s", done_, total_, name.c_str());
    std::fflush(stderr);
  }

 private:
  size_t total_;
  size_t done_ = 0;
  bool shown_;
};

// Megabytes gone through; shown once there are more than 16.
class ByteProgress {
 public:
  ByteProgress() : shown_(isatty(STDERR_FILENO) == 1) {}
  ByteProgress(const ByteProgress&) = delete;
  ByteProgress& operator=(const ByteProgress&) = delete;
  ~ByteProgress() {
    if (megabytes_ > 0) std::fputs("\r\033[K", stderr);
  }

  void advance(uint64_t total_bytes) {
    const uint64_t megabytes = total_bytes >> 20;
    if (!shown_ || megabytes <= 16 || megabytes == megabytes_) return;
    megabytes_ = megabytes;
    std::fprintf(stderr, "\r\033[K%llu MB converted", static_cast<unsigned long long>(megabytes));
    std::fflush(stderr);
  }

 private:
  uint64_t megabytes_ = 0;  // shown last
  bool shown_;
};

}  // namespace mar::ucvtab
