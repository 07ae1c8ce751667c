/* Declarations that C and C++ share. C has neither typed constants that other constants may use nor
 * enumerations of a stated type, and C99 has no static assertion. */
#pragma once

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus

/* A number; in C an enumerator, so it has to fit an int. */
#define MAR_CONSTANT(type, name, value) inline constexpr type name = value
/* A NUL-terminated text. */
#define MAR_TEXT(name, text) inline constexpr char name[] = text
/* The type that stands for an enumeration; in C the compiler chooses. */
#define MAR_ENUM_TYPE(type) : type
/* Fails to compile unless `condition` holds. */
#define MAR_PINNED(condition) static_assert(condition)

#else

#define MAR_CONSTANT(type, name, value) enum { name = (value) }
#define MAR_TEXT(name, text) static const char name[] = text
#define MAR_ENUM_TYPE(type)
#if defined(__STDC_VERSION__) && __STDC_VERSION__ >= 201112L
#define MAR_PINNED(condition) _Static_assert(condition, #condition)
#else
/* Declares the same function again each time; its type is invalid if the condition does not hold. */
#define MAR_PINNED(condition) extern char(*mar_pinned(void))[(condition) ? 1 : -1]
#endif

#endif
