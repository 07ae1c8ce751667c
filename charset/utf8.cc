// UTF-8 as a codeset. It needs no table.
#include "charset/convert.h"
#include "charset/unicode_text.h"

namespace {

// UTF-8 to UTF-8 alone: sequences that would come back as they are need no decoding.
class Utf8Copier : public Utf8Writer<true> {};

void roomy_step(Utf8Reader<true>& reader, Utf8Copier& writer, const uint8_t*& in, uint8_t*& out) {
  // Three bytes as 1110xxxx 10xxxxxx 10xxxxxx, and not overlong.
  if ((in[0] & 0xF0) == 0xE0 && (in[1] & 0xC0) == 0x80 && (in[2] & 0xC0) == 0x80 &&
      (in[0] & 0x0F) + (in[1] & 0x20) != 0) {
    std::memcpy(out, in, 3);
    in += 3;
    out += 3;
    return;
  }
  roomy_step<Utf8Reader<true>, Utf8Copier>(reader, writer, in, out);
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
  Utf8Reader<true> reader;
  Utf8Copier writer;
  return transcode_text(reader, writer, in, in_end, out, out_end);
}
