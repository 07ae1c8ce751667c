// Payloads as tests write them down: short for mostly zero bytes, and right on machines of either byte order.
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

// One piece of a payload, as hex: "0a0b" is these bytes, "@00000007" a number in the host's byte order,
// "'text" a text.
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

// `size` zero bytes but for `pieces`, as hex. "4:0a0b 6:ff*20" is: at offset 4 the bytes 0a 0b, from offset 6
// on 20 times the byte ff.
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
