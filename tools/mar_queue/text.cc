#include "tools/mar_queue/text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <fstream>

namespace mar::queue_tool {

std::string text(const char* format, ...) {
  va_list arguments, again;
  va_start(arguments, format);
  va_copy(again, arguments);
  const int length = std::vsnprintf(nullptr, 0, format, arguments);
  std::string result(length < 0 ? 0 : static_cast<size_t>(length), '\0');
  std::vsnprintf(result.data(), result.size() + 1, format, again);
  va_end(again);
  va_end(arguments);
  return result;
}

std::string count_of(uint64_t count, const char* noun) {
  return std::to_string(count) + ' ' + noun + (count == 1 ? "" : "s");
}

std::string printable(std::string_view outside) {
  std::string harmless(outside);
  std::replace_if(
      harmless.begin(), harmless.end(), [](unsigned char byte) { return byte < ' ' || byte == 127; }, '?');
  return harmless;
}

namespace {

// "stopped", "traced", "zombie" (ended, but its parent has not waited for it), or nothing to remark.
std::string_view remarkable_state(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/status");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("State:\tT")) return "stopped";
    if (line.starts_with("State:\tt")) return "traced";
    if (line.starts_with("State:\tZ")) return "zombie";
  }
  return "";
}

}  // namespace

bool is_stopped(pid_t process) {
  const std::string_view state = remarkable_state(process);
  return state == "stopped" || state == "traced";
}

std::string process_label(pid_t process) {
  const std::string number = std::to_string(process);
  std::ifstream file("/proc/" + number + "/comm");
  std::string name;
  if (!std::getline(file, name)) return number;
  const std::string_view state = remarkable_state(process);
  return number + " (" + printable(name) + (state.empty() ? "" : ", ") + std::string(state) + ')';
}

}  // namespace mar::queue_tool
