// Flat tables of the double-byte codesets and of GB18030: what the table file says, by code and by unit, so
// that a look-up is one load. They are built once enough text has been converted to pay for them, only for a
// verified table, and only within kFlatLimitBytes for the whole process; otherwise conversions read the table
// file. Building and using them is safe on several threads, as conversion is.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <new>

#include "charset/by_way_of_ucs2.h"
#include "charset/codeset.h"
#include "charset/unicode_text.h"

struct xcs_flat_tables {
  std::atomic<const uint16_t*> decoding{nullptr};  // a character by the lead less 0x80, then the trail
  std::atomic<const uint32_t*> encoding{nullptr};  // a code by unit
  // Input units converted so far, roughly: threads may lose some of each other's.
  std::atomic<uint32_t> decoded_units{0};
  std::atomic<uint32_t> encoded_units{0};
};

namespace mar::charset {

constexpr uint32_t kFlatWorth = 1 << 16;                     // units after which the tables pay
constexpr uint32_t kFlatLimitBytes = 16u << 20;              // of all codesets together
constexpr size_t kFlatCodes = 0x8000, kFlatUnits = 0x10000;  // entries of the two tables

// True for the kinds that have flat tables.
bool has_flat_tables(uint16_t kind);

// Frees both tables and the object. May be null.
void free_flat_tables(xcs_flat_tables* flat);

// Takes the bytes out of the limit, or returns false. return_flat_bytes() puts them back.
bool take_flat_bytes(uint32_t size_bytes);
void return_flat_bytes(uint32_t size_bytes);

// Returns the table in `slot`. If there is none yet, counts the units that are about to be converted and,
// once they are enough, builds it: fill(entries) sets all of them. Returns null if there is no table.
template <class Entry, class Fill>
const Entry* flat_table(std::atomic<const Entry*>& slot, std::atomic<uint32_t>& converted_units,
                        ptrdiff_t units, size_t entries, const Fill& fill) {
  const Entry* const built = slot.load(std::memory_order_acquire);
  if (built != nullptr) return built;
  const uint32_t so_far = converted_units.load(std::memory_order_relaxed);
  if (units < kFlatWorth - static_cast<ptrdiff_t>(so_far)) {
    if (units > 0) converted_units.store(so_far + static_cast<uint32_t>(units), std::memory_order_relaxed);
    return nullptr;
  }
  const auto size_bytes = static_cast<uint32_t>(entries * sizeof(Entry));
  if (!take_flat_bytes(size_bytes)) return nullptr;
  Entry* const table = new (std::nothrow) Entry[entries];
  if (table != nullptr) {
    fill(table);
    const Entry* expected = nullptr;
    if (slot.compare_exchange_strong(expected, table, std::memory_order_acq_rel)) return table;
    delete[] table;  // another thread was faster
  }
  return_flat_bytes(size_bytes);
  return slot.load(std::memory_order_acquire);
}

// The tables of a codeset for `units` more units of input, or null. Decoder and Encoder are those of the
// table file: what they say of each code of two bytes and of each unit goes into the flat tables. An entry
// for what is no such code, or lies past U+FFFF, leaves the answer to the decoder.
constexpr uint32_t kNoFlatEntry = 0;

template <class Decoder>
const uint16_t* flat_decoding(const xcs_cs_t& codeset, ptrdiff_t units) {
  if (codeset.flat == nullptr) return nullptr;
  return flat_table(
      codeset.flat->decoding, codeset.flat->decoded_units, units, kFlatCodes, [&](uint16_t* table) {
        Decoder decoder(codeset);
        for (uint32_t code = 0; code != kFlatCodes; ++code) {
          const uint8_t bytes[4] = {static_cast<uint8_t>(0x80 | code >> 8), static_cast<uint8_t>(code)};
          const auto character = decoder.template next<true>(bytes, nullptr);
          const bool fits = character.length == 2 && character.value <= UINT16_MAX;
          table[code] = static_cast<uint16_t>(fits ? character.value : kNoFlatEntry);
        }
      });
}

// An entry is the code as a number, its first byte the highest: one byte up to 0xFF, two up to 0xFFFF, else
// four.
template <class Encoder>
const uint32_t* flat_encoding(const xcs_cs_t& codeset, ptrdiff_t units) {
  if (codeset.flat == nullptr) return nullptr;
  return flat_table(codeset.flat->encoding, codeset.flat->encoded_units, units, kFlatUnits,
                    [&](uint32_t* table) {
                      Encoder encoder(codeset);
                      for (uint32_t unit = 0; unit != kFlatUnits; ++unit) {
                        uint8_t bytes[4];
                        const uint8_t* const end = encoder.template put<true>(bytes, nullptr, unit, nullptr);
                        table[unit] = 0;
                        for (const uint8_t* byte = bytes; byte != end; ++byte)
                          table[unit] = table[unit] << 8 | *byte;
                      }
                    });
}

// A decoder that asks the flat table first. Its codes are those of two bytes that begin with a byte from 0x80
// up; any other code is left to Decoder.
template <class Decoder>
class FlatDecoder : public Decoder {
 public:
  explicit FlatDecoder(const xcs_cs_t& codeset)
      : Decoder(codeset), table_(codeset.flat->decoding.load(std::memory_order_acquire)) {}

  template <bool kWhole>
  auto next(const uint8_t* in, const uint8_t* end) {
    if (in[0] < 0x80) return Character{in[0], 1};
    if (kWhole || end - in >= 2) {
      const uint32_t value = table_[(in[0] & 0x7Fu) << 8 | in[1]];
      if (value != kNoFlatEntry) return Character{value, 2};
    }
    return Decoder::template next<kWhole>(in, end);
  }

 private:
  const uint16_t* table_;
};

// An encoder that asks the flat table. Characters from U+10000 up are left to Encoder.
template <class Encoder>
class FlatEncoder : public Encoder {
 public:
  // A single byte is stored as two. The next code replaces the second one, so it must fit.
  static constexpr ptrdiff_t kSlack = Encoder::kLongest;

  explicit FlatEncoder(const xcs_cs_t& codeset)
      : Encoder(codeset), table_(codeset.flat->encoding.load(std::memory_order_acquire)) {}

  template <bool kRoomy>
  uint8_t* put(uint8_t* out, const uint8_t* end, uint32_t value, const void* after) {
    if (Encoder::kSupplementary && value >= kFlatUnits)
      return Encoder::template put<kRoomy>(out, end, value, after);
    const uint32_t code = table_[value];
    const bool is_single = code <= 0xFF;
    const ptrdiff_t room = kRoomy ? Encoder::kLongest : end - out;
    if (Encoder::kLongest > 2 && code > 0xFFFF) {
      if (room < 4) return nullptr;
      *out++ = static_cast<uint8_t>(code >> 24);
      *out++ = static_cast<uint8_t>(code >> 16);
    }
    if (!kRoomy && is_single) {
      *out = static_cast<uint8_t>(code);
      return out + 1;
    }
    if (room < 2) return nullptr;
    // One byte or two without a branch: text that mixes them would often have it mispredicted.
    const uint32_t more = is_single ? 0 : 1;
    out[0] = static_cast<uint8_t>(code >> 8 * more);
    out[1] = static_cast<uint8_t>(code);
    return out + 1 + more;
  }

 private:
  const uint32_t* table_;
};

// The entry points of to_unicode() and from_unicode() for families with flat tables.
template <template <bool> class Decoder, class OutChar>
static int to_unicode_flat(xcs_cs_t* codeset, const char** in, const char* in_end, OutChar** out,
                           OutChar* out_end) {
  if (codeset->verified != 0 && !is_reset(in) &&
      flat_decoding<Decoder<true>>(*codeset, in_end - *in) != nullptr) {
    using Flat = FlatDecoder<Decoder<true>>;
    if constexpr (sizeof(OutChar) == 1 && !Flat::kSupplementary) {
      if (in_end - *in > kShortText && *out < out_end) {
        Flat decoder(*codeset);
        to_utf8_by_ucs2(decoder, *in, in_end, *out, out_end);
      }
    }
    return to_unicode<Flat>(codeset, in, in_end, out, out_end);
  }
  return to_unicode<Decoder>(codeset, in, in_end, out, out_end);
}

template <template <bool> class Encoder, class InChar>
static int from_unicode_flat(xcs_cs_t* codeset, const InChar** in, const InChar* in_end, char** out,
                             char* out_end) {
  if (codeset->verified != 0 && !is_reset(in) &&
      flat_encoding<Encoder<true>>(*codeset, in_end - *in) != nullptr) {
    using Flat = FlatEncoder<Encoder<true>>;
    if constexpr (sizeof(InChar) == 1) {
      if (in_end - *in > kShortText && *out < out_end) {
        UnicodeReader<InChar, Flat::kSupplementary> reader;
        Flat encoder(*codeset);
        from_utf8_by_ucs2(reader, encoder, *in, in_end, *out, out_end);
      }
    }
    return from_unicode<Flat>(codeset, in, in_end, out, out_end);
  }
  return from_unicode<Encoder>(codeset, in, in_end, out, out_end);
}

}  // namespace mar::charset
