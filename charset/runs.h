// Runs of characters that need no decision of their own: ASCII, and the characters that UTF-8 writes in two
// bytes.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

namespace mar::charset {

constexpr ptrdiff_t kRun = 8;  // units that are tested and copied at a time

inline uint64_t load_word(const void* at) {
  uint64_t word;
  std::memcpy(&word, at, sizeof word);
  return word;
}

// One value in each of the four 16-bit lanes of a word.
constexpr uint64_t in_lanes(uint64_t value) { return value * 0x0001000100010001u; }

// Index in memory of the first byte with a bit set; 8 if there is none.
inline ptrdiff_t first_set_byte(uint64_t bytes) {
  return (std::endian::native == std::endian::little ? std::countr_zero(bytes) : std::countl_zero(bytes)) / 8;
}

// Whether no unit of the run has any of `stop_bits`.
inline bool is_run_without(uint8_t stop_bits, const uint8_t* in) {
  return (load_word(in) & 0x0101010101010101u * stop_bits) == 0;
}

inline bool is_run_without(uint16_t stop_bits, const uint16_t* in) {
  return ((load_word(in) | load_word(in + kRun / 2)) & in_lanes(stop_bits)) == 0;
}

// The bits that are clear in every ASCII unit.
template <class Unit>
constexpr Unit kNonAscii = static_cast<Unit>(~0x7F);

template <class Unit>
inline bool is_ascii_run(const Unit* in) {
  return is_run_without(kNonAscii<Unit>, in);
}

// How many units at the front of the run are below 0x80.
inline ptrdiff_t leading_ascii(const uint8_t* in) {
  return first_set_byte(load_word(in) & 0x8080808080808080u);
}

inline ptrdiff_t leading_ascii(const uint16_t* in) {
  const uint64_t first = load_word(in) & in_lanes(0xFF80);
  const uint64_t second = load_word(in + kRun / 2) & in_lanes(0xFF80);
  return first != 0 ? first_set_byte(first) / 2 : kRun / 2 + first_set_byte(second) / 2;
}

// The compiler's vectors widen, narrow or copy the eight units in a few instructions on every machine.
template <class In, class Out>
inline void copy_run(const In* in, Out* out) {
  using InRun [[gnu::vector_size(kRun * sizeof(In))]] = In;
  using OutRun [[gnu::vector_size(kRun * sizeof(Out))]] = Out;
  InRun run;
  std::memcpy(&run, in, sizeof run);
  const OutRun converted = __builtin_convertvector(run, OutRun);
  std::memcpy(out, &converted, sizeof converted);
}

// Copies the runs at the front in which no unit has any of `stop_bits`.
template <class In, class Out>
inline void copy_runs(In stop_bits, const In*& in, const In* in_end, Out*& out, const Out* out_end) {
  // Two runs a turn keep wide loads and stores busy.
  for (ptrdiff_t room = std::min(in_end - in, out_end - out); room >= 2 * kRun; room -= 2 * kRun) {
    if (!is_run_without(stop_bits, in) || !is_run_without(stop_bits, in + kRun)) break;
    copy_run(in, out);
    copy_run(in + kRun, out + kRun);
    in += 2 * kRun;
    out += 2 * kRun;
  }
  if (std::min(in_end - in, out_end - out) >= kRun && is_run_without(stop_bits, in)) {
    copy_run(in, out);
    in += kRun;
    out += kRun;
  }
}

// Up to four characters that UTF-8 writes in two bytes, U+0080 to U+07FF, as UCS-2 units in memory order.
// Lanes past `count` are arbitrary. Each lane takes its two UTF-8 bytes as one number, which has the right
// byte order on little-endian machines only; elsewhere the loop does without pairs.
struct Pairs {
  static constexpr ptrdiff_t kMost = 4;
  static constexpr bool kUsed = std::endian::native == std::endian::little;
  uint64_t units;
  ptrdiff_t count;
};

// Sets the highest bit of each lane whose value is below `limit`. The values are at most 0x7FFF.
constexpr uint64_t lanes_below(uint64_t limit, uint64_t lanes) {
  return ~(lanes + in_lanes(0x8000 - limit)) & in_lanes(0x8000);
}

}  // namespace mar::charset
