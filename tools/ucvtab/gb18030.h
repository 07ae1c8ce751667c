// The GB18030 codes of the table compiler. charset/gb18030.h tells how they are numbered.
#pragma once

#include "charset/gb18030.h"
#include "tools/ucvtab/code.h"

namespace ucvtab {

using mar::charset::kGbFirstFourByte;

constexpr uint32_t kMaxGbIndex = 65534;    // of the 16 bits that a table has
constexpr uint32_t kLastBmpIndex = 63486;  // 8431A439, which is U+FFFF; the next codes mean nothing

// 0 for a code that has no index a table can hold.
inline uint32_t gb_index(const Code& code) {
  const auto& b = code.bytes;
  if (code.length == 2 && b[0] >= 0x81 && b[0] <= 0xFE && b[1] >= 0x40 && b[1] <= 0xFE) {
    return (b[0] - 0x81u) * mar::charset::kGbTrails + (b[1] - 0x40u) + 1;
  }
  if (code.length != 4 || b[0] < 0x81 || b[1] < 0x30 || b[1] > 0x39 || b[2] < 0x81 || b[2] > 0xFE ||
      b[3] < 0x30 || b[3] > 0x39) {
    return 0;
  }
  const uint32_t index = kGbFirstFourByte + (b[0] - 0x81u) * 12600 + (b[1] - 0x30u) * 1260 +
                         (b[2] - 0x81u) * 10 + (b[3] - 0x30u);
  return index <= kMaxGbIndex ? index : 0;
}

// Whether the standard gives the code to a character of the BMP; every trail but 0x7F has one.
inline bool gb_is_bmp_code(const Code& code) {
  const uint32_t index = gb_index(code);
  return index != 0 && index <= kLastBmpIndex && (code.length != 2 || code.bytes[1] != 0x7F);
}

inline Code gb_four_byte_code(uint32_t linear) {
  Code code;
  code.bytes = mar::charset::gb_four_bytes(linear);
  code.length = 4;
  return code;
}

// The code of an index from 1 to kMaxGbIndex.
inline Code gb_code(uint32_t index) {
  if (index >= kGbFirstFourByte) return gb_four_byte_code(index - kGbFirstFourByte);
  const auto bytes = mar::charset::gb_two_bytes(index);
  return pair(bytes[0], bytes[1]);
}

// The four-byte code of a character from U+10000 up, which no table decides.
inline Code gb_supplementary_code(char32_t point) {
  return gb_four_byte_code(point + mar::charset::kGbSupplementary);
}

}  // namespace ucvtab
