// The kernels of the levels that x86-64 processors have. Each level is a file of its own.
#pragma once

#include <cstdint>

namespace mar::charset {

namespace avx2 {
void utf8_to_ucs2(const uint8_t*& in, const uint8_t* in_end, uint16_t*& out, const uint16_t* out_end);
void ucs2_to_utf8(const uint16_t*& in, const uint16_t* in_end, uint8_t*& out, const uint8_t* out_end);
}  // namespace avx2

}  // namespace mar::charset
