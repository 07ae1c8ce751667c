// Resolution of a codeset name to a table's name. Threads and cancellation as in charset/codeset.h: one
// thread at a time.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

// Resolves `name` to the name of a table. First the name is normalised: "ISO-8859-1" becomes "ISO88591" and
// "utf-8" becomes "UTF8"; "os", "Win" and "DOS" become the codeset of the process locale, after setlocale for
// all categories. Then the first matching line of the aliases file replaces it. That file is the first of
// XCSDIR/codeset/aliases, XCSDIR/aliases and ./aliases that opens, and it stays open until the next look-up.
// The result is cut to `size` bytes and always terminated; a NULL name counts as "". Returns 1 if there is no
// room at all, else 0.
int get_table_name(const char* name, char* table_name, uint32_t size);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
