// Mixed EBCDIC on the wire: pairs stand between shift-out and shift-in, single bytes outside.
#pragma once

#include <string>

#include "charset/table_layout.h"
#include "tools/ucvtab/code.h"

namespace ucvtab {

constexpr char kShiftOut = 0x0E;
constexpr char kShiftIn = 0x0F;

using mar::charset::table_layout::is_mixed_lead;

inline std::string with_shifts(const Code& code) {
  if (code.length < 2) return std::string(code.view());
  return kShiftOut + std::string(code.view()) + kShiftIn;
}

// The one code in `text`; the closing shift-in may be missing. Empty when it holds anything else.
inline Code without_shifts(std::string_view text) {
  if (text.size() < 2) return code_from_bytes(text);
  if (text.ends_with(kShiftIn)) text.remove_suffix(1);
  return text.size() == 3 && text[0] == kShiftOut ? code_from_bytes(text.substr(1)) : Code{};
}

}  // namespace ucvtab
