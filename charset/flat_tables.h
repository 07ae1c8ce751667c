// Flat tables of the double-byte codesets and of GB18030: what the table file says, by code and by unit, so
// that a look-up is one load. They are built once enough text has been converted to pay for them, only for a
// verified table, and only within kFlatLimitBytes for the whole process; otherwise conversions read the table
// file. Building and using them is safe on several threads, as conversion is.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>

#include "charset/by_codes.h"
#include "charset/codeset.h"
#include "charset/gb18030.h"
#include "charset/unicode_text.h"

struct xcs_flat_tables {
  std::atomic<const uint16_t*> decoding{nullptr};  // a character by code
  std::atomic<const uint16_t*> encoding{nullptr};  // a code by unit: its first two bytes
  // For GB18030, which has codes of four bytes: a character by such a code, and the last two bytes by unit.
  std::atomic<const uint16_t*> four_decoding{nullptr};
  std::atomic<const uint16_t*> four_encoding{nullptr};
  // Input units converted so far, roughly: threads may lose some of each other's.
  std::atomic<uint32_t> decoded_units{0};
  std::atomic<uint32_t> encoded_units{0};
};

namespace mar::charset {

constexpr uint32_t kFlatWorth = 1 << 16;         // units after which the tables pay
constexpr uint32_t kFlatLimitBytes = 16u << 20;  // of all codesets together
constexpr size_t kFlatEntries = 0x10000;         // of each table
constexpr uint32_t kFlatBytes = kFlatEntries * sizeof(uint16_t);

// True for the kinds that have flat tables.
bool has_flat_tables(uint16_t kind);

// Frees the tables and the object. May be null.
void free_flat_tables(xcs_flat_tables* flat);

// Takes the bytes out of the limit, or returns false. return_flat_bytes() puts them back.
bool take_flat_bytes(uint32_t size_bytes);
void return_flat_bytes(uint32_t size_bytes);

// Returns the table in `slot`. If there is none yet, counts the units that are about to be converted and,
// once they are enough, builds it: fill(table) sets its entries. Returns null if there is no table.
template <class Fill>
const uint16_t* flat_table(std::atomic<const uint16_t*>& slot, std::atomic<uint32_t>& converted_units,
                           ptrdiff_t units, const Fill& fill) {
  const uint16_t* const built = slot.load(std::memory_order_acquire);
  if (built != nullptr) return built;
  const uint32_t so_far = converted_units.load(std::memory_order_relaxed);
  if (units < kFlatWorth - static_cast<ptrdiff_t>(so_far)) {
    if (units > 0) converted_units.store(so_far + static_cast<uint32_t>(units), std::memory_order_relaxed);
    return nullptr;
  }
  if (!take_flat_bytes(kFlatBytes)) return nullptr;
  uint16_t* const table = new (std::nothrow) uint16_t[kFlatEntries];
  if (table != nullptr) {
    fill(table);
    const uint16_t* expected = nullptr;
    if (slot.compare_exchange_strong(expected, table, std::memory_order_acq_rel)) return table;
    delete[] table;  // another thread was faster
  }
  return_flat_bytes(kFlatBytes);
  return slot.load(std::memory_order_acquire);
}

// A table of a codeset for `units` more units of input, or null. Decoder and Encoder are those of the
// table file: what they say of each code and of each unit goes into the flat tables.

// By the code as a number, its first byte the highest. There is no entry for what is no such code or lies
// past U+FFFF, and those from 0x100 to 0x7FFF are not set.
template <class Decoder>
const uint16_t* flat_decoding(const xcs_cs_t& codeset, ptrdiff_t units) {
  return flat_table(codeset.flat->decoding, codeset.flat->decoded_units, units, [&](uint16_t* table) {
    Decoder decoder(codeset);
    const auto set = [&](uint32_t code, uint32_t length) {
      const auto last = static_cast<uint8_t>(code);
      const uint8_t bytes[4] = {length == 1 ? last : static_cast<uint8_t>(code >> 8), last};
      const Character character = decoder.template next<true>(bytes, nullptr);
      const bool fits = character.length == length && character.value <= UINT16_MAX;
      table[code] = static_cast<uint16_t>(fits ? character.value : kNoFlatEntry);
    };
    for (uint32_t code = 0; code != 0x100; ++code) set(code, 1);
    for (uint32_t code = 0x8000; code != kFlatEntries; ++code) set(code, 2);
  });
}

// For GB18030. By the linear number of a code of four bytes, and kFoursBegin.
template <class Decoder>
const uint16_t* flat_four_decoding(const xcs_cs_t& codeset, ptrdiff_t units) {
  const auto fill = [&](uint16_t* table) {
    Decoder decoder(codeset);
    for (uint32_t index = 0; index != kFlatEntries; ++index) {
      const auto code = gb_four_bytes(index - kFoursBegin);
      const bool is_ascii = index < kFoursBegin;
      const uint32_t value = is_ascii ? index : decoder.template next<true>(code.data(), nullptr).value;
      table[index] = static_cast<uint16_t>(value <= UINT16_MAX ? value : kNoFlatEntry);
    }
  };
  return flat_table(codeset.flat->four_decoding, codeset.flat->decoded_units, units, fill);
}

// Bytes of a code by its number from the encoding table, which has the first byte lowest. Of GB18030's codes
// those of four bytes are known by their second one.
template <class Encoder>
constexpr ptrdiff_t flat_code_bytes(uint16_t code) {
  if (Encoder::kLongest > 2 && has_digit(code)) return 4;
  return code > 0xFF ? 2 : 1;
}

// What the encoder says of each unit: set(unit, bytes, length).
template <class Encoder, class Set>
void encode_all(const xcs_cs_t& codeset, const Set& set) {
  Encoder encoder(codeset);
  for (uint32_t unit = 0; unit != kFlatEntries; ++unit) {
    uint8_t bytes[4];
    const ptrdiff_t length = encoder.template put<true>(bytes, nullptr, unit, nullptr) - bytes;
    set(unit, bytes, length);
  }
}

// There is no entry for a code whose number would not tell its length, nor for surrogates where they make
// pairs.
template <class Encoder>
const uint16_t* flat_encoding(const xcs_cs_t& codeset, ptrdiff_t units) {
  const auto fill = [&](uint16_t* table) {
    encode_all<Encoder>(codeset, [&](uint32_t unit, const uint8_t* bytes, ptrdiff_t length) {
      const auto code = static_cast<uint16_t>(bytes[0] | (length > 1 ? bytes[1] << 8 : 0));
      const bool is_half = Encoder::kSupplementary && unit >> 11 == 0xD800 >> 11;
      table[unit] = is_half || flat_code_bytes<Encoder>(code) != length ? kNoFlatEntry : code;
    });
  };
  return flat_table(codeset.flat->encoding, codeset.flat->encoded_units, units, fill);
}

// For GB18030. Zeros for shorter codes.
template <class Encoder>
const uint16_t* flat_four_encoding(const xcs_cs_t& codeset, ptrdiff_t units) {
  const auto fill = [&](uint16_t* table) {
    encode_all<Encoder>(codeset, [&](uint32_t unit, const uint8_t* bytes, ptrdiff_t length) {
      table[unit] = static_cast<uint16_t>(length == 4 ? bytes[2] | bytes[3] << 8 : 0);
    });
  };
  return flat_table(codeset.flat->four_encoding, codeset.flat->encoded_units, units, fill);
}

// A decoder that asks the flat tables first. What has no entry there is left to Decoder, in a function of its
// own: the loops are faster without it in their middle.
template <class Decoder>
class FlatDecoder : public ConverterSide<uint8_t, Decoder::kLongest, true> {
 public:
  static constexpr bool kSupplementary = Decoder::kSupplementary;

  explicit FlatDecoder(const xcs_cs_t& codeset)
      : codeset_(&codeset),
        table_(codeset.flat->decoding.load(std::memory_order_acquire)),
        fours_(codeset.flat->four_decoding.load(std::memory_order_acquire)) {}

  template <bool kWhole>
  Character next(const uint8_t* in, const uint8_t* end) const {
    if (in[0] < 0x80) return {in[0], 1};
    if (kWhole || end - in >= 2) {
      const uint32_t value = table_[in[0] << 8 | in[1]];
      if (value != kNoFlatEntry) return {value, 2};
    }
    const uint32_t single = table_[in[0]];
    if (single != kNoFlatEntry) return {single, 1};
    if constexpr (kSupplementary) {
      const uint32_t number = kWhole || end - in >= 4 ? Decoder::four_byte_number(in) : kGbNoNumber;
      const bool is_short = number < kFlatEntries - kFoursBegin;
      const uint32_t value = is_short ? fours_[number + kFoursBegin] : gb_supplementary(number);
      if (value != kNoFlatEntry) return {value, 4};
    }
    return by_file<kWhole>(*codeset_, in, end);
  }

  CodeTables tables() const { return {table_, fours_}; }

 private:
  template <bool kWhole>
  [[gnu::noinline]] static Character by_file(const xcs_cs_t& codeset, const uint8_t* in, const uint8_t* end) {
    return Decoder(codeset).template next<kWhole>(in, end);
  }

  const xcs_cs_t* codeset_;
  const uint16_t* table_;
  const uint16_t* fours_;
};

// An encoder that asks the flat tables first, likewise.
template <class Encoder>
class FlatEncoder : public ConverterSide<uint8_t, Encoder::kLongest, true> {
 public:
  static constexpr bool kSupplementary = Encoder::kSupplementary;

  // A single byte is stored as two. The next code replaces the second one, so it must fit.
  static constexpr ptrdiff_t kSlack = Encoder::kLongest;

  explicit FlatEncoder(const xcs_cs_t& codeset)
      : codeset_(&codeset),
        table_(codeset.flat->encoding.load(std::memory_order_acquire)),
        fours_(codeset.flat->four_encoding.load(std::memory_order_acquire)) {}

  template <bool kRoomy>
  uint8_t* put(uint8_t* out, const uint8_t* end, uint32_t value, const void* after) const {
    if constexpr (kSupplementary) {
      if (value >= kFlatEntries)
        return Encoder::template put_four<kRoomy>(out, end, value + kGbSupplementary);
    }
    const uint16_t code = table_[value];
    if (code == kNoFlatEntry) return by_file<kRoomy>(*codeset_, out, end, value, after);
    if (kSupplementary && has_digit(code)) {
      if (!kRoomy && end - out < 4) return nullptr;
      put_two(out, code);
      put_two(out + 2, fours_[value]);
      return out + 4;
    }
    const bool is_single = code <= 0xFF;
    if (!kRoomy && is_single) {
      *out = static_cast<uint8_t>(code);
      return out + 1;
    }
    if (!kRoomy && end - out < 2) return nullptr;
    // One byte or two without a branch: text that mixes them would often have it mispredicted.
    put_two(out, code);
    return out + (is_single ? 1 : 2);
  }

  CodeTables tables() const { return {table_, fours_}; }

 private:
  static void put_two(uint8_t* out, uint16_t code) {
    out[0] = static_cast<uint8_t>(code);
    out[1] = static_cast<uint8_t>(code >> 8);
  }

  template <bool kRoomy>
  [[gnu::noinline]] static uint8_t* by_file(const xcs_cs_t& codeset, uint8_t* out, const uint8_t* end,
                                            uint32_t value, const void* after) {
    return Encoder(codeset).template put<kRoomy>(out, end, value, after);
  }

  const xcs_cs_t* codeset_;
  const uint16_t* table_;
  const uint16_t* fours_;
};

// Whether the codeset has its flat tables, for `units` more units of input.
template <class Decoder>
bool has_flat_decoding(const xcs_cs_t& codeset, ptrdiff_t units) {
  if (codeset.verified == 0 || codeset.flat == nullptr) return false;
  if (Decoder::kSupplementary && flat_four_decoding<Decoder>(codeset, units) == nullptr) return false;
  return flat_decoding<Decoder>(codeset, units) != nullptr;
}

template <class Encoder>
bool has_flat_encoding(const xcs_cs_t& codeset, ptrdiff_t units) {
  if (codeset.verified == 0 || codeset.flat == nullptr) return false;
  if (Encoder::kSupplementary && flat_four_encoding<Encoder>(codeset, units) == nullptr) return false;
  return flat_encoding<Encoder>(codeset, units) != nullptr;
}

// The entry points of to_unicode() and from_unicode() for families with flat tables.
template <template <bool> class Decoder, class OutChar>
static int to_unicode_flat(xcs_cs_t* codeset, const char** in, const char* in_end, OutChar** out,
                           OutChar* out_end) {
  if (!is_reset(in) && has_flat_decoding<Decoder<true>>(*codeset, in_end - *in)) {
    using Flat = FlatDecoder<Decoder<true>>;
    if (in_end - *in > kShortText && *out < out_end) {
      Flat decoder(*codeset);
      decode_by_codes(decoder, *in, in_end, *out, out_end);
    }
    return to_unicode<Flat>(codeset, in, in_end, out, out_end);
  }
  return to_unicode<Decoder>(codeset, in, in_end, out, out_end);
}

template <template <bool> class Encoder, class InChar>
static int from_unicode_flat(xcs_cs_t* codeset, const InChar** in, const InChar* in_end, char** out,
                             char* out_end) {
  if (!is_reset(in) && has_flat_encoding<Encoder<true>>(*codeset, in_end - *in)) {
    using Flat = FlatEncoder<Encoder<true>>;
    if (in_end - *in > kShortText && *out < out_end) {
      Flat encoder(*codeset);
      encode_by_codes(encoder, *in, in_end, *out, out_end);
    }
    return from_unicode<Flat>(codeset, in, in_end, out, out_end);
  }
  return from_unicode<Encoder>(codeset, in, in_end, out, out_end);
}

}  // namespace mar::charset
