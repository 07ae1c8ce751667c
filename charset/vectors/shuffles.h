// Controls of byte shuffles, computed at compile time: each moves the bytes of a register that count to its
// front. SSE41, AVX2 and NEON share them.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "charset/vectors.h"

namespace mar::charset {

constexpr uint8_t kClearByte = 0x80;  // a shuffle's control for a zero

struct alignas(16) Shuffle {
  std::array<uint8_t, 16> control;
};
using Shuffles = std::array<Shuffle, 256>;  // by eight mask bits, the first lane's lowest

// What one shuffle and its store take: kernels.h says of what.
constexpr ptrdiff_t kUnitsPart = 8;
constexpr ptrdiff_t kBytesPart = 8;
constexpr ptrdiff_t kWordsPart = 16;

constexpr ptrdiff_t kMostMargin = kKernelMargin;
constexpr bool kMasksEnds = false;

// For so many lanes of `lane_bytes`: of each lane, bytes(bits) bytes count, from its first one. The mask bits
// of a lane are `bits`.
template <class Bytes>
constexpr Shuffles compressing_shuffles(uint32_t lanes, uint32_t lane_bytes, const Bytes& bytes) {
  const uint32_t lane_bits = 8 / lanes;
  Shuffles shuffles{};
  for (uint32_t mask = 0; mask != 256; ++mask) {
    auto& control = shuffles[mask].control;
    control.fill(kClearByte);
    uint32_t used = 0;
    for (uint32_t lane = 0; lane != lanes; ++lane) {
      const uint32_t bits = mask >> lane * lane_bits & ((1u << lane_bits) - 1);
      for (uint32_t byte = 0; byte != bytes(bits); ++byte)
        control[used++] = static_cast<uint8_t>(lane * lane_bytes + byte);
    }
  }
  return shuffles;
}

// Eight lanes of one byte, or of two: keeps the lanes whose bit is set.
inline constexpr Shuffles kKeepBytes = compressing_shuffles(8, 1, [](uint32_t bit) { return bit; });
inline constexpr Shuffles kKeepUnits = compressing_shuffles(8, 2, [](uint32_t bit) { return 2 * bit; });

// Eight lanes of two bytes: keeps one byte of each, and the second where the bit is set.
inline constexpr Shuffles kKeepOneOrTwo = compressing_shuffles(8, 2, [](uint32_t bit) { return 1 + bit; });

// Four lanes of four bytes, two bits each: keeps one byte, a second and a third for each bit that is set. The
// bits are set from the lower one up.
inline constexpr Shuffles kKeepOneToThree =
    compressing_shuffles(4, 4, [](uint32_t bits) { return 1 + (bits & 1) + (bits >> 1); });

// The same, but both bits stand for four bytes.
inline constexpr Shuffles kKeepOneTwoOrFour =
    compressing_shuffles(4, 4, [](uint32_t bits) { return 1 + (bits & 1) + (bits & 2); });
constexpr uint32_t kSecondBits = 0xAAAAAAAA;  // of all lanes

}  // namespace mar::charset
