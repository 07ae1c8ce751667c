// When a call has to be over. A caller sets its limit once, for its thread; everything below that waits asks
// for it, however deep: the turn among threads, a segment's lock, an answer, a pause. Nothing here fails;
// only pause_call() is a cancellation point.
#pragma once

#include <cstdint>
#include <ctime>

#pragma GCC visibility push(default)

namespace mar {

// A point on the monotonic clock. A default Deadline is never reached.
class Deadline {
 public:
  constexpr Deadline() = default;
  static Deadline in_ms(int64_t milliseconds);  // from now

  bool is_set() const { return at_ns_ != kNever; }
  bool has_passed() const { return is_set() && remaining_ns() == 0; }
  int64_t remaining_ns() const;  // 0 once it has passed
  timespec remaining() const;    // the same, as system calls take it

 private:
  static constexpr int64_t kNever = INT64_MAX;
  int64_t at_ns_ = kNever;
};

// The deadline of the call that the calling thread is in.
Deadline call_deadline();

// Gives the calling thread's call a deadline for a scope.
class CallDeadline {
 public:
  explicit CallDeadline(Deadline deadline);
  ~CallDeadline();
  CallDeadline(const CallDeadline&) = delete;
  CallDeadline& operator=(const CallDeadline&) = delete;

 private:
  Deadline outer_;
};

// Sleeps for `milliseconds`, or up to the call's deadline if that comes first.
void pause_call(int64_t milliseconds);

}  // namespace mar

#pragma GCC visibility pop
