#include "tools/marctl/exit_status.h"

#include <algorithm>
#include <iterator>

namespace mar::ctl {

namespace {

using enum ExitStatus;

constexpr StatusRow kRows[] = {
    {kDone, "done", "the engine has done it"},
    {kFailed, "failed", "any other failure"},
    {kBadInput, "bad-input", "wrong usage or bad input; nothing was sent"},
    {kNotRunning, "not-running", "no engine runs"},
    {kNoPermission, "no-permission", "this user may not use the engine's queue"},
    {kFull, "full", "the queue has no slot for it, or no head for its answer"},
    {kDeadline, "deadline", "the time was up; the engine may do it later"},
    {kRefused, "refused", "the engine refused; its result is printed"},
    {kNothingToUpload, "nothing-to-upload", "the engine has nothing to upload"},
};

struct CauseRow {
  mar_cause cause;
  ExitStatus status;
};

constexpr CauseRow kCauses[] = {
    {MAR_CAUSE_NONE, kDone},
    {MAR_CAUSE_NO_CONTROL_FILE, kNotRunning},
    {MAR_CAUSE_NO_ACCESS, kNoPermission},
    {MAR_CAUSE_NO_QUEUE, kNotRunning},
    {MAR_CAUSE_NO_PERMISSION, kNoPermission},
    {MAR_CAUSE_KEY_CLASH, kNotRunning},
    {MAR_CAUSE_HALF_MADE, kNotRunning},
    {MAR_CAUSE_CREATOR_DEAD, kNotRunning},
    {MAR_CAUSE_CLOSING, kNotRunning},
    {MAR_CAUSE_DESTROYED, kNotRunning},
    {MAR_CAUSE_BAD_STATE, kNotRunning},
    {MAR_CAUSE_NO_MEMORY, kFailed},
    {MAR_CAUSE_QUEUE_FULL, kFull},
    {MAR_CAUSE_NO_HEAD, kFull},
    {MAR_CAUSE_WITHDRAWN, kFailed},
    {MAR_CAUSE_DAMAGED, kFailed},
    {MAR_CAUSE_LOCK_FAILED, kFailed},
    {MAR_CAUSE_WAIT_FAILED, kFailed},
    {MAR_CAUSE_ANSWER_TOO_LONG, kFailed},
    {MAR_CAUSE_REQUEST_TOO_LONG, kBadInput},
    {MAR_CAUSE_DEADLINE, kDeadline},
    {MAR_CAUSE_NESTED_CALL, kFailed},
    {MAR_CAUSE_WRONG_MARKER, kFailed},
    {MAR_CAUSE_ENGINE_SAID, kRefused},
    {MAR_CAUSE_BAD_ARGUMENT, kBadInput},
    {MAR_CAUSE_NOT_OPEN, kFailed},
};

}  // namespace

std::span<const StatusRow> exit_statuses() { return kRows; }

const char* status_name(ExitStatus status) { return kRows[static_cast<int>(status)].name; }

ExitStatus status_of_cause(int cause) {
  const auto* const row = std::find_if(std::begin(kCauses), std::end(kCauses),
                                       [cause](const CauseRow& entry) { return entry.cause == cause; });
  return row == std::end(kCauses) ? kFailed : row->status;
}

}  // namespace mar::ctl
