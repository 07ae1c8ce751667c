// Lists the system calls of a piece of code. Tests can set an exact budget of calls, but not of time.
#pragma once

#include <functional>
#include <vector>

namespace mar {

// Runs `work` in a child process with one thread. Returns the numbers (SYS_...) of its system calls in order,
// and -1 as the last one if a signal killed the child or if it blocked for 20 seconds.
std::vector<long> system_calls_of(const std::function<void()>& work);

}  // namespace mar
