// One line of text, plain or JSON, for each request, for the engine's state and for events. A line is
// printable ASCII without a line end, whatever a request holds. Its time is UTC in the form of ISO 8601, with
// milliseconds: "2026-11-21T16:22:32.123Z".
#pragma once

#include <chrono>
#include <string>

#include "standin/engine_state.h"
#include "standin/served_request.h"

namespace mar::standin {

enum class LineForm { kPlain, kJson };
using Time = std::chrono::system_clock::time_point;

// 2026-11-21T16:22:32.123Z request 7 from 4711/4711: remove-edge-policy policy=3 -> -4
std::string request_line(LineForm form, const ServedRequest& served);

// The JSON line of a request with what a replay needs: its framing kind, its bytes and the faults' effects.
std::string recording_line(const ServedRequest& served);

std::string state_line(LineForm form, Time time, const EngineState& state);

// An event while the engine serves: normal work, or a problem.
std::string notice_line(LineForm form, Time time, const std::string& event, const std::string& text);

// "ready" or "failed". The plain form carries no time: scripts compare the whole line.
std::string start_line(LineForm form, Time time, const std::string& event, const std::string& text);

}  // namespace mar::standin
