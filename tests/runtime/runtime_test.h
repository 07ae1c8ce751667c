// What the tests of the runtime share.
#pragma once

#include <pthread.h>
#include <time.h>

#include <atomic>
#include <cerrno>
#include <string>

#include "tests/support/error_trail.h"

namespace mar {

// What the calling thread's error stack holds, as one text: "-120 CkesMutex::Lock()\n".
inline std::string recorded() {
  long code = 0;
  CkesErrorManager::GetError(&code);
  return std::to_string(code) + " " + error_trail();
}

// The same, for an operation that has just given `code`: both must agree.
inline std::string failure(long code) {
  const std::string text = recorded();
  return text.starts_with(std::to_string(code) + " ") ? text : std::to_string(code) + ", but " + text;
}

// Refuses the calling thread's non-throwing allocations for a scope.
struct OutOfMemory {
  OutOfMemory() { refuses = true; }
  ~OutOfMemory() { refuses = false; }
  static inline thread_local bool refuses = false;
};

// Refuses the calling thread's calls of POSIX mutexes or condition variables for a scope, with EINVAL.
struct Refused {
  enum : unsigned { kMutex = 1, kCondition = 2 };
  explicit Refused(unsigned kinds) { now = kinds; }
  ~Refused() { now = 0; }
  static inline thread_local unsigned now = 0;
  static inline thread_local int locks = 0;        // mutexes that the calling thread has locked
  static inline std::atomic<int> waits = 0;        // of all threads; a waiter holds the mutex until it waits
  static inline thread_local timespec deadline{};  // of the last timed wait
};

}  // namespace mar
