// The tables built into the EBCDIC converters. One is code page 1047 (Latin-1 open systems), with both EBCDIC
// line ends, 0x15 and 0x25, read as U+000A. U+000A is written as 0x15; U+0085, which has 0x15 in the code
// page itself, is written as 0x6F ("?"). The other is the invariant set: the characters that have the same
// byte in every EBCDIC code page that the library serves.
#pragma once

#include <array>
#include <cstdint>

namespace mar::charset {
constexpr uint8_t kEbcdicQuestionMark = 0x6F;
}

extern "C" {
extern const std::array<uint16_t, 256> def_eb_to_ucs;
extern const std::array<uint8_t, 256> def_ucs_to_eb;    // by U+0000 to U+00FF
extern const std::array<uint8_t, 256> invar_ucs_to_eb;  // 1 for an invariant character
extern const std::array<uint8_t, 256> invar_eb_to_ucs;  // 1 for a byte whose character is invariant
}
