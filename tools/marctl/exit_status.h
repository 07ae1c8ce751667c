// What became of a command, as scripts see it: one exit status for each kind of failure.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "contract/causes.h"

namespace mar::ctl {

// Numbers are never used again for something else: scripts compare them.
enum class ExitStatus {
  kDone = 0,
  kFailed = 1,
  kBadInput = 2,
  kNotRunning = 3,
  kNoPermission = 4,
  kFull = 5,
  kDeadline = 6,
  kRefused = 7,
  kNothingToUpload = 8,
};

struct StatusRow {
  ExitStatus status;
  const char* name;  // in JSON output
  const char* meaning;
};

// One row for each status, in the order of their numbers.
std::span<const StatusRow> exit_statuses();
const char* status_name(ExitStatus status);

ExitStatus status_of_cause(mar_cause cause);

// What a call of the client library came to.
struct Reply {
  int32_t result = 0;  // as the library returned it
  ExitStatus status = ExitStatus::kDone;
  int cause = MAR_CAUSE_NONE;
  std::string text;  // why it failed, one sentence; empty after a success
  double round_trip_ms = 0;
  bool was_sent = false;  // the queue took it, so the engine may have executed it

  bool done() const { return status == ExitStatus::kDone; }
};

}  // namespace mar::ctl
