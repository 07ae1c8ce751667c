#include "ipc/cause.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <iterator>

#include "contract/names.h"
#include "contract/status.h"
#include "ipc/naming.h"
#include "ipc/queue_core.h"
#include "util/deadline.h"

namespace mar {

namespace {

constinit thread_local Cause thread_cause;

struct Sentence {
  mar_cause cause;
  const char* text;
};

// Those without a detail. Each says what is the case and, where there is one, the remedy.
constexpr Sentence kSentences[] = {
    {MAR_CAUSE_NO_PERMISSION,
     "This user may not use the engine's queue: run as the user that runs the engine, or as root."},
    {MAR_CAUSE_KEY_CLASH,
     "An object under the keys of the queue is not this queue's: mar-queue status names it."},
    {MAR_CAUSE_HALF_MADE,
     "The queue is incomplete: the engine is still starting or was interrupted. Look again in a moment, then "
     "start the engine."},
    {MAR_CAUSE_CLOSING,
     "The engine is closing its queue and accepts no more requests: wait until it has ended, then start it "
     "again."},
    {MAR_CAUSE_DESTROYED, "The engine has given up its queue: wait until it has ended, then start it again."},
    {MAR_CAUSE_BAD_STATE, "The queue is in an unknown state: restart the engine."},
    {MAR_CAUSE_NO_MEMORY, "There is no memory left for the request or its answer."},
    {MAR_CAUSE_QUEUE_FULL, "The queue is full, all its slots are taken: mar-queue status names the holders."},
    {MAR_CAUSE_NO_HEAD, "No head is free for a new client: mar-queue status names the holders."},
    {MAR_CAUSE_WITHDRAWN, "The engine gave up its answer to this client: try again."},
    {MAR_CAUSE_DAMAGED, "The queue is damaged: mar-queue check shows where, mar-queue reap repairs it."},
    {MAR_CAUSE_LOCK_FAILED,
     "The queue's lock could not be taken or released: the engine has probably ended."},
    {MAR_CAUSE_WAIT_FAILED, "The wait for the answer failed: the engine has probably ended."},
    {MAR_CAUSE_ANSWER_TOO_LONG, "The answer is longer than the memory there is."},
    {MAR_CAUSE_REQUEST_TOO_LONG, "The request does not fit into a record."},
    {MAR_CAUSE_DEADLINE, "The deadline passed before the engine had answered."},
    {MAR_CAUSE_NESTED_CALL, kNestedCallSentence},
    {MAR_CAUSE_ANSWERS_OWED,
     "Answers to earlier requests that ran out of time have not come yet: try again later."},
    {MAR_CAUSE_WRONG_MARKER, "The answer does not begin as an answer of the engine does."},
    {MAR_CAUSE_ENGINE_SAID, "The result is the engine's own: it refused the command."},
    {MAR_CAUSE_BAD_ARGUMENT, "An argument of the call is out of range."},
    {MAR_CAUSE_NOT_OPEN, "No connection is open on this thread."},
};

const char* plain_sentence(mar_cause cause) {
  const auto* const found = std::find_if(std::begin(kSentences), std::end(kSentences),
                                         [&](const Sentence& sentence) { return sentence.cause == cause; });
  return found == std::end(kSentences) ? "" : found->text;
}

mar_cause cause_of_code(long code) {
  switch (code) {
    case QUEUE_CLOSED:
      return MAR_CAUSE_CLOSING;
    case QUEUE_INVALID_ID:
      return MAR_CAUSE_WITHDRAWN;
    case QUEUE_PUT_FAILED:
    case QUEUE_INVALID_KEY:
      return MAR_CAUSE_DAMAGED;
    case QUEUE_GET_FAILED:
      return MAR_CAUSE_WAIT_FAILED;
    default:
      return MAR_CAUSE_LOCK_FAILED;
  }
}

}  // namespace

void describe_cause(mar_cause cause, const CauseDetails& details, char* out, size_t size_bytes) {
  char process[32] = "";
  if (details.engine > 0) std::snprintf(process, sizeof process, " (process %d)", details.engine);
  switch (cause) {
    case MAR_CAUSE_NO_CONTROL_FILE:
      std::snprintf(out, size_bytes, "There is no control file %s: start the engine.", details.path);
      break;
    case MAR_CAUSE_NO_ACCESS:
      std::snprintf(
          out, size_bytes,
          "The control file %s cannot be examined (%s): let everyone search its directories, or run "
          "as root.",
          details.path, strerrordesc_np(details.error));
      break;
    case MAR_CAUSE_NO_QUEUE:
      std::snprintf(out, size_bytes,
                    "There is a control file %s but no queue: the engine has stopped or is still starting; "
                    "start the engine.",
                    details.path);
      break;
    case MAR_CAUSE_CREATOR_DEAD:
      std::snprintf(out, size_bytes,
                    "The engine%s has died and left its queue: start the engine, or run mar-queue "
                    "remove-stale.",
                    process);
      break;
    default:
      std::snprintf(out, size_bytes, "%s", plain_sentence(cause));
  }
}

Cause& last_cause() { return thread_cause; }

void describe_last_cause(char* out, size_t size_bytes) {
  char path[kSegmentNameLimit + 1];
  CIPCUtils::createIPCName(CLI_IPC_NAME, nullptr, kSegmentNameLimit, path);
  describe_cause(thread_cause.code, {path, thread_cause.error}, out, size_bytes);
}

void note_cause(mar_cause cause, int error) { thread_cause = {cause, error}; }

void note_queue_code(long code, mar_cause overflow) {
  if (call_deadline().has_passed()) return note_cause(MAR_CAUSE_DEADLINE);
  note_cause(code == QUEUE_OVERFLOW ? overflow : cause_of_code(code));
}

void note_unreachable(QueueCore& queue) {
  const mar_cause cause = queue.AbsenceCause();
  // The creator may have come to life since it was looked for.
  note_cause(cause == MAR_CAUSE_NONE ? MAR_CAUSE_HALF_MADE : cause, queue.OpenError());
}

}  // namespace mar
