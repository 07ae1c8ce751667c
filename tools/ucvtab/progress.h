// A line on the terminal that rewrites itself, for commands that go through the whole catalogue.
#pragma once

#include <unistd.h>

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

}  // namespace mar::ucvtab
