// The messages that the engine knows: their names in output and options, and the payload size each must have.
#pragma once

#include <cstdint>
#include <cstring>
#include <span>
#include <string_view>

#include "contract/byte_order.h"
#include "contract/message.h"

struct MessageInfo {
  const char* name;
  uint32_t code;
  int32_t payload_size_bytes;  // exactly; kAnyPayload: not looked at
};
inline constexpr int32_t kAnyPayload = -1;

std::span<const MessageInfo> known_messages();

// Null for a code that the engine does not support.
const MessageInfo* find_message(uint32_t code);
const MessageInfo* find_message(std::string_view name);

// The record carries its code as four big-endian bytes.
inline uint32_t message_code(const TCLIMessage& record) {
  uint8_t bytes[sizeof(record.command)];
  std::memcpy(bytes, &record.command, sizeof(bytes));
  return get_be32(bytes);
}

// The payload as one of the structs of contract/payloads.h; the caller has checked that it has this size.
template <typename Payload>
Payload payload_of(const TCLIMessage& record) {
  static_assert(sizeof(Payload) <= CLI_MAX_BUFFER_SIZE);
  Payload payload;
  std::memcpy(&payload, record.data, sizeof(payload));
  return payload;
}
