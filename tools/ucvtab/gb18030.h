// The GB18030 codes of the table compiler. charset/gb18030.h tells how they are numbered.
#pragma once

#include "charset/gb18030.h"
#include "tools/ucvtab/codeset.h"

namespace mar::ucvtab {

constexpr uint32_t kMaxGbIndex = 65534;         // the largest that a table can hold
constexpr uint32_t kUnmappedMarkIndex = 63486;  // 8431A439, U+FFFF, which no table decodes
constexpr uint32_t kSupplementaryIndex = kGbFirstFourByte + kGbSupplementary + 0x10000;  // of U+10000

// The index of a code, 0 for a malformed one.
inline uint32_t gb_index(const Code& code) {
  const auto& b = code.bytes;
  const auto in = [&](unsigned i, unsigned first, unsigned last) { return b[i] >= first && b[i] <= last; };
  if (!in(0, 0x81, 0xFE)) return 0;
  if (code.length == 2) return in(1, 0x40, 0xFE) ? (b[0] - 0x81u) * kGbTrails + (b[1] - 0x40u) + 1 : 0;
  if (code.length != 4 || !in(1, 0x30, 0x39) || !in(2, 0x81, 0xFE) || !in(3, 0x30, 0x39)) return 0;
  return kGbFirstFourByte + (b[0] - 0x81u) * 12600 + (b[1] - 0x30u) * 1260 + (b[2] - 0x81u) * 10 +
         (b[3] - 0x30u);
}

// The code of an index from 1 on.
inline Code gb_code(uint32_t index) {
  if (index >= kGbFirstFourByte) return {4, gb_four_bytes(index - kGbFirstFourByte)};
  const auto bytes = gb_two_bytes(index);
  return pair(bytes[0], bytes[1]);
}

// Whether the code stands for a character of the BMP that a table can decode. Every trail but 0x7F has one.
inline bool gb_is_bmp_code(const Code& code) {
  const uint32_t index = gb_index(code);
  return index != 0 && index < kUnmappedMarkIndex && (code.length != 2 || code.bytes[1] != 0x7F);
}

// The four-byte codes of the characters from U+10000 on need no table. For a code that stands for none the
// result is 0.
inline Code gb_supplementary_code(char32_t point) { return gb_code(kSupplementaryIndex + (point - 0x10000)); }
inline char32_t gb_supplementary_point(const Code& code) {
  const uint32_t beyond = gb_index(code) - kSupplementaryIndex;  // wraps below the first of them
  return beyond > 0xFFFFF ? 0 : 0x10000 + beyond;
}

}  // namespace mar::ucvtab
