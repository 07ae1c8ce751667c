// fork() copies one thread, and every lock as it stands: one that another thread holds at that moment stays
// held in the child for ever. So the libraries' own locks are taken before the fork and released after it, by
// handlers of pthread_atfork that functions with [[gnu::constructor(mar::kFork...)]] register. Handlers that
// run before a fork run in the reverse order of their registration: an outer lock has a higher number than
// the locks that are taken while it is held.
#pragma once

namespace mar {

inline constexpr int kForkInnermost = 201;  // time conversion, events: nothing is locked under these
inline constexpr int kForkLog = 202;        // the log mutex; times are converted under it

}  // namespace mar
