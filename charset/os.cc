// The OS codeset, and every kind without a family. To and from UCS-2 it is ISO 8859-1; to and from UTF-8 it
// copies the bytes. The asymmetry is deliberate: a file name passes through UTF-8 unharmed, whatever its
// encoding is.
#include <algorithm>
#include <cstring>

#include "charset/convert.h"
#include "charset/unicode_text.h"

namespace mar::charset {
namespace {

// One unit in, one unit out.
template <class InChar, class OutChar, class Convert>
int convert_units(const InChar** in, const InChar* in_end, OutChar** out, OutChar* out_end, Convert convert) {
  if (*in >= in_end) return XCS_CONVERTED;
  if (*out >= out_end) return XCS_OUTPUT_FULL;
  const ptrdiff_t count = std::min(in_end - *in, out_end - *out);
  std::transform(*in, *in + count, *out, convert);
  *in += count;
  *out += count;
  return *in == in_end ? XCS_CONVERTED : XCS_OUTPUT_FULL;
}

char same(char byte) { return byte; }
uint16_t widened(char byte) { return static_cast<uint8_t>(byte); }
char narrowed(uint16_t unit) { return static_cast<char>(unit); }

}  // namespace
}  // namespace mar::charset

using namespace mar::charset;

int os_to_ucs2_r(xcs_cs_t* codeset, const char** in, const char* in_end, uint16_t** out, uint16_t* out_end) {
  if (!is_reset(in)) return convert_units(in, in_end, out, out_end, widened);
  codeset->to_state = 0;
  return XCS_CONVERTED;
}

int os_from_ucs2_r(xcs_cs_t* codeset, const uint16_t** in, const uint16_t* in_end, char** out,
                   char* out_end) {
  if (!is_reset(in)) return convert_units(in, in_end, out, out_end, narrowed);
  codeset->from_state = 0;
  return XCS_CONVERTED;
}

int os_to_utf8_r(xcs_cs_t* codeset, const char** in, const char* in_end, char** out, char* out_end) {
  if (!is_reset(in)) return convert_units(in, in_end, out, out_end, same);
  codeset->to_state = 0;
  return XCS_CONVERTED;
}

int os_from_utf8_r(xcs_cs_t* codeset, const char** in, const char* in_end, char** out, char* out_end) {
  if (!is_reset(in)) return convert_units(in, in_end, out, out_end, same);
  codeset->from_state = 0;
  return XCS_CONVERTED;
}
