// File-system, process and environment calls in UTF-8. The product keeps names in UTF-8; the system takes
// them in the codeset of the process locale, which this file holds. Like the character-set library below it
// takes no locks: call init_cs_to_utf8 once, early, on one thread.
#pragma once

#include <stddef.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/types.h>

#include "charset/codeset.h"

#ifdef __cplusplus
extern "C" {
#endif

// The locale's codeset; NULL until init_cs_to_utf8, and again when that codeset has been freed. While it is
// NULL all conversions here use the library's default codeset.
extern xcs_cs_t* local_cs;

// When local_cs is NULL: keeps the library's default codeset there and makes UTF-8 the default, so that a
// codeset of NULL means UTF-8 everywhere from then on.
void init_cs_to_utf8(void);
xcs_cs_t* get_local_cs(void);

// Conversion of a terminated text into a fresh, terminated block in `*out`, which the caller frees; NULL
// counts as empty. A locale byte grows to at most 3 UTF-8 bytes, a UTF-8 byte to 2 locale bytes; more is cut.
// Returns the bytes written, the terminator included; 0 and a NULL block without memory.
uint32_t local_cs_to_utf8(const char* text, char** out);
uint32_t utf8_to_local_cs(const char* utf8, char** out);

// The same as a result; NULL for NULL and without memory.
char* FromMBCSToUtf8(const char* text);
char* FromUtf8ToMBCS(const char* utf8);

// Each as the call without the prefix, on a UTF-8 name. A call on a file that a signal interrupts is made
// again: none of these fails with EINTR. A NULL name (errno EFAULT), or one that finds no memory, gives -1
// (utf8_fopen: NULL) and no call is made; otherwise errno is the call's. What the locale cannot hold becomes
// "?" in the name.
int utf8_open(const char* path, int flags, ...);  // always pass the mode
FILE* utf8_fopen(const char* path, const char* mode);
int utf8_stat(const char* path, struct stat* status);
int utf8_mkdir(const char* path, mode_t mode);
int utf8_chdir(const char* path);
int utf8_remove(const char* path);
int utf8_system(const char* command);
int utf8_execvp(const char* file, char* const argv[]);  // converts the arguments, too; -1 if one cannot be

// The working directory in a fresh block that the caller frees, never in `buffer`; NULL when getcwd fails. A
// buffer, if given, must hold the locale's form and gets the text too, cut to `size` and terminated.
char* utf8_getcwd(char* buffer, size_t size);

// Copies the variable's value to `value`, which has utf8_getenv_bufflen bytes; both return its length with
// the terminator, or -1 when it is not set.
int utf8_getenv(const char* name, char* value);
int utf8_getenv_bufflen(const char* name);

// The value in a fresh block that the caller frees, or NULL: one call, so that the value cannot change
// between asking for its length and its copy.
char* utf8_getenv_copy(const char* name);

// Walking a terminated text character by character; nothing is read behind the terminator.
// The start of the next character; NULL at the terminator, at a sequence that is not valid in the codeset,
// and at a character that one UCS-2 unit cannot hold. A codeset of NULL is the default; its shift state is
// used and kept.
const char* APM_NextChar(xcs_cs_t* codeset, const char* text);
// The start of the index-th character, the terminator being the last; NULL past it, for an invalid sequence
// before it, and for NULL arguments or a negative index.
const char* APM_GetChar(xcs_cs_t* codeset, const char* text, int index);
// Characters before the terminator; -1 for NULL arguments and invalid text.
int APM_MBCSStrLength(xcs_cs_t* codeset, const char* text);

#ifdef __cplusplus
}
#endif
