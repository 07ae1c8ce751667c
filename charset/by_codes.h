// Conversion by flat tables where there are kernels: these make codes of bytes and bytes of codes, and the
// program looks up one after the other in between, so that no look-up waits for the length of the character
// before. A chunk of the text goes through buffers from pass to pass. Only little-endian machines have
// kernels.
#pragma once

#include <algorithm>
#include <cstring>
#include <iterator>

#include "charset/gb18030.h"
#include "charset/unicode_text.h"

namespace mar::charset {

constexpr ptrdiff_t kCodes = 512;      // that are converted at a time
constexpr ptrdiff_t kLongestCode = 4;  // bytes
constexpr uint16_t kNoFlatEntry = 0;   // in a flat table: ask the table file

// Whether the second byte of a code is a digit, as in codes of four bytes. Its first byte is the lower one.
constexpr bool has_digit(uint16_t code) { return is_gb_digit(code >> 8); }

// Looks up the keys in front of the first one without an entry; returns how many.
inline ptrdiff_t look_up(const uint16_t* table, const uint16_t* keys, ptrdiff_t count, uint16_t* entries) {
  ptrdiff_t done = 0;
  for (; count - done >= 4; done += 4) {
    const uint16_t first = table[keys[done]], second = table[keys[done + 1]];
    const uint16_t third = table[keys[done + 2]], fourth = table[keys[done + 3]];
    if (first == kNoFlatEntry || second == kNoFlatEntry || third == kNoFlatEntry || fourth == kNoFlatEntry)
      break;
    entries[done] = first;
    entries[done + 1] = second;
    entries[done + 2] = third;
    entries[done + 3] = fourth;
  }
  for (; done != count && table[keys[done]] != kNoFlatEntry; ++done) entries[done] = table[keys[done]];
  return done;
}

// The flat tables of one direction (flat_tables.h). `fours` is null where no code has four bytes.
struct CodeTables {
  const uint16_t* codes;
  const uint16_t* fours;
};

// Whether the first code that is not ASCII has four bytes.
inline bool begins_with_four(const uint8_t* in, const uint8_t* in_end) {
  const uint8_t* const lead = std::find_if(in, in_end, [](uint8_t byte) { return byte >= 0x80; });
  return in_end - lead > 1 && is_gb_digit(lead[1]);
}

// Decodes the front of a text into at most `room` units; returns how many. Nothing if less than half of what
// the kernel takes has entries: that is not worth its while.
inline ptrdiff_t decode_chunk(const CodeTables& tables, const uint8_t*& in, const uint8_t* in_end,
                              uint16_t* units, ptrdiff_t room) {
  const uint8_t* const chunk_end = in + std::min({in_end - in, room, kLongestCode * kCodes});
  const bool has_fours = tables.fours != nullptr && begins_with_four(in, chunk_end);
  const auto kernel = has_fours ? vectors().fours_to_codes : vectors().bytes_to_codes;
  uint16_t codes[kCodes];
  const uint8_t* from = in;
  uint16_t* codes_end = codes;
  kernel(from, chunk_end, codes_end, std::end(codes));
  const ptrdiff_t count = codes_end - codes;
  const ptrdiff_t found = look_up(has_fours ? tables.fours : tables.codes, codes, count, units);
  if (found < count) {
    if (found < count / 2) return 0;
    const auto longer = std::count_if(codes, codes + found, [](uint16_t code) { return code >= 0x80; });
    from = in + found + longer * (has_fours ? 3 : 1);
  }
  in = from;
  return found;
}

// Encodes the units in front of the first one without an entry, as far as there are whole blocks and room.
// Returns whether there may be more.
inline bool encode_chunk(const CodeTables& tables, const uint16_t*& units, const uint16_t* units_end,
                         uint8_t*& out, const uint8_t* out_end) {
  uint16_t codes[kCodes];
  uint8_t bytes[kLongestCode * kCodes + kBytesBehind];
  const ptrdiff_t longest = tables.fours == nullptr ? 2 : kLongestCode;
  const ptrdiff_t count = std::min({units_end - units, ptrdiff_t{kCodes}, (out_end - out) / longest});
  const ptrdiff_t found = look_up(tables.codes, units, count, codes);
  const uint16_t* taken = codes;
  uint8_t* end = bytes;
  if (tables.fours == nullptr || std::count_if(codes, codes + found, has_digit) == 0) {
    vectors().codes_to_bytes(taken, codes + found, end, std::end(bytes));
  } else {
    uint16_t lasts[kCodes];
    for (ptrdiff_t i = 0; i != found; ++i) lasts[i] = tables.fours[units[i]];
    vectors().wide_codes_to_bytes(lasts, taken, codes + found, end, std::end(bytes));
  }
  std::memcpy(out, bytes, static_cast<size_t>(end - bytes));
  units += taken - codes;
  out += end - bytes;
  return found == kCodes;
}

// Converts what is in a buffer by the loop. The output has room for all of it.
template <class Reader, class Writer>
inline void transcode_chunk(Reader& reader, Writer& writer, const uint16_t* from, const uint16_t* end,
                            uint8_t*& out, uint8_t* out_end) {
  transcode_blocks(reader, writer, from, end, out, out_end);
  transcode_end(reader, writer, from, end, out, out_end);
}

// A kernel for transcode_by_kernel() that decodes by the tables.
template <bool kAllPlanes>
inline auto decoding_kernel(const CodeTables& tables, const Ucs2Writer<kAllPlanes>&) {
  return [tables](const uint8_t*& from, const uint8_t* end, uint16_t*& to, uint16_t* to_end) {
    for (ptrdiff_t made = 1; made != 0; to += made) {
      copy_runs(kNonAscii<uint8_t>, from, end, to, to_end);
      made = decode_chunk(tables, from, end, to, to_end - to);
    }
  };
}

template <bool kAllPlanes>
inline auto decoding_kernel(const CodeTables& tables, const Utf8Writer<kAllPlanes>&) {
  return [tables](const uint8_t*& from, const uint8_t* end, uint8_t*& to, uint8_t* to_end) {
    uint16_t units[kCodes];
    Ucs2Reader<false> reader;
    Utf8Writer<false> writer;
    for (ptrdiff_t made = 1; made != 0;) {
      copy_runs(kNonAscii<uint8_t>, from, end, to, to_end);
      made = decode_chunk(tables, from, end, units, (to_end - to) / writer.kLongest);
      const uint16_t* unit = units;
      vectors().bmp_to_utf8(unit, units + made, to, to_end);
      transcode_chunk(reader, writer, unit, units + made, to, to_end);
    }
  };
}

template <class Encoder, bool kAllPlanes>
inline auto encoding_kernel(Encoder& encoder, const Ucs2Reader<kAllPlanes>&) {
  return [&encoder](const uint16_t*& from, const uint16_t* end, uint8_t*& to, uint8_t* to_end) {
    do {
      copy_runs(kNonAscii<uint16_t>, from, end, to, to_end);
    } while (encode_chunk(encoder.tables(), from, end, to, to_end));
  };
}

template <class Encoder, bool kAllPlanes>
inline auto encoding_kernel(Encoder& encoder, const Utf8Reader<kAllPlanes>&) {
  return [&encoder](const uint8_t*& from, const uint8_t* end, uint8_t*& to, uint8_t* to_end) {
    uint16_t units[kCodes];
    Ucs2Reader<false> reader;
    for (;;) {
      copy_runs(kNonAscii<uint8_t>, from, end, to, to_end);
      const ptrdiff_t room = std::min(kCodes, (to_end - to) / encoder.kLongest);
      const uint8_t* const before = from;
      uint16_t* units_end = units;
      vectors().utf8_to_bmp(from, end, units_end, units + room);
      if (from == before) return;
      const uint16_t* unit = units;
      encode_chunk(encoder.tables(), unit, units_end, to, to_end);
      transcode_chunk(reader, encoder, unit, units_end, to, to_end);
    }
  };
}

// Converts as much as it can between the public pointers.
template <class Kernel, class Reader, class Writer, class InChar, class OutChar>
void transcode_by_codes(const Kernel& kernel, Reader& reader, Writer& writer, const InChar*& text,
                        const InChar* text_end, OutChar*& result, OutChar* result_end) {
  using InUnit = typename Reader::Unit;
  using OutUnit = typename Writer::Unit;
  auto* in = reinterpret_cast<const InUnit*>(text);
  auto* out = reinterpret_cast<OutUnit*>(result);
  transcode_by_kernel(kernel, vectors().margin, reader, writer, in, reinterpret_cast<const InUnit*>(text_end),
                      out, reinterpret_cast<OutUnit*>(result_end));
  text = reinterpret_cast<const InChar*>(in);
  result = reinterpret_cast<OutChar*>(out);
}

template <class Decoder, class OutChar>
void decode_by_codes(Decoder& decoder, const char*& text, const char* text_end, OutChar*& result,
                     OutChar* result_end) {
  if (vectors().bytes_to_codes == nullptr) return;
  UnicodeWriter<OutChar, Decoder::kSupplementary> writer;
  transcode_by_codes(decoding_kernel(decoder.tables(), writer), decoder, writer, text, text_end, result,
                     result_end);
}

template <class Encoder, class InChar>
void encode_by_codes(Encoder& encoder, const InChar*& text, const InChar* text_end, char*& result,
                     char* result_end) {
  if (vectors().codes_to_bytes == nullptr) return;
  UnicodeReader<InChar, Encoder::kSupplementary> reader;
  transcode_by_codes(encoding_kernel(encoder, reader), reader, encoder, text, text_end, result, result_end);
}

}  // namespace mar::charset
