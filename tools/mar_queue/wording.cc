#include "tools/mar_queue/wording.h"

#include <fmt/chrono.h>

#include <algorithm>
#include <fstream>
#include <numeric>
#include <utility>

namespace mar::queue_tool {

namespace {

// "stopped", "traced", "zombie", or empty for a process that runs or sleeps.
std::string_view unusual_state(pid_t process) {
  std::ifstream file(fmt::format("/proc/{}/status", process));
  for (std::string line; std::getline(file, line);) {
    if (line.starts_with("State:\tT")) return "stopped";
    if (line.starts_with("State:\tt")) return "traced";
    if (line.starts_with("State:\tZ")) return "zombie";
  }
  return "";
}

// How many characters must be added, removed or replaced to make `from` the beginning of `to`.
size_t mistakes(std::string_view from, std::string_view to) {
  std::vector<size_t> row(to.size() + 1);
  std::iota(row.begin(), row.end(), size_t{0});
  for (size_t i = 0; i < from.size(); ++i) {
    size_t diagonal = std::exchange(row[0], i + 1);
    for (size_t j = 0; j < to.size(); ++j) {
      const size_t replaced = diagonal + (from[i] != to[j]);
      diagonal = std::exchange(row[j + 1], std::min({row[j] + 1, row[j + 1] + 1, replaced}));
    }
  }
  return *std::min_element(row.begin(), row.end());
}

}  // namespace

std::string count_of(uint64_t count, std::string_view noun) {
  return fmt::format("{} {}{}", count, noun, count == 1 ? "" : "s");
}

std::string sentence_of(mar_cause cause, const CauseDetails& details) {
  char sentence[kCauseSentenceBytes];
  describe_cause(cause, details, sentence, sizeof sentence);
  return sentence;
}

std::string iso_time(time_t time) { return fmt::format("{:%FT%T}", fmt::localtime(time)); }

const std::string& nearest(std::string_view word, const std::vector<std::string>& names) {
  return *std::min_element(names.begin(), names.end(), [word](const std::string& a, const std::string& b) {
    return mistakes(word, a) < mistakes(word, b);
  });
}

std::string printable(std::string_view outside) {
  std::string harmless(outside);
  const auto is_control = [](unsigned char byte) { return byte < ' ' || byte == 127; };
  std::replace_if(harmless.begin(), harmless.end(), is_control, '?');
  return harmless;
}

bool is_stopped(pid_t process) {
  const std::string_view state = unusual_state(process);
  return state == "stopped" || state == "traced";
}

std::string process_label(pid_t process) {
  std::ifstream file(fmt::format("/proc/{}/comm", process));
  std::string name;
  if (!std::getline(file, name)) return std::to_string(process);
  const std::string_view state = unusual_state(process);
  return fmt::format("{} ({}{}{})", process, printable(name), state.empty() ? "" : ", ", state);
}

}  // namespace mar::queue_tool
