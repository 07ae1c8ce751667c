#include "tools/marctl/exit_status.h"

namespace mar::ctl {

namespace {

using enum ExitStatus;

constexpr StatusRow kRows[] = {
    {kDone, "done", "the engine has done it"},
    {kFailed, "failed", "any other failure"},
    {kBadInput, "bad-input", "wrong usage or bad input; nothing was sent"},
    {kNotRunning, "not-running", "no engine runs"},
    {kNoPermission, "no-permission", "this user may not use the engine's queue"},
    {kFull, "full", "the queue has no slot for it or no head for its answer, or too many answers are owed"},
    {kDeadline, "deadline", "the time was up; the engine may do it later"},
    {kRefused, "refused", "the engine refused; its result is printed"},
    {kNothingToUpload, "nothing-to-upload", "the engine has nothing to upload"},
};

}  // namespace

std::span<const StatusRow> exit_statuses() { return kRows; }

const char* status_name(ExitStatus status) { return kRows[static_cast<int>(status)].name; }

// A switch, so that the compiler names a new cause that has no status yet.
ExitStatus status_of_cause(mar_cause cause) {
  switch (cause) {
    case MAR_CAUSE_NONE:
      return kDone;
    case MAR_CAUSE_NO_CONTROL_FILE:
    case MAR_CAUSE_NO_QUEUE:
    case MAR_CAUSE_KEY_CLASH:
    case MAR_CAUSE_HALF_MADE:
    case MAR_CAUSE_CREATOR_DEAD:
    case MAR_CAUSE_CLOSING:
    case MAR_CAUSE_DESTROYED:
    case MAR_CAUSE_BAD_STATE:
      return kNotRunning;
    case MAR_CAUSE_NO_ACCESS:
    case MAR_CAUSE_NO_PERMISSION:
      return kNoPermission;
    case MAR_CAUSE_QUEUE_FULL:
    case MAR_CAUSE_NO_HEAD:
    case MAR_CAUSE_ANSWERS_OWED:
      return kFull;
    case MAR_CAUSE_DEADLINE:
      return kDeadline;
    case MAR_CAUSE_ENGINE_SAID:
      return kRefused;
    case MAR_CAUSE_REQUEST_TOO_LONG:
    case MAR_CAUSE_BAD_ARGUMENT:
      return kBadInput;
    case MAR_CAUSE_NO_MEMORY:
    case MAR_CAUSE_WITHDRAWN:
    case MAR_CAUSE_DAMAGED:
    case MAR_CAUSE_LOCK_FAILED:
    case MAR_CAUSE_WAIT_FAILED:
    case MAR_CAUSE_ANSWER_TOO_LONG:
    case MAR_CAUSE_NESTED_CALL:
    case MAR_CAUSE_WRONG_MARKER:
    case MAR_CAUSE_NOT_OPEN:
      return kFailed;
  }
  return kFailed;
}

}  // namespace mar::ctl
