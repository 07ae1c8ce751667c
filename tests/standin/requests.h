// Requests as a client sends them.
#pragma once

#include <unistd.h>

#include <cstring>

#include "contract/byte_order.h"
#include "contract/message.h"

namespace mar::standin {

inline TCLIMessage request_of(uint32_t code, const void* payload = nullptr, int32_t length = 0) {
  TCLIMessage record{};
  put_be32(reinterpret_cast<uint8_t*>(&record.command), code);
  if (length > 0 && length <= CLI_MAX_BUFFER_SIZE)
    std::memcpy(record.data, payload, static_cast<size_t>(length));
  record.length = length;
  record.sender = {static_cast<uint32_t>(getpid()), 70};
  return record;
}

template <typename Payload>
TCLIMessage request_of(uint32_t code, const Payload& payload) {
  return request_of(code, &payload, sizeof(payload));
}

}  // namespace mar::standin
