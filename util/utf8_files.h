// File-system, process and environment calls in UTF-8. The product keeps names in UTF-8; the system takes
// them in the codeset of the process locale, which this file holds. Like the character-set library below it,
// it takes no locks: call init_cs_to_utf8 once, early, on one thread. Errors: each function returns what the
// system call returns and leaves the call's errno. Each is a cancellation point where its system call is one;
// a thread cancelled there may leak the converted name.
#pragma once

#include <stddef.h>
#include <stdio.h>
#include <sys/stat.h>
#include <sys/types.h>

#include "charset/codeset.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

// The locale's codeset; NULL until init_cs_to_utf8, and again after that codeset has been freed. While it is
// NULL, all conversions here use the library's default codeset.
extern xcs_cs_t* local_cs;

// If local_cs is NULL: stores the library's default codeset there and makes UTF-8 the default, so that a
// codeset of NULL means UTF-8 everywhere from then on.
void init_cs_to_utf8(void);
xcs_cs_t* get_local_cs(void);

// Convert a terminated text into a new, terminated block in `*out`, which the caller frees; NULL counts as
// empty. A locale byte grows to at most 3 UTF-8 bytes, a UTF-8 byte to at most 2 locale bytes; longer output
// is cut. Return the bytes written, terminator included, or 0 with a NULL block if memory runs out.
uint32_t local_cs_to_utf8(const char* text, char** out);
uint32_t utf8_to_local_cs(const char* utf8, char** out);

// The same, returning the block; NULL for NULL and if memory runs out.
char* FromMBCSToUtf8(const char* text);
char* FromUtf8ToMBCS(const char* utf8);

// Each behaves as the call without the prefix, on a UTF-8 name. A call on a file is restarted when a signal
// interrupts it, so none fails with EINTR; utf8_system and utf8_execvp are not. If the name is NULL (errno
// EFAULT) or memory runs out, the result is -1, or NULL from utf8_fopen, and no call is made. A character
// that the locale cannot represent becomes "?" in the name.
int utf8_open(const char* path, int flags, ...);  // always pass the mode
FILE* utf8_fopen(const char* path, const char* mode);
int utf8_stat(const char* path, struct stat* status);
int utf8_mkdir(const char* path, mode_t mode);
int utf8_chdir(const char* path);
int utf8_remove(const char* path);
int utf8_system(const char* command);
int utf8_execvp(const char* file, char* const argv[]);  // converts the arguments too; -1 if one cannot be

// The working directory in a new block that the caller frees, never in `buffer`; NULL if getcwd
// fails. A buffer, if given, must have room for the locale's form; it receives the text too, cut to
// `size` bytes and terminated.
char* utf8_getcwd(char* buffer, size_t size);

// Copies the variable's value to `value`, which has utf8_getenv_bufflen bytes; both return its length with
// the terminator, or -1 if it is not set.
int utf8_getenv(const char* name, char* value);
int utf8_getenv_bufflen(const char* name);

// The value in a new block that the caller frees, or NULL if it is not set. One call, so the value cannot
// change between asking for its length and copying it.
char* utf8_getenv_copy(const char* name);

// These walk a terminated text character by character and read nothing past the terminator.
// The start of the next character; NULL at the terminator, at a sequence that is not valid in the codeset,
// and at a character that does not fit into one UCS-2 unit. A codeset of NULL is the default; its shift state
// is used and kept.
const char* APM_NextChar(xcs_cs_t* codeset, const char* text);
// The start of the index-th character, counting the terminator as the last; NULL past it, after an invalid
// sequence, for NULL arguments and for a negative index.
const char* APM_GetChar(xcs_cs_t* codeset, const char* text, int index);
// The number of characters before the terminator; -1 for NULL arguments and invalid text.
int APM_MBCSStrLength(xcs_cs_t* codeset, const char* text);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
