// Faults in a finished table that no converter would report: it would just read something else.
#pragma once

#include <string>
#include <vector>

#include "tools/ucvtab/table_image.h"

namespace ucvtab {

struct Fault {
  std::string text;
  Code code;  // that it is about, if any
};

// None for a sound table.
std::vector<Fault> check_table(const TableImage& image);

}  // namespace ucvtab
