// Payloads as tests write them: short where most bytes are zero, and right on hosts of either byte order.
#pragma once

#include <algorithm>
#include <bit>
#include <cstdint>
#include <span>
#include <sstream>
#include <string>

inline std::string hex_of(std::span<const uint8_t> bytes) {
  std::string hex;
  for (const uint8_t byte : bytes) hex += {"0123456789abcdef"[byte >> 4], "0123456789abcdef"[byte & 15]};
  return hex;
}

// The hex of one piece of a payload. "0a0b" stands for these bytes, "@00000007" for a number in the host's
// byte order, "'text" for a text.
inline std::string hex_of_piece(const std::string& piece) {
  if (piece[0] == '\'') return hex_of({reinterpret_cast<const uint8_t*>(piece.data()) + 1, piece.size() - 1});
  if (piece[0] != '@') return piece;
  std::string number;
  for (size_t i = 1; i < piece.size(); i += 2) {
    const bool swap = std::endian::native == std::endian::little;
    number.insert(swap ? 0 : number.size(), piece, i, 2);
  }
  return number;
}

// The hex of `size` bytes, which are zero except for `pieces`. "4:0a0b 6:ff*20" puts the bytes 0a 0b at
// offset 4 and 20 bytes ff at offset 6.
inline std::string bytes_of(size_t size, const std::string& pieces) {
  std::string bytes(2 * size, '0');
  std::istringstream list(pieces);
  size_t offset = 0;
  for (char colon = 0; list >> offset >> colon;) {
    std::string piece;
    list >> piece;
    const size_t star = piece[0] == '\'' ? piece.size() : std::min(piece.find('*'), piece.size());
    const size_t times = star < piece.size() ? std::stoul(piece.substr(star + 1)) : 1;
    const std::string hex = hex_of_piece(piece.substr(0, star));
    for (size_t i = 0; i < times; ++i) bytes.replace(2 * offset + i * hex.size(), hex.size(), hex);
  }
  return bytes;
}
