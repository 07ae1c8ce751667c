#include "charset/convert.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>

#include "charset/codeset_default.h"
#include "charset/wide_string.h"

namespace mar::charset {
namespace {

struct Members {
  xcs_to_ucs2_member* to_ucs2;
  xcs_from_ucs2_member* from_ucs2;
  xcs_utf8_member* to_utf8;
  xcs_utf8_member* from_utf8;
};

constexpr Members kOs = {os_to_ucs2_r, os_from_ucs2_r, os_to_utf8_r, os_from_utf8_r};

// By kind.
constexpr Members kMembers[] = {
    kOs,
    {ascii_sbcs_to_ucs2_r, ascii_sbcs_from_ucs2_r, ascii_sbcs_to_utf8_r, ascii_sbcs_from_utf8_r},
    {ascii_dbcs_to_ucs2_r, ascii_dbcs_from_ucs2_r, ascii_dbcs_to_utf8_r, ascii_dbcs_from_utf8_r},
    {ascii_mbcs_to_ucs2_r, ascii_mbcs_from_ucs2_r, ascii_mbcs_to_utf8_r, ascii_mbcs_from_utf8_r},
    {ebcdic_dbcs_to_ucs2_r, ebcdic_dbcs_from_ucs2_r, ebcdic_dbcs_to_utf8_r, ebcdic_dbcs_from_utf8_r},
    kOs,
    {utf8_to_ucs2_r, utf8_from_ucs2_r, utf8_to_utf8_r, utf8_to_utf8_r},
    kOs,
    {ebcdic_sbcs_to_ucs2_r, ebcdic_sbcs_from_ucs2_r, ebcdic_sbcs_to_utf8_r, ebcdic_sbcs_from_utf8_r},
    kOs,
    {ascii_gb18030_to_ucs2_r, ascii_gb18030_from_ucs2_r, ascii_gb18030_to_utf8_r, ascii_gb18030_from_utf8_r},
};
static_assert(sizeof kMembers / sizeof *kMembers == XCS_KIND_GB18030 + 1);

const Members& members_of(const xcs_cs_t& codeset) {
  return codeset.kind <= XCS_KIND_GB18030 ? kMembers[codeset.kind] : kOs;
}

template <class InChar, class OutChar>
using Member = int (*)(xcs_cs_t*, const InChar**, const InChar*, OutChar**, OutChar*);

// Runs a member on lengths instead of ends. Without an output, there is no room.
template <class InChar, class OutChar>
int dispatch(Member<InChar, OutChar> Members::*member, xcs_cs_t* codeset, const InChar** in,
             uint32_t* in_length, OutChar** out, uint32_t* out_length) {
  codeset = codeset_or_default(codeset);
  const bool no_input = in == nullptr || *in == nullptr;
  const bool no_output = out == nullptr || *out == nullptr;
  const InChar* in_start = no_input ? nullptr : *in;
  const InChar* in_at = in_start;
  OutChar* out_start = no_output ? nullptr : *out;
  OutChar* out_at = out_start;
  const int result = (members_of(*codeset).*member)(codeset, &in_at, no_input ? nullptr : in_at + *in_length,
                                                    &out_at, no_output ? nullptr : out_at + *out_length);
  if (!no_input) {
    *in_length -= static_cast<uint32_t>(in_at - in_start);
    *in = in_at;
  }
  if (!no_output) {
    *out_length -= static_cast<uint32_t>(out_at - out_start);
    *out = out_at;
  }
  return result;
}

uint32_t length_of(const char* text) {
  return text == nullptr ? 0 : static_cast<uint32_t>(std::min<size_t>(std::strlen(text), UINT32_MAX));
}

uint32_t length_of(const uint16_t* text) { return text == nullptr ? 0 : xcs_wcslen(text); }

// Converts a whole text. The members of the mixed family keep a state in the codeset, so they get a copy of
// it, and an end of the text, which may take a shift-in. The other families have neither.
template <class InChar, class OutChar>
uint32_t convert_text(Member<InChar, OutChar> Members::*member, xcs_cs_t* codeset, const InChar* text,
                      int length, OutChar* out, uint32_t size) {
  if (size == 0 || out == nullptr) return 0;
  codeset = codeset_or_default(codeset);
  const auto convert = members_of(*codeset).*member;
  const bool terminate = length < 0;
  const uint32_t left = terminate ? length_of(text) : static_cast<uint32_t>(length);
  OutChar* const room_end = out + (terminate ? size - 1 : size);
  OutChar* end = out;
  if (codeset->kind == XCS_KIND_EBCDIC_DBCS) {
    xcs_cs_t copy = *codeset;
    copy.from_state = copy.to_state = 0;
    if (text != nullptr) convert(&copy, &text, text + left, &end, room_end);
    convert(&copy, nullptr, nullptr, &end,
            room_end);  // when decoding, this writes nothing
  } else if (text != nullptr) {
    convert(codeset, &text, text + left, &end, room_end);
  }
  if (terminate) *end++ = 0;
  return static_cast<uint32_t>(end - out);
}

template <class Convert>
char* convert_to_block(Convert convert, xcs_cs_t* codeset, const char* text, int length, int growth,
                       uint32_t* written) {
  uint32_t ignored;
  if (written == nullptr) written = &ignored;
  *written = 0;
  if (length < 0) return nullptr;
  const size_t size = static_cast<size_t>(length) * static_cast<size_t>(growth) + 1;
  char* block = static_cast<char*>(std::malloc(size));
  if (block == nullptr) return nullptr;
  *written = convert(codeset, text, length, block, static_cast<uint32_t>(std::min<size_t>(size, UINT32_MAX)));
  return block;
}

}  // namespace
}  // namespace mar::charset

using namespace mar::charset;

int xcs_to_ucs2_r(xcs_cs_t* codeset, const char** in, uint32_t* in_bytes, uint16_t** out,
                  uint32_t* out_units) {
  return dispatch(&Members::to_ucs2, codeset, in, in_bytes, out, out_units);
}

int xcs_from_ucs2_r(xcs_cs_t* codeset, const uint16_t** in, uint32_t* in_units, char** out,
                    uint32_t* out_bytes) {
  return dispatch(&Members::from_ucs2, codeset, in, in_units, out, out_bytes);
}

int xcs_to_utf8_r(xcs_cs_t* codeset, const char** in, uint32_t* in_bytes, char** out, uint32_t* out_bytes) {
  return dispatch(&Members::to_utf8, codeset, in, in_bytes, out, out_bytes);
}

int xcs_from_utf8_r(xcs_cs_t* codeset, const char** in, uint32_t* in_bytes, char** out, uint32_t* out_bytes) {
  return dispatch(&Members::from_utf8, codeset, in, in_bytes, out, out_bytes);
}

uint32_t xcs_to_utf8(xcs_cs_t* codeset, const char* text, int length, char* utf8, uint32_t size) {
  return convert_text(&Members::to_utf8, codeset, text, length, utf8, size);
}

uint32_t xcs_to_ucs2(xcs_cs_t* codeset, const char* text, int length, uint16_t* ucs2, uint32_t size) {
  return convert_text(&Members::to_ucs2, codeset, text, length, ucs2, size);
}

uint32_t xcs_from_utf8(xcs_cs_t* codeset, const char* utf8, int length, char* text, uint32_t size) {
  return convert_text(&Members::from_utf8, codeset, utf8, length, text, size);
}

uint32_t xcs_from_ucs2(xcs_cs_t* codeset, const uint16_t* ucs2, int length, char* text, uint32_t size) {
  return convert_text(&Members::from_ucs2, codeset, ucs2, length, text, size);
}

char* xcs_tou_alloc(xcs_cs_t* codeset, const char* text, int length, uint32_t* written) {
  return convert_to_block(xcs_to_utf8, codeset, text, length, 3, written);
}

char* xcs_fromu_alloc(xcs_cs_t* codeset, const char* utf8, int length, uint32_t* written) {
  return convert_to_block(xcs_from_utf8, codeset, utf8, length, 2, written);
}

void xcs_free(void* block) { std::free(block); }
