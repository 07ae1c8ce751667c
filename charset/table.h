// How a table file is found and read, and whether it may be read without checks.
#pragma once

#include <stddef.h>
#include <stdint.h>

#include "charset/codeset.h"

namespace mar::charset {

constexpr size_t kPathSize = 256;  // of a table file, with the NUL

// True when no conversion of the codeset's kind can leave its table; such tables are read without checks. A
// bad table is no error: it converts with checks. Takes well under a millisecond.
bool verify_table(const xcs_cs_t& codeset);

}  // namespace mar::charset

// Reads the file `prefix` + `name`, or the table at the end of a chain of at most four redirect files;
// codeset.h says which prefixes are tried. Returns the whole file, to be released with free(), and its size
// in bytes in `*size` (may be NULL); NULL and 0 when there is no such table. The two texts and a NUL must fit
// in kPathSize bytes. Only regular files are read.
extern "C" void* load_table(const char* prefix, const char* name, uint32_t* size);
