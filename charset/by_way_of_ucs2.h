// Between UTF-8 and the codesets with a table: the kernels do the Unicode side, by way of UCS-2 units in a
// buffer, and the table side converts those. Only for sides without a shift state.
#pragma once

#include <algorithm>
#include <iterator>

#include "charset/unicode_text.h"

namespace mar::charset {

constexpr ptrdiff_t kChunk = 1024;  // units that are converted at a time

// Converts what is in the buffer. The output has room for all of it.
template <class Reader, class Writer>
inline void transcode_chunk(Reader& reader, Writer& writer, const uint16_t* from, const uint16_t* end,
                            uint8_t*& out, uint8_t* out_end) {
  transcode_blocks(reader, writer, from, end, out, out_end);
  transcode_end(reader, writer, from, end, out, out_end);
}

// As transcode_by_kernel(), by the kernel from UTF-8 to UCS-2 and the writer.
template <class Reader, class Writer>
void from_utf8_by_ucs2(Reader& reader, Writer& writer, const char*& text, const char* text_end, char*& result,
                       char* result_end) {
  const VectorKernels& kernels = vectors();
  const auto to_ucs2 = kernels.utf8_to_bmp;
  if (to_ucs2 == nullptr) return;
  auto* in = reinterpret_cast<const uint8_t*>(text);
  auto* out = reinterpret_cast<uint8_t*>(result);
  const auto kernel = [&](const uint8_t*& from, const uint8_t* end, uint8_t*& to, uint8_t* to_end) {
    uint16_t units[kChunk + kKernelMargin];
    Ucs2Reader<false> unit_reader;
    for (;;) {
      copy_runs(kNonAscii<uint8_t>, from, end, to, to_end);
      const ptrdiff_t chunk = std::min({end - from, kChunk, (to_end - to) / Writer::kLongest});
      const uint8_t* const before = from;
      uint16_t* units_end = units;
      to_ucs2(from, from + chunk, units_end, std::end(units));
      if (from == before) return;
      transcode_chunk(unit_reader, writer, units, units_end, to, to_end);
    }
  };
  transcode_by_kernel(kernel, kernels.margin, reader, writer, in, reinterpret_cast<const uint8_t*>(text_end),
                      out, reinterpret_cast<uint8_t*>(result_end));
  text = reinterpret_cast<const char*>(in);
  result = reinterpret_cast<char*>(out);
}

// As transcode_by_kernel(), by the reader and the kernel from UCS-2 to UTF-8. The reader has no characters
// from U+10000 up, and its units that are surrogates stay as they are.
template <class Reader>
void to_utf8_by_ucs2(Reader& reader, const char*& text, const char* text_end, char*& result,
                     char* result_end) {
  static_assert(!Reader::kSupplementary);
  const auto to_utf8 = vectors().bmp_to_utf8;
  if (to_utf8 == nullptr) return;
  auto* in = reinterpret_cast<const uint8_t*>(text);
  auto* out = reinterpret_cast<uint8_t*>(result);
  const auto* const in_end = reinterpret_cast<const uint8_t*>(text_end);
  auto* const out_end = reinterpret_cast<uint8_t*>(result_end);
  uint16_t units[kChunk];
  Ucs2Writer<false> unit_writer;
  Ucs2Reader<false> unit_reader;
  Utf8Writer<false> writer;
  for (;;) {
    copy_runs(kNonAscii<uint8_t>, in, in_end, out, out_end);
    const ptrdiff_t room = std::min(kChunk, (out_end - out) / writer.kLongest);
    uint16_t* units_end = units;
    transcode_words(reader, unit_writer, in, in_end, units_end, units + room);
    if (units_end == units) break;
    const uint16_t* from = units;
    to_utf8(from, units_end, out, out_end);
    transcode_chunk(unit_reader, writer, from, units_end, out, out_end);
  }
  text = reinterpret_cast<const char*>(in);
  result = reinterpret_cast<char*>(out);
}

}  // namespace mar::charset
