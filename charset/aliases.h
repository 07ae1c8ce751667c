// Resolution of a codeset name to a table's name.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

// Normalises `name` ("ISO-8859-1" gives "ISO88591", "utf-8" gives "UTF8"; "os", "Win" and "DOS" give the
// codeset of the process locale, after setlocale for all categories) and replaces it by the table name of the
// first matching line of the aliases file: XCSDIR/codeset/aliases, XCSDIR/aliases or ./aliases. Without a
// match the normalised name stands. The result is cut to `size` bytes and always terminated; NULL counts as
// "". Keeps the aliases file of the last look-up open until the next one. Returns 1 when there is no room at
// all, else 0.
int get_table_name(const char* name, char* table_name, uint32_t size);

#ifdef __cplusplus
}
#endif
