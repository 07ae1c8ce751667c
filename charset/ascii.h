// Character classes of the C locale. The library's own scans must not depend on the process locale, which
// name resolution sets as a side effect: a Turkish toupper('i') is not 'I'.
#pragma once

namespace mar::charset {

constexpr char ascii_upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }
constexpr bool ascii_alnum(char c) {
  return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}
constexpr bool ascii_space(char c) { return c == ' ' || (c >= '\t' && c <= '\r'); }
constexpr bool ascii_control(char c) { return static_cast<unsigned char>(c) < ' ' || c == '\x7F'; }

}  // namespace mar::charset
