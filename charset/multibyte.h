// Characters and strings between a codeset's bytes and UCS-2 units. A codeset of NULL is the default.
// Supplementary characters cannot be converted here: their two units would have to pass one by one. Threads
// and cancellation as in charset/convert.h.
#pragma once

#include "charset/codeset.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

enum { XCS_MB_MAX = 4 };  // bytes that xcs_wctomb may write

// These three use the codeset's shift state and keep it.

// Writes the bytes of `unit` and returns how many; 0 if `bytes` is NULL, or -1.
int xcs_wctomb(xcs_cs_t* codeset, char* bytes, uint16_t unit);

// Decodes the character in the first n bytes and returns its length; 0 if it is NUL or `bytes` is NULL, or
// -1. `unit` may be NULL.
int xcs_mbtowc(xcs_cs_t* codeset, uint16_t* unit, const char* bytes, uint32_t n);
int xcs_mblen(xcs_cs_t* codeset, const char* bytes, uint32_t n);

// Terminated strings, on a copy of the codeset in its initial state. The size limits what is written; the
// terminator is written if it fits. Without an output they count what would be written. Both return the units
// written without the terminator, or -1 for text that cannot be converted. They never read past the
// terminator.
long xcs_wcstombs(xcs_cs_t* codeset, char* bytes, const uint16_t* ucs2, uint32_t size_bytes);
long xcs_mbstowcs(xcs_cs_t* codeset, uint16_t* ucs2, const char* bytes, uint32_t size_units);

// Decodes the next unit of a terminated string without reading past the terminator. Returns 1 after moving
// `*bytes` on; 0 at the terminator, with `*unit` 0; or -1. Uses the codeset's shift state and keeps it.
// Neither pointer may be NULL.
int xcs_next_unit(xcs_cs_t* codeset, const char** bytes, uint16_t* unit);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
