#include "tools/mar_queue/text.h"

#include <algorithm>
#include <cstdarg>
#include <cstdio>
#include <fstream>

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

char process_state(pid_t process) {
  std::ifstream file("/proc/" + std::to_string(process) + "/status");
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("State:\t") && line.size() > 7) return line[7];
  }
  return 0;
}

std::string process_label(pid_t process) {
  const std::string number = std::to_string(process);
  std::ifstream file("/proc/" + number + "/comm");
  std::string name;
  if (!std::getline(file, name)) return number;
  return number + " (" + printable(name) + (process_state(process) == 'Z' ? ", zombie)" : ")");
}
