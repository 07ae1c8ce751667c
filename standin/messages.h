// The messages that the engine knows, one row each: name, code, payload size, what it
// does and how it is shown.
#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <span>
#include <string_view>

#include "contract/message.h"
#include "standin/engine_state.h"

namespace mar::standin {

using Json = nlohmann::ordered_json;

struct Message {
  const char* name;  // in output and options
  uint32_t code;
  int32_t payload_size_bytes;  // exactly; kAnyPayload if it is not checked

  // Both are for well-formed requests only.
  int32_t (*apply)(EngineState& state, const TCLIMessage& request);  // see decide() for the result
  Json (*describe)(const TCLIMessage& request);                      // the payload's fields by name
};
inline constexpr int32_t kAnyPayload = -1;

std::span<const Message> known_messages();

// Null for a message that the engine does not support.
const Message* find_message(uint32_t code);
const Message* find_message(std::string_view name);

// Whether `request` is a single record with the payload size that `message` requires.
bool is_well_formed(const Message& message, const TCLIMessage& request);

// The record carries its code as four big-endian bytes.
uint32_t message_code(const TCLIMessage& record);

}  // namespace mar::standin
