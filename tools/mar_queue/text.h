// Sentences for people. What comes from outside, such as a process's name, is made harmless for a terminal.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <string_view>

namespace mar::queue_tool {

// As printf, into a string.
std::string text(const char* format, ...) __attribute__((format(printf, 1, 2)));

// 1, "slot" gives "1 slot"; 2 gives "2 slots".
std::string count_of(uint64_t count, const char* noun);

// Control characters become question marks.
std::string printable(std::string_view outside);

// Whether the process is stopped by a signal or a tracer.
bool is_stopped(pid_t process);

// "4711 (mar-standin)", "4711 (mar-standin, stopped)", also "traced" or "zombie": ended but not waited for by
// its parent; "4711" for a process whose name cannot be read.
std::string process_label(pid_t process);

}  // namespace mar::queue_tool
