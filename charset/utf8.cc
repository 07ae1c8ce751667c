// UTF-8 as a codeset. It needs no table.
#include <algorithm>
#include <array>
#include <bit>
#include <cstring>

#include "charset/convert.h"
#include "charset/unicode_text.h"

namespace {

// The first four bytes of a sequence under a mask, in any byte order.
constexpr uint32_t four_bytes(uint8_t a, uint8_t b, uint8_t c, uint8_t d) {
  return std::bit_cast<uint32_t>(std::array<uint8_t, 4>{a, b, c, d});
}

// The length of the sequence at `text`, or of two of two bytes, if decoding and encoding would give it back;
// 0 if not. Four bytes are there.
ptrdiff_t unchanged_sequences(const uint8_t* text) {
  uint32_t bytes;
  std::memcpy(&bytes, text, sizeof bytes);
  const auto is = [&](uint32_t mask, uint32_t shape) { return (bytes & mask) == shape; };
  const auto any = [&](uint32_t mask) { return (bytes & mask) != 0; };  // else it is overlong
  if (is(four_bytes(0xF0, 0xC0, 0xC0, 0), four_bytes(0xE0, 0x80, 0x80, 0))) {
    return any(four_bytes(0x0F, 0x20, 0, 0)) ? 3 : 0;
  }
  if (is(four_bytes(0xE0, 0xC0, 0xE0, 0xC0), four_bytes(0xC0, 0x80, 0xC0, 0x80)) &&
      any(four_bytes(0x1E, 0, 0, 0)) && any(four_bytes(0, 0, 0x1E, 0)))
    return 4;
  if (is(four_bytes(0xE0, 0xC0, 0, 0), four_bytes(0xC0, 0x80, 0, 0)))
    return any(four_bytes(0x1E, 0, 0, 0)) ? 2 : 0;
  if (is(four_bytes(0xF8, 0xC0, 0xC0, 0xC0), four_bytes(0xF0, 0x80, 0x80, 0x80))) {
    return any(four_bytes(0x07, 0x30, 0, 0)) ? 4 : 0;
  }
  return 0;
}

// The bytes at the front of `text` that need no decoding, in whole characters.
ptrdiff_t unchanged_prefix(const uint8_t* text, ptrdiff_t size) {
  ptrdiff_t at = 0;
  while (size - at >= kRun) {
    if (text[at] < 0x80) {
      while (size - at >= kRun && is_ascii_run(text + at)) at += kRun;
      if (size - at >= kRun) at += leading_ascii(text + at);
      continue;
    }
    const ptrdiff_t length = unchanged_sequences(text + at);
    if (length == 0) break;
    at += length;
  }
  return at;
}

}  // namespace

int utf8_to_ucs2_r(xcs_cs_t* codeset, const char** in, const char* in_end, uint16_t** out,
                   uint16_t* out_end) {
  if (is_reset(in)) {
    codeset->to_state = 0;
    return kConverted;
  }
  Utf8Reader<true> reader;
  Ucs2Writer<true> writer;
  return transcode_text(reader, writer, in, in_end, out, out_end);
}

int utf8_from_ucs2_r(xcs_cs_t* codeset, const uint16_t** in, const uint16_t* in_end, char** out,
                     char* out_end) {
  if (is_reset(in)) {
    codeset->from_state = 0;
    return kConverted;
  }
  Ucs2Reader<true> reader;
  Utf8Writer<true> writer;
  return transcode_text(reader, writer, in, in_end, out, out_end);
}

// Serves both directions, so there is no state that a reset could mean. Surrogates in three bytes and values
// past U+10FFFF in four pass, which keeps odd file names intact.
int utf8_to_utf8_r(xcs_cs_t*, const char** in, const char* in_end, char** out, char* out_end) {
  if (is_reset(in)) return kConverted;
  // Well-formed text is copied; from the first sequence on that has to change, all goes through the decoder.
  const ptrdiff_t unchanged =
      unchanged_prefix(reinterpret_cast<const uint8_t*>(*in), std::min(in_end - *in, out_end - *out));
  *out = std::copy_n(*in, unchanged, *out);
  *in += unchanged;
  Utf8Reader<true> reader;
  Utf8Writer<true> writer;
  return transcode_text(reader, writer, in, in_end, out, out_end);
}
