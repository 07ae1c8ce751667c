#include "engine_client/commands.h"
#include "tools/marctl/modes.h"
#include "tools/marctl/time_left.h"

namespace mar::ctl {

namespace {

constexpr double kLookPauseS = 0.1;

// Done when an engine answers. An engine that does not is asked only once.
Reply look_for_up(const TimeLeft& left) { return Session({left.seconds(), 0}).run(mar_ping_engine); }

// Done when no engine runs. One that is closing its queue still runs.
Reply look_for_down(const TimeLeft& left) {
  Reply reply = Session({left.seconds(), 0}).open();
  const bool closing = reply.cause == MAR_CAUSE_CLOSING || reply.cause == MAR_CAUSE_DESTROYED;
  if (reply.status == ExitStatus::kNotRunning && !closing) return {};
  if (reply.done()) {
    reply.status = ExitStatus::kFull;  // it has room, but it is there
    reply.text = "The engine runs.";
  }
  return reply;
}

// Time will not change it.
bool is_final(const Reply& reply) {
  return reply.done() || reply.status == ExitStatus::kNoPermission || reply.status == ExitStatus::kDeadline;
}

}  // namespace

ExitStatus run_wait(const Arguments& arguments) {
  const TimeLeft left(arguments.limits.timeout_s);
  const auto look = arguments.wait_for == "up" ? look_for_up : look_for_down;
  Reply reply = look(left);
  while (!is_final(reply) && !left.is_over()) {
    left.pause(kLookPauseS);
    reply = look(left);
  }
  if (!is_final(reply)) {
    reply.status = ExitStatus::kDeadline;
    reply.text = "The time was up. " + reply.text;
  }
  return report(arguments.style, "wait", reply);
}

}  // namespace mar::ctl
