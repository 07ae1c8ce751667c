// The big-endian numbers of request and reply headers. Everything else in the contract is in host byte order.
#pragma once

#include <cstdint>

namespace mar {

// Writes `value` at `out`, most significant byte first; `out` needs 4 bytes and no alignment.
inline void put_be32(uint8_t* out, uint32_t value) {
  out[0] = static_cast<uint8_t>(value >> 24);
  out[1] = static_cast<uint8_t>(value >> 16);
  out[2] = static_cast<uint8_t>(value >> 8);
  out[3] = static_cast<uint8_t>(value);
}

// Reads the 4 bytes at `in`, most significant byte first.
inline uint32_t get_be32(const uint8_t* in) {
  return uint32_t{in[0]} << 24 | uint32_t{in[1]} << 16 | uint32_t{in[2]} << 8 | uint32_t{in[3]};
}

}  // namespace mar
