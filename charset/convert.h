// Conversions between a codeset and UCS-2 (16-bit units in host order, supplementary characters as surrogate
// pairs) or UTF-8. Nothing is allocated but by the two _alloc functions, and nothing is written behind the
// result. An unmappable character or malformed UTF-8 is never an error: it becomes "?", in EBCDIC 0x6F; the
// OS codeset takes the low eight bits of a unit. Towards a mixed EBCDIC codeset one unit behind the input
// must be readable.
#pragma once

#include "charset/codeset.h"

#ifdef __cplusplus
extern "C" {
#endif

// Restartable conversion of a piece of text. A codeset of NULL is the default. Lengths are in bytes, of UCS-2
// in 16-bit units. On return the pointers stand behind, and the lengths are less, what was consumed and
// produced; the input never stops inside a character. The codeset keeps the shift state from piece to piece,
// so it must not be shared by two conversions at a time. Returns
//   0  the input is used up
//   1  the output is full; the character that did not fit is not consumed
//   2  the input ends inside a character, which is not consumed, and the output has room for a unit
// An input of NULL (or a pointer to NULL) ends the text: it resets the state, the input length is not looked
// at; towards a mixed EBCDIC codeset in double-byte mode it first writes a shift-in (1 when there is no
// room).
int xcs_to_ucs2_r(xcs_cs_t* codeset, const char** in, uint32_t* in_bytes, uint16_t** out,
                  uint32_t* out_units);
int xcs_from_ucs2_r(xcs_cs_t* codeset, const uint16_t** in, uint32_t* in_units, char** out,
                    uint32_t* out_bytes);
int xcs_to_utf8_r(xcs_cs_t* codeset, const char** in, uint32_t* in_bytes, char** out, uint32_t* out_bytes);
int xcs_from_utf8_r(xcs_cs_t* codeset, const char** in, uint32_t* in_bytes, char** out, uint32_t* out_bytes);

// Conversion of a whole text, which never touches the codeset's state. A negative source length means a
// terminated source (NULL counts as empty): the result is then terminated too, within `size`, and the
// terminator counted. Otherwise nothing is terminated. What does not fit is cut. Returns the units written
// (bytes, of UCS-2 16-bit units); sizes are in the same units.
uint32_t xcs_to_utf8(xcs_cs_t* codeset, const char* text, int length, char* utf8, uint32_t size);
uint32_t xcs_to_ucs2(xcs_cs_t* codeset, const char* text, int length, uint16_t* ucs2, uint32_t size);
uint32_t xcs_from_utf8(xcs_cs_t* codeset, const char* utf8, int length, char* text, uint32_t size);
uint32_t xcs_from_ucs2(xcs_cs_t* codeset, const uint16_t* ucs2, int length, char* text, uint32_t size);

// The same into a fresh block of length * 3 + 1 (xcs_tou_alloc) or length * 2 + 1 bytes, not terminated; free
// it with xcs_free. `*written` gets the bytes in use. NULL, and 0 written, for a negative length or without
// memory.
char* xcs_tou_alloc(xcs_cs_t* codeset, const char* text, int length, uint32_t* written);
char* xcs_fromu_alloc(xcs_cs_t* codeset, const char* utf8, int length, uint32_t* written);
void xcs_free(void* block);

// The members behind the dispatchers, <family>_<to|from>_<form>_r. They take the ends of both buffers instead
// of lengths and a codeset of their own kind, which is never NULL; otherwise all that is said above holds.
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

#ifdef __cplusplus
}
#endif
