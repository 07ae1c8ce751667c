// One line of text, plain or JSON, for each request, for the engine's state and for events. A line is
// printable ASCII without a line end, whatever a request holds.
#pragma once

#include <cstdint>
#include <string>

#include "contract/message.h"
#include "standin/engine_state.h"

namespace mar::standin {

enum class LineForm { kPlain, kJson };

// request 7 from 4711/4711: remove-edge-policy policy=3 -> -4
//   number  of the request since the start, from 1
//   remark  what is special about it, such as a fault; may be empty
std::string request_line(LineForm form, uint64_t number, const TCLIMessage& request, int32_t result,
                         const std::string& remark);

std::string state_line(LineForm form, const EngineState& state);

// An event other than a request: "ready", or what went wrong.
std::string notice_line(LineForm form, const std::string& event, const std::string& text);

}  // namespace mar::standin
