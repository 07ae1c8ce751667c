// The Unicode side of the converters: readers and writers of UCS-2 and UTF-8, and the entry points of the
// members that a table family has. kAllPlanes is set for families with characters from U+10000 up. The others
// look at each UCS-2 unit by itself and do not know UTF-8 sequences of 4 bytes.
#pragma once

#include "charset/codeset.h"
#include "charset/transcode.h"

namespace mar::charset {

template <bool kAllPlanes>
struct Ucs2Reader : ConverterSide<uint16_t, kAllPlanes ? 2 : 1, true> {
  static constexpr ptrdiff_t kPairUnits = Pairs::kUsed ? 1 : 0;
  static constexpr bool latin1() { return true; }

  static Pairs pairs(const uint16_t* in) {
    const uint64_t units = load_word(in);
    const uint64_t no_pairs = (units & in_lanes(0xF800)) | lanes_below(0x80, units & in_lanes(0x07FF));
    return {units, first_set_byte(no_pairs) / 2};
  }

  template <bool kWhole>
  static Character next(const uint16_t* in, const uint16_t* end) {
    const uint32_t unit = in[0];
    if (!kAllPlanes || (unit & 0xF800) != 0xD800) return {unit, 1};
    if (unit >= 0xDC00) return {'?', 1};
    if (!kWhole && end - in < 2) return kCutCharacter;
    const uint32_t low = in[1];
    if ((low & 0xFC00) != 0xDC00)
      return {'?', 2};  // Kept as is: the unit after a lone high surrogate is lost, too.
    return {0x10000 + ((unit & 0x3FF) << 10 | (low & 0x3FF)), 2};
  }
};

// Following bytes are not checked and overlong forms pass. Only a byte that cannot lead a sequence becomes
// "?".
template <bool kAllPlanes>
struct Utf8Reader : ConverterSide<uint8_t, kAllPlanes ? 4 : 3, true> {
  static constexpr ptrdiff_t kPairUnits = Pairs::kUsed ? 2 : 0;

  static Pairs pairs(const uint8_t* in) {
    const uint64_t sequences = load_word(in);
    const uint64_t no_pairs = ((sequences & in_lanes(0xE0)) ^ in_lanes(0xC0)) |
                              lanes_below(0x02, sequences & in_lanes(0x1F));  // overlong
    const uint64_t units = (sequences & in_lanes(0x1F)) << 6 | (sequences >> 8 & in_lanes(0x3F));
    return {units, first_set_byte(no_pairs) / 2};
  }

  template <bool kWhole>
  static Character next(const uint8_t* in, const uint8_t* end) {
    const uint32_t lead = in[0];
    if (lead < 0x80) return {lead, 1};
    if (lead < 0xC0 || (kAllPlanes && lead >= 0xF8)) return {'?', 1};
    const ptrdiff_t left = kWhole ? Utf8Reader::longest() : end - in;
    if (lead < 0xE0) return left < 2 ? kCutCharacter : Character{(lead & 0x1F) << 6 | low6(in[1]), 2};
    if (!kAllPlanes || lead < 0xF0) {
      // Kept as is: without 4-byte sequences every lead from 0xE0 up starts three bytes, of whose value the
      // low 16 bits count.
      return left < 3 ? kCutCharacter : Character{(lead & 0x0F) << 12 | low6(in[1]) << 6 | low6(in[2]), 3};
    }
    if (left < 4) return kCutCharacter;
    return {(lead & 0x07) << 18 | low6(in[1]) << 12 | low6(in[2]) << 6 | low6(in[3]), 4};
  }

 private:
  static uint32_t low6(uint8_t byte) { return byte & 0x3Fu; }
};

template <bool kAllPlanes>
struct Ucs2Writer : ConverterSide<uint16_t, kAllPlanes ? 2 : 1, true> {
  static constexpr ptrdiff_t kPairUnits = 1;
  static constexpr bool latin1() { return true; }
  static void put_pairs(uint16_t* out, uint64_t units) { std::memcpy(out, &units, sizeof units); }
  static uint16_t unit(uint32_t value) { return static_cast<uint16_t>(value); }

  template <bool kRoomy>
  static uint16_t* put(uint16_t* out, const uint16_t* end, uint32_t value, const void*) {
    if (!kAllPlanes || value < 0x10000) {
      *out = static_cast<uint16_t>(value);
      return out + 1;
    }
    if (!kRoomy && end - out < 2) return nullptr;
    // Values above U+10FFFF, which UTF-8 of 4 bytes can hold, become two low surrogates.
    out[0] = static_cast<uint16_t>(0xD800 | (value - 0x10000) >> 10);
    out[1] = static_cast<uint16_t>(0xDC00 | (value & 0x3FF));
    return out + 2;
  }
};

template <bool kAllPlanes>
struct Utf8Writer : ConverterSide<uint8_t, kAllPlanes ? 4 : 3, true> {
  static constexpr ptrdiff_t kPairUnits = 2;

  static void put_pairs(uint8_t* out, uint64_t units) {
    const uint64_t sequences =
        in_lanes(0x80C0) | (units >> 6 & in_lanes(0x1F)) | (units & in_lanes(0x3F)) << 8;
    std::memcpy(out, &sequences, sizeof sequences);
  }

  template <bool kRoomy>
  static uint8_t* put(uint8_t* out, const uint8_t* end, uint32_t value, const void*) {
    if (value < 0x80) {
      *out = static_cast<uint8_t>(value);
      return out + 1;
    }
    const ptrdiff_t room = kRoomy ? Utf8Writer::kLongest : end - out;
    if (value < 0x800) {
      if (room < 2) return nullptr;
      out[0] = static_cast<uint8_t>(0xC0 | value >> 6);
      out[1] = following(value);
      return out + 2;
    }
    if (!kAllPlanes || value < 0x10000) {
      if (room < 3) return nullptr;
      out[0] = static_cast<uint8_t>(0xE0 | value >> 12);
      out[1] = following(value >> 6);
      out[2] = following(value);
      return out + 3;
    }
    if (room < 4) return nullptr;
    out[0] = static_cast<uint8_t>(0xF0 | value >> 18);
    out[1] = following(value >> 12);
    out[2] = following(value >> 6);
    out[3] = following(value);
    return out + 4;
  }

 private:
  static uint8_t following(uint32_t bits) { return static_cast<uint8_t>(0x80 | (bits & 0x3F)); }
};

inline auto kernel_of(const VectorKernels& kernels, const Utf8Reader<true>&, const Ucs2Writer<true>&) {
  return kernels.utf8_to_ucs2;
}
inline auto kernel_of(const VectorKernels& kernels, const Ucs2Reader<true>&, const Utf8Writer<true>&) {
  return kernels.ucs2_to_utf8;
}
inline auto kernel_of(const VectorKernels& kernels, const Utf8Reader<true>&, const Utf8Writer<true>&) {
  return kernels.utf8_to_utf8;
}

template <>
inline constexpr bool kKernelEnds<Utf8Reader<true>, Utf8Writer<true>> = true;
template <>
inline constexpr bool kKernelEnds<Ucs2Reader<true>, Utf8Writer<true>> = true;

template <class Char, bool kAllPlanes>
using UnicodeReader = std::conditional_t<sizeof(Char) == 2, Ucs2Reader<kAllPlanes>, Utf8Reader<kAllPlanes>>;
template <class Char, bool kAllPlanes>
using UnicodeWriter = std::conditional_t<sizeof(Char) == 2, Ucs2Writer<kAllPlanes>, Utf8Writer<kAllPlanes>>;

// A null input asks for a reset of the shift state instead of a conversion.
template <class Char>
inline bool is_reset(const Char* const* in) {
  return in == nullptr || *in == nullptr;
}

// Entry points of the members. A family's reader and writer are built from the codeset; with kShifts they
// also have state(), the shift state to keep. They come in two versions, Decoder<true> for verified tables
// and Decoder<false> for the rest, or as one class if nothing depends on that. The entry points of such pairs
// are static: GCC 12 emits a template that is instantiated for one from an anonymous namespace as a weak
// external symbol, so families whose classes have equal names would call each other's.
template <class Decoder, class Writer, class OutChar>
int decode(xcs_cs_t* codeset, const char** in, const char* in_end, OutChar** out, OutChar* out_end) {
  if (is_reset(in)) {
    codeset->to_state = 0;
    return XCS_CONVERTED;
  }
  Decoder decoder(*codeset);
  Writer writer;
  const int result = transcode_text(decoder, writer, in, in_end, out, out_end);
  if constexpr (Decoder::kShifts) codeset->to_state = decoder.state();
  return result;
}

template <class Decoder, class OutChar>
int to_unicode(xcs_cs_t* codeset, const char** in, const char* in_end, OutChar** out, OutChar* out_end) {
  using Writer = UnicodeWriter<OutChar, Decoder::kSupplementary>;
  return decode<Decoder, Writer>(codeset, in, in_end, out, out_end);
}

template <template <bool> class Decoder, class OutChar>
static int to_unicode(xcs_cs_t* codeset, const char** in, const char* in_end, OutChar** out,
                      OutChar* out_end) {
  return codeset->verified != 0 ? to_unicode<Decoder<true>>(codeset, in, in_end, out, out_end)
                                : to_unicode<Decoder<false>>(codeset, in, in_end, out, out_end);
}

template <class Encoder, class InChar>
int from_unicode(xcs_cs_t* codeset, const InChar** in, const InChar* in_end, char** out, char* out_end) {
  if (is_reset(in)) {
    codeset->from_state = 0;
    return XCS_CONVERTED;
  }
  UnicodeReader<InChar, Encoder::kSupplementary> reader;
  Encoder encoder(*codeset);
  const int result = transcode_text(reader, encoder, in, in_end, out, out_end);
  if constexpr (Encoder::kShifts) codeset->from_state = encoder.state();
  return result;
}

template <template <bool> class Encoder, class InChar>
static int from_unicode(xcs_cs_t* codeset, const InChar** in, const InChar* in_end, char** out,
                        char* out_end) {
  return codeset->verified != 0 ? from_unicode<Encoder<true>>(codeset, in, in_end, out, out_end)
                                : from_unicode<Encoder<false>>(codeset, in, in_end, out, out_end);
}

}  // namespace mar::charset
