// String functions on NUL-terminated arrays of UCS-2 units, the library's wide character. Each works as the
// standard function of the same name without the prefix. Lengths and counts are in units; units compare as
// unsigned numbers. No function accepts NULL unless its comment says so. None allocates or keeps a state, so
// any thread may call.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

uint32_t xcs_wcslen(const uint16_t* s);
uint32_t xcs_wcsnlen(const uint16_t* s, uint32_t limit);
uint16_t* xcs_wcscat(uint16_t* to, const uint16_t* from);
// Appends at most n units, then a terminator.
uint16_t* xcs_wcsncat(uint16_t* to, const uint16_t* from, uint32_t n);
uint16_t* xcs_wcscpy(uint16_t* to, const uint16_t* from);
// Writes n units; no terminator if `from` has n units or more.
uint16_t* xcs_wcsncpy(uint16_t* to, const uint16_t* from, uint32_t n);
// Both find the terminator if `unit` is 0.
uint16_t* xcs_wcschr(const uint16_t* s, uint16_t unit);
uint16_t* xcs_wcsrchr(const uint16_t* s, uint16_t unit);
// Returns the difference of the first units that differ.
int xcs_wcsncmp(const uint16_t* a, const uint16_t* b, uint32_t n);
uint32_t xcs_wcsspn(const uint16_t* s, const uint16_t* set);
uint32_t xcs_wcscspn(const uint16_t* s, const uint16_t* set);
uint16_t* xcs_wcspbrk(const uint16_t* s, const uint16_t* set);
uint16_t* xcs_wcswcs(const uint16_t* haystack, const uint16_t* needle);

// Returns the next token of `s` or, if that is NULL, of the text at `*save`; NULL if there is none, also if
// both are NULL. Overwrites the token's delimiter with 0 and moves `*save` past it; after the last token
// `*save` is on the terminator.
uint16_t* xcs_wcstok(uint16_t* s, const uint16_t* delimiters, uint16_t** save);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
