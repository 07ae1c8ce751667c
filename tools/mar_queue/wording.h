// Words for people. Text from outside, such as a process name, is made harmless for a terminal.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <string>
#include <string_view>
#include <vector>

#include "ipc/cause.h"

namespace mar::queue_tool {

// (1, "slot") returns "1 slot", (2, "slot") returns "2 slots".
std::string count_of(uint64_t count, std::string_view noun);

// The local time as "2026-11-21T20:31:07".
std::string iso_time(time_t time);

// The sentence by which the client library explains a failed call.
std::string sentence_of(mar_cause cause, const CauseDetails& details = {});

// Which of `names` was probably meant by `word`. Mistakes count by character; a name may also be cut short.
const std::string& nearest(std::string_view word, const std::vector<std::string>& names);

// Control characters become question marks.
std::string printable(std::string_view outside);

// Whether a signal or a tracer has stopped the process.
bool is_stopped(pid_t process);

// "4711 (mar-standin)" or "4711 (mar-standin, stopped)"; also "traced", and "zombie" for a process that has
// ended but whose parent has not waited for it. "4711" if the name cannot be read.
std::string process_label(pid_t process);

}  // namespace mar::queue_tool
