// What the converters make of a table, read from the table alone.
#pragma once

#include "tools/ucvtab/table_image.h"

namespace ucvtab {

constexpr const char* kNotSound = "a position leads out of the file, or a look-up takes too many steps";

// Throws Failure(kBadInput) with kNotSound for such a table.
Codeset read_table(const TableImage& image);

}  // namespace ucvtab
