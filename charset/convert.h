// Conversions between a codeset and UCS-2 (16-bit units in host order, supplementary characters as surrogate
// pairs) or UTF-8. Only the two _alloc functions allocate. No function writes past the length it reports. An
// unmappable character or malformed UTF-8 is never an error: it becomes "?", in EBCDIC 0x6F; the OS codeset
// keeps the low eight bits of a unit. When encoding to a mixed EBCDIC codeset, the unit just past the input
// must be readable. Any thread may convert; two may share a codeset where its state is not used. Nothing is a
// cancellation point.
#pragma once

#include "charset/codeset.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

// Results of a conversion, of the dispatchers and of their members.
enum {
  XCS_CONVERTED = 0,    // the input is used up
  XCS_OUTPUT_FULL = 1,  // the character that did not fit is not consumed
  XCS_INPUT_CUT =
      2  // the input ends inside a character, which is not consumed; the output has room for a unit
};

// Restartable conversion of a piece of text. A codeset of NULL is the default. Lengths are in bytes, of UCS-2
// in 16-bit units. On return each pointer is advanced past what was consumed or produced, and each length is
// reduced by it. The input pointer never stops inside a character. The codeset keeps the shift state from
// piece to piece, so two conversions must not share it at a time. Returns one of the results above.
//
// An input of NULL (or a pointer to NULL) ends the text: it resets the state and ignores the input length.
// When encoding to a mixed EBCDIC codeset in double-byte mode it first writes a shift-in, or returns
// XCS_OUTPUT_FULL if there is no room for one.
int xcs_to_ucs2_r(xcs_cs_t* codeset, const char** in, uint32_t* in_bytes, uint16_t** out,
                  uint32_t* out_units);
int xcs_from_ucs2_r(xcs_cs_t* codeset, const uint16_t** in, uint32_t* in_units, char** out,
                    uint32_t* out_bytes);
int xcs_to_utf8_r(xcs_cs_t* codeset, const char** in, uint32_t* in_bytes, char** out, uint32_t* out_bytes);
int xcs_from_utf8_r(xcs_cs_t* codeset, const char** in, uint32_t* in_bytes, char** out, uint32_t* out_bytes);

// Conversion of a whole text. The codeset's state is neither used nor changed. A negative source length means
// a terminated source (NULL counts as empty): the result is then terminated too, within `size`, and the
// terminator is counted. Otherwise nothing is terminated. A result that does not fit is cut after a whole
// character. Returns the units written (bytes, of UCS-2 16-bit units); sizes are in the same units.
uint32_t xcs_to_utf8(xcs_cs_t* codeset, const char* text, int length, char* utf8, uint32_t size);
uint32_t xcs_to_ucs2(xcs_cs_t* codeset, const char* text, int length, uint16_t* ucs2, uint32_t size);
uint32_t xcs_from_utf8(xcs_cs_t* codeset, const char* utf8, int length, char* text, uint32_t size);
uint32_t xcs_from_ucs2(xcs_cs_t* codeset, const uint16_t* ucs2, int length, char* text, uint32_t size);

// The same into a fresh block of length * 3 + 1 (xcs_tou_alloc) or length * 2 + 1 bytes, not terminated. Free
// it with xcs_free. `*written` (may be NULL) receives the bytes in use. Returns NULL, with 0 written, if the
// length is negative or memory runs out.
char* xcs_tou_alloc(xcs_cs_t* codeset, const char* text, int length, uint32_t* written);
char* xcs_fromu_alloc(xcs_cs_t* codeset, const char* utf8, int length, uint32_t* written);
void xcs_free(void* block);

// The members that the dispatchers choose from, <family>_<to|from>_<form>_r. They take the ends of both
// buffers instead of lengths, and a codeset of their own kind, never NULL. Otherwise all of the above holds.
typedef int xcs_to_ucs2_member(xcs_cs_t* codeset, const char** in, const char* in_end, uint16_t** out,
                               uint16_t* out_end);
typedef int xcs_from_ucs2_member(xcs_cs_t* codeset, const uint16_t** in, const uint16_t* in_end, char** out,
                                 char* out_end);
typedef int xcs_utf8_member(xcs_cs_t* codeset, const char** in, const char* in_end, char** out,
                            char* out_end);

xcs_to_ucs2_member ascii_sbcs_to_ucs2_r, ascii_dbcs_to_ucs2_r, ascii_mbcs_to_ucs2_r, ascii_gb18030_to_ucs2_r,
    ebcdic_sbcs_to_ucs2_r, ebcdic_dbcs_to_ucs2_r, utf8_to_ucs2_r, os_to_ucs2_r;
xcs_from_ucs2_member ascii_sbcs_from_ucs2_r, ascii_dbcs_from_ucs2_r, ascii_mbcs_from_ucs2_r,
    ascii_gb18030_from_ucs2_r, ebcdic_sbcs_from_ucs2_r, ebcdic_dbcs_from_ucs2_r, utf8_from_ucs2_r,
    os_from_ucs2_r;
xcs_utf8_member ascii_sbcs_to_utf8_r, ascii_dbcs_to_utf8_r, ascii_mbcs_to_utf8_r, ascii_gb18030_to_utf8_r,
    ebcdic_sbcs_to_utf8_r, ebcdic_dbcs_to_utf8_r, utf8_to_utf8_r, os_to_utf8_r;
xcs_utf8_member ascii_sbcs_from_utf8_r, ascii_dbcs_from_utf8_r, ascii_mbcs_from_utf8_r,
    ascii_gb18030_from_utf8_r, ebcdic_sbcs_from_utf8_r, ebcdic_dbcs_from_utf8_r,
    os_from_utf8_r;  // UTF-8 itself: utf8_to_utf8_r

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
