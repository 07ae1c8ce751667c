#include "util/deadline.h"

#include <algorithm>
#include <cerrno>

namespace mar {

namespace {

constexpr int64_t kNsPerMs = 1'000'000;
constexpr int64_t kNsPerS = 1'000'000'000;

constinit thread_local Deadline thread_deadline;

int64_t now_ns() {
  timespec now{};
  clock_gettime(CLOCK_MONOTONIC, &now);
  return now.tv_sec * kNsPerS + now.tv_nsec;
}

timespec to_timespec(int64_t ns) { return {ns / kNsPerS, ns % kNsPerS}; }

}  // namespace

Deadline Deadline::in_ms(int64_t milliseconds) {
  Deadline deadline;
  const int64_t now = now_ns();
  if (milliseconds < (kNever - now) / kNsPerMs) deadline.at_ns_ = now + milliseconds * kNsPerMs;
  return deadline;
}

int64_t Deadline::remaining_ns() const { return is_set() ? std::max<int64_t>(at_ns_ - now_ns(), 0) : kNever; }

timespec Deadline::remaining() const { return to_timespec(remaining_ns()); }

Deadline call_deadline() { return thread_deadline; }

CallDeadline::CallDeadline(Deadline deadline) : outer_(thread_deadline) { thread_deadline = deadline; }

CallDeadline::~CallDeadline() { thread_deadline = outer_; }

void pause_call(int64_t milliseconds) {
  timespec rest = to_timespec(std::min(milliseconds * kNsPerMs, thread_deadline.remaining_ns()));
  while (nanosleep(&rest, &rest) == -1 && errno == EINTR) continue;
}

}  // namespace mar
