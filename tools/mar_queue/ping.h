// Asks the engine for an answer, as a client would. Clients know one control file only, so there is no
// choice.
#pragma once

#include <optional>

#include "tools/mar_queue/finding.h"

namespace mar::queue_tool {

struct PingResult {
  Findings findings;
  std::optional<double> round_trip_ms;  // of an answer
};

// Waits `timeout_s` at most.
PingResult ping(double timeout_s);

}  // namespace mar::queue_tool
