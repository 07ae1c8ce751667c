// One thing worth telling about a queue. Every command of mar-queue ends in a list of these.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

// The worst one is the program's exit status.
enum class Severity {
  kNote = 0,
  kTrouble = 1,
  kBlind = 2,  // could not look, or could not do what was asked
};

struct Finding {
  Severity severity;
  const char* code;  // names the kind to programs: "creator-dead"
  std::string text;  // one sentence: what is the case and what to do about it
};

using Findings = std::vector<Finding>;

inline Severity worst(const Findings& findings) {
  Severity result = Severity::kNote;
  for (const Finding& finding : findings) result = std::max(result, finding.severity);
  return result;
}
