#include "charset/wide_string.h"

#include <algorithm>

namespace mar::charset {
namespace {

bool is_in(uint16_t unit, const uint16_t* set) {
  for (; *set != 0; ++set) {
    if (*set == unit) return true;
  }
  return false;
}

}  // namespace
}  // namespace mar::charset

using namespace mar::charset;

uint32_t xcs_wcslen(const uint16_t* s) { return xcs_wcsnlen(s, UINT32_MAX); }

uint32_t xcs_wcsnlen(const uint16_t* s, uint32_t limit) {
  uint32_t length = 0;
  while (length < limit && s[length] != 0) ++length;
  return length;
}

uint16_t* xcs_wcscat(uint16_t* to, const uint16_t* from) {
  xcs_wcscpy(to + xcs_wcslen(to), from);
  return to;
}

uint16_t* xcs_wcsncat(uint16_t* to, const uint16_t* from, uint32_t n) {
  *std::copy_n(from, xcs_wcsnlen(from, n), to + xcs_wcslen(to)) = 0;
  return to;
}

uint16_t* xcs_wcscpy(uint16_t* to, const uint16_t* from) {
  std::copy_n(from, xcs_wcslen(from) + 1, to);
  return to;
}

uint16_t* xcs_wcsncpy(uint16_t* to, const uint16_t* from, uint32_t n) {
  const uint32_t length = xcs_wcsnlen(from, n);
  std::fill_n(std::copy_n(from, length, to), n - length, uint16_t{0});
  return to;
}

uint16_t* xcs_wcschr(const uint16_t* s, uint16_t unit) {
  for (; *s != unit; ++s) {
    if (*s == 0) return nullptr;
  }
  return const_cast<uint16_t*>(s);
}

uint16_t* xcs_wcsrchr(const uint16_t* s, uint16_t unit) {
  for (const uint16_t* at = s + xcs_wcslen(s);; --at) {
    if (*at == unit) return const_cast<uint16_t*>(at);
    if (at == s) return nullptr;
  }
}

int xcs_wcsncmp(const uint16_t* a, const uint16_t* b, uint32_t n) {
  for (; n != 0; --n, ++a, ++b) {
    if (*a != *b || *a == 0) return *a - *b;
  }
  return 0;
}

uint32_t xcs_wcsspn(const uint16_t* s, const uint16_t* set) {
  uint32_t length = 0;
  while (s[length] != 0 && is_in(s[length], set)) ++length;
  return length;
}

uint32_t xcs_wcscspn(const uint16_t* s, const uint16_t* set) {
  uint32_t length = 0;
  while (s[length] != 0 && !is_in(s[length], set)) ++length;
  return length;
}

uint16_t* xcs_wcspbrk(const uint16_t* s, const uint16_t* set) {
  s += xcs_wcscspn(s, set);
  return *s == 0 ? nullptr : const_cast<uint16_t*>(s);
}

uint16_t* xcs_wcswcs(const uint16_t* haystack, const uint16_t* needle) {
  const uint32_t length = xcs_wcslen(needle);
  for (;; ++haystack) {
    if (xcs_wcsncmp(haystack, needle, length) == 0) return const_cast<uint16_t*>(haystack);
    if (*haystack == 0) return nullptr;
  }
}

uint16_t* xcs_wcstok(uint16_t* s, const uint16_t* delimiters, uint16_t** save) {
  if (s == nullptr) s = *save;
  if (s == nullptr) return nullptr;
  s += xcs_wcsspn(s, delimiters);
  uint16_t* end = s + xcs_wcscspn(s, delimiters);
  *save = *end == 0 ? end : end + 1;
  *end = 0;
  return end == s ? nullptr : s;
}
