// The product's own converters as a source: what text really becomes, by the code that ships.
#pragma once

#include "charset/codeset.h"
#include "tools/ucvtab/source.h"

namespace mar::ucvtab {

struct FreeCodeset {
  void operator()(xcs_cs_t* codeset) const { xcs_cs_free(codeset); }
};
using CodesetHandle = std::unique_ptr<xcs_cs_t, FreeCodeset>;

// The codeset that the product knows by `name`. A name with a "/" is the path of that very file, never of one
// in XCSDIR. Throws Failure: kUnknownSource for a name, kFileError or kBadInput for a path.
CodesetHandle open_codeset(const std::string& name);

// Converts by way of UCS-2. A "?" that the converters substitute reads as unmapped.
class ProductSource : public Source {
 public:
  // Loads the table at `path` as the product does. Throws what open_codeset throws.
  explicit ProductSource(const std::string& path);

  Decoded decode(const Code& code) override;
  Code encode(char32_t point) override;
  // Whether the last call would have returned the same by way of UTF-8.
  [[nodiscard]] bool utf8_agrees() const { return utf8_agrees_; }

 private:
  CodesetHandle codeset_;
  Kind kind_;
  bool utf8_agrees_ = true;
};

}  // namespace mar::ucvtab
