// What is worked out once of a single-byte codeset, when its table is loaded.
#pragma once

#include <array>
#include <cstdint>

// The mixed EBCDIC family uses only `to_unicode`.
struct xcs_single_rows {
  // The UTF-8 sequence of a character. The last byte is the sequence's length.
  using Sequence = std::array<uint8_t, 4>;

  bool latin1;               // each byte is its own UCS-2 value, and the other way round
  uint16_t to_unicode[256];  // "?" where unmapped; in the mixed EBCDIC family the bytes of single-byte mode
  Sequence to_utf8[256];
  uint8_t from_unicode[0x10000];

  // The way from a unit to its byte by tables so small that vector registers hold them; filled only for
  // codesets based on ASCII that are not latin1. The byte of a unit from 0x80 up is in the slot of the unit's
  // low byte plus the shift of its class, or in none: a slot may be free, which is 0, or hold the byte of
  // another unit.
  static constexpr uint32_t kClasses = 64;
  uint8_t class_shift[kClasses];
  uint8_t slot_byte[256];

  static constexpr uint32_t class_of(uint16_t unit) { return (unit >> 6 ^ unit >> 8) & (kClasses - 1); }
  uint8_t slot_of(uint16_t unit) const { return static_cast<uint8_t>(unit + class_shift[class_of(unit)]); }
};
