// Characters and strings between a codeset's bytes and UCS-2 units. A codeset of NULL is the default. No text
// can hold a supplementary character here: its two units do not go one by one.
#pragma once

#include "charset/codeset.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { XCS_MB_MAX = 4 };  // bytes that xcs_wctomb may write

// These three use and keep the codeset's shift state.
int xcs_wctomb(xcs_cs_t* codeset, char* bytes,
               uint16_t unit);  // bytes written, 0 when `bytes` is NULL, or -1
// The character in the first n bytes: its length, 0 when it is NUL or `bytes` is NULL, or -1. `unit` may be
// NULL.
int xcs_mbtowc(xcs_cs_t* codeset, uint16_t* unit, const char* bytes, uint32_t n);
int xcs_mblen(xcs_cs_t* codeset, const char* bytes, uint32_t n);

// Terminated strings, on a copy of the codeset in its initial state. The size limits what is written; there
// is a terminator when it fits. Without an output they count what would be written. Both return the units
// written without the terminator, or -1 for text that cannot be converted. Never read behind the terminator.
long xcs_wcstombs(xcs_cs_t* codeset, char* bytes, const uint16_t* ucs2, uint32_t size_bytes);
long xcs_mbstowcs(xcs_cs_t* codeset, uint16_t* ucs2, const char* bytes, uint32_t size_units);

// The next unit of a terminated string, never reading behind the terminator: 1 with `*bytes` moved on; 0 at
// the terminator, `*unit` being 0; or -1. Uses and keeps the codeset's shift state; neither pointer may be
// NULL.
int xcs_next_unit(xcs_cs_t* codeset, const char** bytes, uint16_t* unit);

#ifdef __cplusplus
}
#endif
