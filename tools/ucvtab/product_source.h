// The product's own converters as a source: what text really becomes, by the code that ships.
#pragma once

#include "tools/ucvtab/source.h"

namespace ucvtab {

enum class Form { kUcs2, kUtf8 };  // the encoding of Unicode on the other side of the converters

// Loads the table at `path` as the product does. A "?" that the converters substitute reads as unmapped.
// Throws Failure(kFileError) when the product finds no table there.
std::unique_ptr<Source> open_product(const std::string& path, Form form);

}  // namespace ucvtab
