#include "tools/ucvtab/code.h"

#include <algorithm>
#include <charconv>
#include <cstdio>

#include "charset/ascii.h"

namespace mar::ucvtab {

using namespace charset;

namespace {

template <class Number>
bool parse(std::string_view digits, Number& out, int base) {
  const char* end = digits.data() + digits.size();
  auto [stop, error] = std::from_chars(digits.data(), end, out, base);
  return error == std::errc() && stop == end;
}

}  // namespace

Code code_from_bytes(std::string_view bytes) {
  Code code;
  if (bytes.size() > Code::kMaxLength) return code;
  std::copy(bytes.begin(), bytes.end(), code.bytes.begin());
  code.length = static_cast<uint8_t>(bytes.size());
  return code;
}

std::string with_shifts(const Code& code) {
  if (code.length < 2) return std::string(code.view());
  return kShiftOut + std::string(code.view()) + kShiftIn;
}

Code without_shifts(std::string_view text) {
  if (text.size() < 2) return code_from_bytes(text);
  if (text.ends_with(kShiftIn)) text.remove_suffix(1);
  return text.size() == 3 && text[0] == kShiftOut ? code_from_bytes(text.substr(1)) : Code{};
}

std::string to_hex(const Code& code) {
  constexpr char kDigits[] = "0123456789ABCDEF";
  std::string text;
  for (unsigned i = 0; i < code.length; ++i) {
    text += kDigits[code.bytes[i] >> 4];
    text += kDigits[code.bytes[i] & 15];
  }
  return text;
}

std::optional<Code> code_from_hex(std::string_view digits) {
  if (digits.empty() || digits.size() % 2 != 0 || digits.size() > size_t{2} * Code::kMaxLength)
    return std::nullopt;
  Code code;
  for (; !digits.empty(); digits.remove_prefix(2)) {
    uint8_t byte = 0;
    if (!parse(digits.substr(0, 2), byte, 16)) return std::nullopt;
    code = code.with(byte);
  }
  return code;
}

std::string to_text(char32_t point) {
  char text[16];
  std::snprintf(text, sizeof text, "U+%04X", static_cast<unsigned>(point));
  return text;
}

std::optional<char32_t> point_from_text(std::string_view text) {
  if (text.starts_with("U+")) text.remove_prefix(2);
  uint32_t value = 0;
  if (text.size() > 6 || !parse(text, value, 16) || value > 0x10FFFF) return std::nullopt;
  return static_cast<char32_t>(value);
}

std::optional<unsigned> number_from_text(std::string_view digits) {
  unsigned value = 0;
  if (!parse(digits, value, 10)) return std::nullopt;
  return value;
}

std::string printable(std::string_view text) {
  std::string shown;
  for (const char c : text) {
    if (ascii_control(c))
      shown += "\\x" + to_hex(single(static_cast<uint8_t>(c)));
    else
      shown += c;
  }
  return shown;
}

}  // namespace mar::ucvtab
