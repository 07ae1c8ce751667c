// Times of a run, on a clock that cannot be set.
#pragma once

#include <chrono>

namespace mar::ctl {

// What is left of a limit, or for ever if that is 0.
class TimeLeft {
 public:
  explicit TimeLeft(double limit_s);

  bool is_over() const { return limited_ && Clock::now() >= end_; }

  // In seconds, as Limits::timeout_s takes it: above 0 also when nothing is left.
  double seconds() const;

  // Gives the library's next call of this thread what is left.
  void limit_next_call() const;

  // Sleeps, but not longer than to the end.
  void pause(double pause_s) const;

 private:
  using Clock = std::chrono::steady_clock;

  bool limited_;
  Clock::time_point end_;
};

class Stopwatch {
 public:
  double milliseconds() const {
    return std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start_).count();
  }

 private:
  std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
};

}  // namespace mar::ctl
