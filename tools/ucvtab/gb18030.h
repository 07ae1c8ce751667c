// GB18030's numbering of its codes. Index 1 to 24066 are the two-byte codes, lead 0x81 to 0xFE and trail 0x40
// to 0xFE in order; from 24067 on the four-byte codes from 0x81 0x30 0x81 0x30 in order. Indices of the BMP
// stay below 65535, so they fit 16 bits.
#pragma once

#include "tools/ucvtab/code.h"

namespace ucvtab {

constexpr uint32_t kFirstFourByteIndex = 24067;
constexpr uint32_t kMaxGbIndex = 65534;
constexpr uint32_t kLastBmpIndex = 63486;  // 8431A439, which is U+FFFF; the next codes mean nothing

// 0 for a code that has no index a table can hold.
inline uint32_t gb_index(const Code& code) {
  const auto& b = code.bytes;
  if (code.length == 2 && b[0] >= 0x81 && b[0] <= 0xFE && b[1] >= 0x40 && b[1] <= 0xFE) {
    return (b[0] - 0x81u) * 191 + (b[1] - 0x40u) + 1;
  }
  if (code.length != 4 || b[0] < 0x81 || b[1] < 0x30 || b[1] > 0x39 || b[2] < 0x81 || b[2] > 0xFE ||
      b[3] < 0x30 || b[3] > 0x39) {
    return 0;
  }
  const uint32_t index = kFirstFourByteIndex + (b[0] - 0x81u) * 12600 + (b[1] - 0x30u) * 1260 +
                         (b[2] - 0x81u) * 10 + (b[3] - 0x30u);
  return index <= kMaxGbIndex ? index : 0;
}

// Whether the standard gives the code to a character of the BMP; every trail but 0x7F has one.
inline bool gb_is_bmp_code(const Code& code) {
  const uint32_t index = gb_index(code);
  return index != 0 && index <= kLastBmpIndex && (code.length != 2 || code.bytes[1] != 0x7F);
}

// The code of an index from 1 to kMaxGbIndex.
inline Code gb_code(uint32_t index) {
  if (index < kFirstFourByteIndex) return pair(0x81 + (index - 1) / 191, 0x40 + (index - 1) % 191);
  const uint32_t linear = index - kFirstFourByteIndex;
  return pair(0x81 + linear / 12600, 0x30 + linear / 1260 % 10)
      .with(0x81 + linear / 10 % 126)
      .with(0x30 + linear % 10);
}

// The four-byte code of a character from U+10000 on: no table has a say in it.
inline Code gb_supplementary_code(char32_t point) {
  const uint32_t linear = point - 0x10000;  // counted from 0x90 0x30 0x81 0x30
  return pair(0x90 + linear / 12600, 0x30 + linear / 1260 % 10)
      .with(0x81 + linear / 10 % 126)
      .with(0x30 + linear % 10);
}

}  // namespace ucvtab
