#include "engine_client/call.h"

#include <csignal>

#include "ipc/cause.h"

namespace mar {

namespace {

constinit thread_local volatile sig_atomic_t in_call = 0;
constinit thread_local int32_t limit_ms = 0;

Deadline deadline_of(bool nested) {
  if (nested) return call_deadline();
  return limit_ms == 0 ? Deadline() : Deadline::in_ms(limit_ms);
}

}  // namespace

Call::Call() : nested_(in_call != 0), deadline_(deadline_of(nested_)) {
  if (nested_) return;  // the cause is the outer call's
  in_call = 1;
  note_cause(MAR_CAUSE_NONE);
}

Call::~Call() {
  if (!nested_) in_call = 0;
}

bool thread_is_in_call() { return in_call != 0; }

void set_call_limit(int32_t milliseconds) { limit_ms = milliseconds; }

}  // namespace mar
