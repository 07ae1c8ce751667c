#include "charset/multibyte.h"

#include <cstring>

#include "charset/codeset_default.h"
#include "charset/convert.h"

namespace mar::charset {
namespace {

xcs_cs_t fresh_copy(xcs_cs_t* codeset) {
  xcs_cs_t copy = *codeset_or_default(codeset);
  copy.from_state = copy.to_state = 0;
  return copy;
}

// Encodes one unit and stores the number of bytes in `*written`. The unit and its successor are passed as a
// local pair, because the mixed EBCDIC codesets read the unit past their input. Returns the converter's
// result, and XCS_INPUT_CUT whenever the unit was not consumed.
int put_unit(xcs_cs_t* codeset, uint16_t unit, uint16_t next, char* bytes, uint32_t room, uint32_t* written) {
  const uint16_t pair[2] = {unit, next};
  const uint16_t* in = pair;
  uint32_t left = 1;
  uint32_t room_left = room;
  const int result = xcs_from_ucs2_r(codeset, &in, &left, &bytes, &room_left);
  *written = room - room_left;
  return result == XCS_CONVERTED && left != 0 ? XCS_INPUT_CUT : result;
}

long count_bytes(xcs_cs_t& codeset, const uint16_t* ucs2) {
  for (long count = 0;; ++ucs2) {
    char bytes[XCS_MB_MAX];
    uint32_t written;
    const uint16_t next = *ucs2 != 0 ? ucs2[1] : uint16_t{0};
    if (put_unit(&codeset, *ucs2, next, bytes, sizeof bytes, &written) != XCS_CONVERTED) return -1;
    count += written;
    if (bytes[written - 1] == '\0') return count - 1;
  }
}

}  // namespace
}  // namespace mar::charset

using namespace mar::charset;

int xcs_wctomb(xcs_cs_t* codeset, char* bytes, uint16_t unit) {
  uint32_t written;
  if (bytes == nullptr) return 0;
  if (put_unit(codeset, unit, 0, bytes, XCS_MB_MAX, &written) != XCS_CONVERTED) return -1;
  return static_cast<int>(written);
}

int xcs_mbtowc(xcs_cs_t* codeset, uint16_t* unit, const char* bytes, uint32_t n) {
  if (bytes == nullptr) return 0;
  uint16_t local;
  uint16_t* const first = unit != nullptr ? unit : &local;
  uint16_t* out = first;
  uint32_t room = 1;
  uint32_t left = n;
  xcs_to_ucs2_r(codeset, &bytes, &left, &out, &room);
  if (room != 0) return -1;
  return *first == 0 ? 0 : static_cast<int>(n - left);
}

int xcs_mblen(xcs_cs_t* codeset, const char* bytes, uint32_t n) {
  return xcs_mbtowc(codeset, nullptr, bytes, n);
}

int xcs_next_unit(xcs_cs_t* codeset, const char** bytes, uint16_t* unit) {
  uint32_t room = 1;
  auto left = static_cast<uint32_t>(strnlen(*bytes, XCS_MB_MAX));
  const bool terminator_near = left < XCS_MB_MAX;
  xcs_to_ucs2_r(codeset, bytes, &left, &unit, &room);
  // The terminator is converted only if shift bytes alone stood before it. It must not become the trail of a
  // cut character.
  if (room != 0 && left == 0 && terminator_near) {
    left = 1;
    xcs_to_ucs2_r(codeset, bytes, &left, &unit, &room);
  }
  if (room != 0) return -1;
  return unit[-1] == 0 ? 0 : 1;
}

long xcs_wcstombs(xcs_cs_t* codeset, char* bytes, const uint16_t* ucs2, uint32_t size_bytes) {
  xcs_cs_t copy = fresh_copy(codeset);
  if (bytes == nullptr) return count_bytes(copy, ucs2);
  for (uint32_t total = 0;; ++ucs2) {
    uint32_t written;
    const uint16_t next = *ucs2 != 0 ? ucs2[1] : uint16_t{0};
    const int result = put_unit(&copy, *ucs2, next, bytes + total, size_bytes - total, &written);
    total += written;
    if (result == XCS_OUTPUT_FULL) {
      if (total < size_bytes) bytes[total] = '\0';
      return total;
    }
    if (result != XCS_CONVERTED) return -1;
    if (bytes[total - 1] == '\0') return total - 1;
  }
}

long xcs_mbstowcs(xcs_cs_t* codeset, uint16_t* ucs2, const char* bytes, uint32_t size_units) {
  xcs_cs_t copy = fresh_copy(codeset);
  for (long count = 0;; ++count) {
    if (ucs2 != nullptr && count == size_units) return count;
    uint16_t unit;
    const int result = xcs_next_unit(&copy, &bytes, &unit);
    if (result < 0) return -1;
    if (ucs2 != nullptr) ucs2[count] = unit;
    if (result == 0) return count;
  }
}
