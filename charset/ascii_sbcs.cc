// ASCII-based single-byte codesets.
#include "charset/convert.h"
#include "charset/single_byte.h"
#include "charset/unicode_text.h"

using namespace mar::charset;

namespace {
using Family = SingleByte<true>;
}

int ascii_sbcs_to_ucs2_r(xcs_cs_t* codeset, const char** in, const char* in_end, uint16_t** out,
                         uint16_t* out_end) {
  if (const auto kernel = vectors().row_to_ucs2; kernel != nullptr)
    convert_by_row(kernel, *codeset, Family::Reader(*codeset), Ucs2Writer<false>(), in, in_end, out, out_end);
  return to_unicode<Family::Reader>(codeset, in, in_end, out, out_end);
}

int ascii_sbcs_to_utf8_r(xcs_cs_t* codeset, const char** in, const char* in_end, char** out, char* out_end) {
  if (const auto kernel = vectors().row_to_utf8; kernel != nullptr)
    convert_by_row(kernel, *codeset, Family::SequenceReader(*codeset), SequenceWriter(), in, in_end, out,
                   out_end);
  return decode<Family::SequenceReader, SequenceWriter>(codeset, in, in_end, out, out_end);
}

int ascii_sbcs_from_ucs2_r(xcs_cs_t* codeset, const uint16_t** in, const uint16_t* in_end, char** out,
                           char* out_end) {
  if (const auto kernel = vectors().ucs2_to_row; kernel != nullptr)
    convert_by_row(kernel, *codeset, Ucs2Reader<false>(), Family::Writer(*codeset), in, in_end, out, out_end);
  return from_unicode<Family::Writer>(codeset, in, in_end, out, out_end);
}

int ascii_sbcs_from_utf8_r(xcs_cs_t* codeset, const char** in, const char* in_end, char** out,
                           char* out_end) {
  if (const auto kernel = vectors().utf8_to_row; kernel != nullptr)
    convert_by_row(kernel, *codeset, Utf8Reader<false>(), Family::Writer(*codeset), in, in_end, out, out_end);
  return from_unicode<Family::Writer>(codeset, in, in_end, out, out_end);
}
