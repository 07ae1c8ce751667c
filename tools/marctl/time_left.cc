#include "tools/marctl/time_left.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <thread>

#include "engine_client/connection.h"

namespace mar::ctl {

namespace {

constexpr double kLeastS = 0.001;

auto of_seconds(double seconds) {
  return std::chrono::duration_cast<std::chrono::steady_clock::duration>(
      std::chrono::duration<double>(seconds));
}

}  // namespace

TimeLeft::TimeLeft(double limit_s) : limited_(limit_s > 0), end_(Clock::now() + of_seconds(limit_s)) {}

double TimeLeft::seconds() const {
  return limited_ ? std::max(kLeastS, std::chrono::duration<double>(end_ - Clock::now()).count()) : 0;
}

void TimeLeft::limit_next_call() const {
  mar_set_deadline(static_cast<int32_t>(std::min<double>(std::ceil(seconds() * 1000), INT32_MAX)));
}

void TimeLeft::pause(double pause_s) const {
  const auto until = Clock::now() + of_seconds(pause_s);
  std::this_thread::sleep_until(limited_ ? std::min(until, end_) : until);
}

}  // namespace mar::ctl
