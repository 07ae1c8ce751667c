// Two sources side by side, by every code and every character.
#pragma once

#include "tools/ucvtab/source.h"

namespace ucvtab {

// Calls `differs` for each code that means different things in `a` and `b`. Codes are those of for_each_code
// on `a`; a code that `b` holds behind a byte that `a` refuses shows at that byte.
template <class Differs>
void compare_decode(Source& a, Source& b, Kind kind, Differs differs) {
  for_each_code(a, kind, [&](const Code& code, const Decoded& in_a) {
    const Decoded in_b = b.decode(code);
    if (!(in_a == in_b)) differs(code, in_a, in_b);
  });
}

// The same for each character that encodes differently. Tables but GB18030's end at U+FFFF, yet all are
// asked.
template <class Differs>
void compare_encode(Source& a, Source& b, Differs differs) {
  for (char32_t point = 0; point <= 0x10FFFF; ++point) {
    if (is_surrogate(point)) continue;
    const Code in_a = a.encode(point);
    const Code in_b = b.encode(point);
    if (!(in_a == in_b)) differs(point, in_a, in_b);
  }
}

}  // namespace ucvtab
