// One observation about a queue. Every command of mar-queue ends in a list of these.
#pragma once

#include <fmt/format.h>

#include <algorithm>
#include <string>
#include <utility>
#include <vector>

namespace mar::queue_tool {

// The worst severity is the program's exit status.
enum class Severity {
  kNote = 0,
  kTrouble = 1,
  kBlind = 2,  // the queue could not be examined, or a request could not be carried out
};

struct Finding {
  Severity severity;
  const char* code;  // names the kind to programs: "creator-dead"
  std::string text;  // what is the case, and what to do about it
};

using Findings = std::vector<Finding>;

template <typename... Args>
Finding note(const char* code, fmt::format_string<Args...> format, Args&&... args) {
  return {Severity::kNote, code, fmt::format(format, std::forward<Args>(args)...)};
}

template <typename... Args>
Finding trouble(const char* code, fmt::format_string<Args...> format, Args&&... args) {
  return {Severity::kTrouble, code, fmt::format(format, std::forward<Args>(args)...)};
}

template <typename... Args>
Finding blind(const char* code, fmt::format_string<Args...> format, Args&&... args) {
  return {Severity::kBlind, code, fmt::format(format, std::forward<Args>(args)...)};
}

inline Severity worst(const Findings& findings) {
  Severity result = Severity::kNote;
  for (const Finding& finding : findings) result = std::max(result, finding.severity);
  return result;
}

}  // namespace mar::queue_tool
