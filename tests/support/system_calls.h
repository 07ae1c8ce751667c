// Counts what the kernel is asked for: budgets of system calls are exact, unlike timings.
#pragma once

#include <functional>
#include <vector>

namespace mar {

// The numbers (SYS_...) of the system calls that `work` makes, in order; it runs in a child process with one
// thread. A child that a signal kills, or that blocks for 20 seconds, gives one more number, -1, at the end.
std::vector<long> system_calls_of(const std::function<void()>& work);

}  // namespace mar
