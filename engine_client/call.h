// The frame of every public call: its deadline, its cause, and the refusal of a call inside a call.
#pragma once

#include <cstdint>

#include "util/deadline.h"

namespace mar {

class Call {
 public:
  // Starts the deadline and clears the cause, unless the thread is in a call already: then a signal handler
  // is calling, and whatever the interrupted call was doing, nothing must be touched.
  Call();
  ~Call();
  Call(const Call&) = delete;
  Call& operator=(const Call&) = delete;

  bool is_nested() const { return nested_; }

 private:
  const bool nested_;
  CallDeadline deadline_;
};

// Whether the thread is in a call: then only a signal handler can be asking.
bool thread_is_in_call();

// Limits later calls of this thread; 0: no limit.
void set_call_limit(int32_t milliseconds);

}  // namespace mar
