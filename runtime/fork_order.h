// fork() copies one thread but every lock as it stands, so a lock that another thread holds at that moment
// stays held in the child for ever. The libraries' own locks are therefore taken before the fork and released
// after it, by pthread_atfork handlers. Functions marked [[gnu::constructor(mar::kFork...)]] register them;
// lower numbers register first. Handlers before a fork run in the reverse order of registration, so an outer
// lock needs a higher number than the locks taken while it is held.
#pragma once

namespace mar {

inline constexpr int kForkInnermost = 201;  // time conversion, events: nothing is locked under these
inline constexpr int kForkLog = 202;        // the log mutex; times are converted under it

}  // namespace mar
