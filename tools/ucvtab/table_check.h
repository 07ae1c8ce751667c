// Faults in a finished table that no converter would report: it would just read something else.
#pragma once

#include <string>
#include <vector>

#include "tools/ucvtab/table_reader.h"

namespace ucvtab {

// One text per fault; none for a sound table.
std::vector<std::string> check_table(const TableImage& image);

}  // namespace ucvtab
