// Why a call failed: a code, kept for each thread, and one English sentence for it. The sentences are those
// of mar-queue status, which finds the same causes from outside.
#pragma once

#include <sys/types.h>

#include <cstddef>

#include "contract/causes.h"

namespace mar {

class QueueCore;

// What a sentence may name besides the cause.
struct CauseDetails {
  const char* path = "";  // the control file, with its instance
  int error = 0;          // errno, for MAR_CAUSE_NO_ACCESS
  pid_t engine = 0;       // of a dead engine; 0 if not known
};

inline constexpr size_t kCauseSentenceBytes = 640;  // enough for every sentence, with the longest path

// Writes the cause's sentence into `out`, cut to `size_bytes` with its terminator. It is empty for
// MAR_CAUSE_NONE.
void describe_cause(mar_cause cause, const CauseDetails& details, char* out, size_t size_bytes);

inline constexpr char kNestedCallSentence[] =
    "A signal handler made this call while its thread was in another one.";

struct Cause {
  mar_cause code = MAR_CAUSE_NONE;
  int error = 0;  // errno, for MAR_CAUSE_NO_ACCESS
};

// The cause recorded last for the calling thread, to read or to set, and its sentence. Recording is cheap:
// every call does it, few ask for the words.
Cause& last_cause();
void describe_last_cause(char* out, size_t size_bytes);

// Record a cause for the calling thread.
void note_cause(mar_cause cause, int error = 0);
void note_unreachable(QueueCore& queue);  // which did not open, or whose creator does not live

// The same for an operation of an open queue that failed with `code`. `overflow` is what QUEUE_OVERFLOW means
// there. A failure once the call's deadline has passed is put down to the deadline.
void note_queue_code(long code, mar_cause overflow);

}  // namespace mar
