// GB18030's numbers for its codes. The two-byte codes have the indexes 1 to 24066, lead byte by lead byte
// with 191 trail bytes each; the four-byte codes follow in linear order. A table maps the indexes of the BMP,
// which stay below 65535. Characters from U+10000 up follow from their code by arithmetic.
#pragma once

#include <array>
#include <cstdint>

namespace mar::charset {

constexpr uint32_t kGbTrails = 191;  // two-byte codes of one lead byte, the unused trail 7F included
constexpr uint32_t kGbFirstFourByte =
    24067;  // index of 81308130, the four-byte code with the linear number 0
constexpr uint32_t kGbSupplementary =
    123464;  // linear number of a character from U+10000 up, less the character

constexpr uint32_t kGbNoNumber = UINT32_MAX;  // above all linear numbers

// Whether a byte counts as the second one of a four-byte code: 0x3A to 0x3F do, too, although no code has
// them.
constexpr bool is_gb_digit(uint32_t byte) { return (byte & 0xF0) == 0x30; }

// The character from U+10000 up of a linear number, or 0.
constexpr uint32_t gb_supplementary(uint32_t linear) {
  const uint32_t character = linear - kGbSupplementary;
  return character - 0x10000 <= 0xFFFFF ? character : 0;
}

// `index` is 1 to 24066.
constexpr std::array<uint8_t, 2> gb_two_bytes(uint32_t index) {
  return {static_cast<uint8_t>(0x81 + (index - 1) / kGbTrails),
          static_cast<uint8_t>(0x40 + (index - 1) % kGbTrails)};
}

// Each byte keeps its low 8 bits: numbers past U+10FFFF, which four bytes of UTF-8 can hold, have no code.
constexpr std::array<uint8_t, 4> gb_four_bytes(uint32_t linear) {
  return {static_cast<uint8_t>(0x81 + linear / 12600), static_cast<uint8_t>(0x30 + linear / 1260 % 10),
          static_cast<uint8_t>(0x81 + linear / 10 % 126), static_cast<uint8_t>(0x30 + linear % 10)};
}

}  // namespace mar::charset
