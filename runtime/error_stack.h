// One thread's last error code and the trail of functions that passed it on, oldest first, at most 50 of
// them. A plain value without a lock: it belongs to one thread (CkesErrorManager gives each thread its own).
#pragma once

#include <cstdint>

#pragma GCC visibility push(default)

namespace mar {

inline constexpr long kErrorTrailFull = -202;  // the name was added, the oldest one dropped

}  // namespace mar

class CkesErrorStack {
 public:
  // Drops the earlier trail and starts a new one at `location`. Texts are kept by address, here and in
  // AddFunction: pass literals.
  void SetErrorCode(long code, const char* location);

  // Returns 0 or kErrorTrailFull.
  long AddFunction(const char* name);

  long GetErrorCode() const { return errorCode; }

  // The trail, oldest text first; GetNextFunction returns null at its end.
  // Kept as is: once the ring has wrapped, GetNextFunction goes round it for ever, so callers need a bound.
  const char* GetFirstFunction();
  const char* GetNextFunction();

  // The number of texts. Kept as is: a trail of one text counts as 51.
  int GetStackSize() const;

  // Writes the trail into `buffer` of `size` bytes, one text per line and a final NUL, and stops at the first
  // line that would leave no room for it. Does nothing if the buffer is null or the size below 1.
  void GetStackDump(char* buffer, int size);

 private:
  static constexpr int kRingSize = 50;

  int32_t first = 0;  // ring index of the oldest text, the error's origin
  int32_t last = 0;   // ring index of the newest text
  const char* entries[kRingSize] = {"Error code not set."};
  long errorCode = 0;
  int32_t cursor = 0;  // of the iteration; runs past the ring's end without wrapping
};

#pragma GCC visibility pop
