#include "tools/mar_queue/ping.h"

#include <chrono>
#include <cmath>

#include "contract/message.h"
#include "engine_client/commands.h"
#include "engine_client/connection.h"

namespace mar::queue_tool {

namespace {

Finding failure(double timeout_s) {
  const mar_error& error = *mar_last_error();
  switch (error.code) {
    case MAR_CAUSE_NO_ACCESS:
    case MAR_CAUSE_NO_PERMISSION:
      return blind("no-permission", "{}", error.text);
    case MAR_CAUSE_DEADLINE:
      return trouble("no-answer", "No answer within {} s: mar-queue status tells what the engine does.",
                     timeout_s);
    case MAR_CAUSE_WRONG_MARKER:
    case MAR_CAUSE_ENGINE_SAID:
      return trouble("bad-answer", "{}", error.text);
    default:
      return trouble("not-reached", "{}", error.text);
  }
}

}  // namespace

PingResult ping(double timeout_s) {
  using std::chrono::steady_clock;
  mar_set_deadline(static_cast<int32_t>(std::ceil(timeout_s * 1000)));
  // Through an open connection a failed command does not pause before it says so.
  if (mar_open() != MAR_OK) return {{failure(timeout_s)}, std::nullopt};
  const auto asked = steady_clock::now();
  const int32_t result = mar_ping_engine();
  const std::chrono::duration<double, std::milli> round_trip = steady_clock::now() - asked;
  if (result != MAR_OK) return {{failure(timeout_s)}, std::nullopt};
  return {{note("answered", "The engine has answered after {:.3f} ms.", round_trip.count())},
          round_trip.count()};
}

}  // namespace mar::queue_tool
