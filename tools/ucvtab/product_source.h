// The product's own converters as a source: what text really becomes, by the code that ships.
#pragma once

#include "charset/codeset.h"
#include "tools/ucvtab/source.h"

namespace ucvtab {

struct FreeCodeset {
  void operator()(xcs_cs_t* codeset) const { xcs_cs_free(codeset); }
};
using CodesetHandle = std::unique_ptr<xcs_cs_t, FreeCodeset>;

// The codeset that the product gives for `name`; with a "/" in it that is a path and means this file, not one
// of that name in XCSDIR. Throws Failure: kUnknownSource for a name, kFileError or kBadInput for a path.
CodesetHandle open_codeset(const std::string& name);

enum class Form { kUcs2, kUtf8 };  // the encoding of Unicode on the other side of the converters

// Loads the table at `path` as the product does. A "?" that the converters substitute reads as unmapped.
// Throws what open_codeset throws.
std::unique_ptr<Source> open_product(const std::string& path, Form form);

}  // namespace ucvtab
