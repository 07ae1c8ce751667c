// UTF-8 as a codeset. It needs no table.
#include <algorithm>
#include <array>
#include <bit>

#include "charset/convert.h"
#include "charset/unicode_text.h"

namespace mar::charset {
namespace {

// These bytes as a word loaded from memory has them, on machines of either byte order.
constexpr uint64_t in_memory(std::array<uint8_t, 8> bytes) { return std::bit_cast<uint64_t>(bytes); }

// Bytes of the two-byte sequences at the front that decoding and encoding would reproduce.
ptrdiff_t unchanged_pairs(uint64_t bytes) {
  constexpr uint64_t kMask = in_memory({0xE0, 0xC0, 0xE0, 0xC0, 0xE0, 0xC0, 0xE0, 0xC0});
  constexpr uint64_t kShape = in_memory({0xC0, 0x80, 0xC0, 0x80, 0xC0, 0x80, 0xC0, 0x80});
  const ptrdiff_t shaped = first_set_byte((bytes & kMask) ^ kShape) & ~1;
  // Overlong sequences have the leads 0xC0 and 0xC1, with all of these bits clear.
  constexpr uint64_t kBits = in_memory({0x1E, 0, 0x1E, 0, 0x1E, 0, 0x1E, 0});
  const ptrdiff_t overlong = first_set_byte(lanes_below(2, bytes & kBits)) & ~1;
  return std::min(shaped, overlong);
}

// Bytes of the sequences at the front of `text` that decoding and encoding would reproduce: of one sequence
// or of a few at once, 0 if the first one would change. Eight bytes are there.
ptrdiff_t unchanged_sequences(const uint8_t* text) {
  const uint64_t bytes = load_word(text);
  const auto is = [&](uint64_t mask, uint64_t shape) { return (bytes & mask) == shape; };
  const auto any = [&](uint64_t mask) {
    return (bytes & mask) != 0;
  };  // with none of its bits it is overlong
  constexpr uint64_t kTwoMask = in_memory({0xF0, 0xC0, 0xC0, 0xF0, 0xC0, 0xC0});
  constexpr uint64_t kTwo = in_memory({0xE0, 0x80, 0x80, 0xE0, 0x80, 0x80});
  const bool first = any(in_memory({0x0F, 0x20}));
  if (is(kTwoMask, kTwo) && first && any(in_memory({0, 0, 0, 0x0F, 0x20}))) return 6;
  if (is(in_memory({0xF0, 0xC0, 0xC0}), in_memory({0xE0, 0x80, 0x80}))) return first ? 3 : 0;
  if (is(in_memory({0xE0}), in_memory({0xC0}))) return unchanged_pairs(bytes);
  if (is(in_memory({0xF8, 0xC0, 0xC0, 0xC0}), in_memory({0xF0, 0x80, 0x80, 0x80}))) {
    return any(in_memory({0x07, 0x30})) ? 4 : 0;
  }
  return 0;
}

// Bytes at the front of `text`, in whole characters, that decoding and encoding would reproduce.
ptrdiff_t unchanged_prefix(const uint8_t* text, ptrdiff_t size) {
  ptrdiff_t at = 0;
  while (size - at >= kRun) {
    const ptrdiff_t ascii = leading_ascii(text + at);
    at += ascii;
    if (ascii == kRun) {
      while (size - at >= kRun && is_ascii_run(text + at)) at += kRun;
      continue;
    }
    while (size - at >= kRun && text[at] >= 0x80) {
      const ptrdiff_t length = unchanged_sequences(text + at);
      if (length == 0) return at;
      at += length;
    }
  }
  return at;
}

}  // namespace
}  // namespace mar::charset

using namespace mar::charset;

int utf8_to_ucs2_r(xcs_cs_t* codeset, const char** in, const char* in_end, uint16_t** out,
                   uint16_t* out_end) {
  if (is_reset(in)) {
    codeset->to_state = 0;
    return XCS_CONVERTED;
  }
  Utf8Reader<true> reader;
  Ucs2Writer<true> writer;
  return transcode_text(reader, writer, in, in_end, out, out_end);
}

int utf8_from_ucs2_r(xcs_cs_t* codeset, const uint16_t** in, const uint16_t* in_end, char** out,
                     char* out_end) {
  if (is_reset(in)) {
    codeset->from_state = 0;
    return XCS_CONVERTED;
  }
  Ucs2Reader<true> reader;
  Utf8Writer<true> writer;
  return transcode_text(reader, writer, in, in_end, out, out_end);
}

// Serves both directions, so a reset cannot mean either state. Surrogates in three bytes and values past
// U+10FFFF in four pass unchanged, which keeps odd file names intact.
int utf8_to_utf8_r(xcs_cs_t*, const char** in, const char* in_end, char** out, char* out_end) {
  if (is_reset(in)) return XCS_CONVERTED;
  Utf8Reader<true> reader;
  Utf8Writer<true> writer;
  if (in_end > *in && out_end > *out) {
    auto* from = reinterpret_cast<const uint8_t*>(*in);
    auto* to = reinterpret_cast<uint8_t*>(*out);
    transcode_by_its_kernel(reader, writer, from, reinterpret_cast<const uint8_t*>(in_end), to,
                            reinterpret_cast<uint8_t*>(out_end));
    *in = reinterpret_cast<const char*>(from);
    *out = reinterpret_cast<char*>(to);
  }
  // Well-formed text is copied. From the first sequence that has to change, everything goes through the
  // decoder.
  const ptrdiff_t unchanged =
      unchanged_prefix(reinterpret_cast<const uint8_t*>(*in), std::min(in_end - *in, out_end - *out));
  *out = std::copy_n(*in, unchanged, *out);
  *in += unchanged;
  return transcode_text(reader, writer, in, in_end, out, out_end);
}
