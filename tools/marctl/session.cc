#include "tools/marctl/session.h"

#include "contract/message.h"
#include "engine_client/connection.h"
#include "tools/marctl/time_left.h"

namespace mar::ctl {

namespace {

constexpr int32_t kNothingToUpload = 2;
constexpr double kStartPauseS = 1;

// What the thread's last call came to.
Reply reply_of(int32_t result) {
  const mar_error& error = *mar_last_error();
  Reply reply{result, status_of_cause(static_cast<mar_cause>(error.code)), error.code, error.text};
  if (error.code == MAR_CAUSE_ENGINE_SAID) {
    const bool nothing = result == kNothingToUpload;
    reply.status = nothing ? ExitStatus::kNothingToUpload : ExitStatus::kRefused;
    reply.text = nothing ? "The engine has nothing to upload."
                         : "The engine refused it with the result " + std::to_string(result) + ".";
  } else if (result != MAR_OK && reply.done()) {
    reply.status = ExitStatus::kFailed;
    reply.text = "The client library does not say why.";
  }
  return reply;
}

bool may_pass(const Reply& reply) {
  return reply.status == ExitStatus::kNotRunning || reply.status == ExitStatus::kFull;
}

}  // namespace

Session::~Session() { mar_close(); }

Reply Session::open() {
  TimeLeft(limits_.timeout_s).limit_next_call();
  return reply_of(mar_open());
}

Reply Session::run(const std::function<int32_t()>& command) {
  const TimeLeft left(limits_.timeout_s);
  for (int tries = 0;; ++tries) {
    left.limit_next_call();
    Reply reply = reply_of(mar_open());
    if (reply.done()) {
      left.limit_next_call();
      const Stopwatch watch;
      reply = reply_of(command());
      reply.round_trip_ms = watch.milliseconds();
      reply.was_sent = reply.cause != MAR_CAUSE_QUEUE_FULL && reply.cause != MAR_CAUSE_ANSWERS_OWED;
      // A connection that has failed may lead to an engine that is gone: the next command opens its own.
      if (reply.result < 0 && reply.cause != MAR_CAUSE_ENGINE_SAID) mar_close();
    }
    const bool again = tries < limits_.retries && !reply.was_sent && may_pass(reply);
    if (!again || left.is_over()) return reply;
    left.pause(kStartPauseS);
  }
}

}  // namespace mar::ctl
