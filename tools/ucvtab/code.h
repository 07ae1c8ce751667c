// One encoded character: a sequence of 1 to 4 bytes. A length of 0 means "no code".
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace mar::ucvtab {

struct Code {
  static constexpr uint8_t kMaxLength = 4;

  uint8_t length = 0;
  std::array<uint8_t, kMaxLength> bytes{};

  // Shorter codes sort first, codes of one length by their bytes.
  auto operator<=>(const Code&) const = default;

  [[nodiscard]] bool empty() const { return length == 0; }
  [[nodiscard]] std::string_view view() const {
    return {reinterpret_cast<const char*>(bytes.data()), length};
  }
  // This code and one more byte. `length` must be below kMaxLength.
  [[nodiscard]] Code with(unsigned next) const {
    Code longer = *this;
    longer.bytes[longer.length++] = static_cast<uint8_t>(next);
    return longer;
  }
};

inline Code single(unsigned byte) { return Code{}.with(byte); }
inline Code pair(unsigned first, unsigned second) { return single(first).with(second); }

// The code with these bytes. No code when there are none or too many.
Code code_from_bytes(std::string_view bytes);

// In mixed EBCDIC text a pair stands between shift-out and shift-in, a single byte outside.
constexpr char kShiftOut = 0x0E;
constexpr char kShiftIn = 0x0F;
std::string with_shifts(const Code& code);
// The one code in `text`, whose closing shift-in may be missing. No code when `text` holds anything else.
Code without_shifts(std::string_view text);

// "8140" for the bytes 0x81 0x40, and back. Odd or bad digits and more than 4 bytes are no code.
std::string to_hex(const Code& code);
std::optional<Code> code_from_hex(std::string_view digits);

// "U+20AC", and back from "U+20AC" or "20AC". Nothing above U+10FFFF.
std::string to_text(char32_t point);
std::optional<char32_t> point_from_text(std::string_view text);

// The decimal number that `digits` are.
std::optional<unsigned> number_from_text(std::string_view digits);

// `text` with its control characters, which a terminal would obey, written as "\\x1B".
std::string printable(std::string_view text);

// Bytes of the character in UTF-8, 1 to 4.
inline unsigned utf8_length(char32_t point) {
  return point < 0x80 ? 1 : point < 0x800 ? 2 : point < 0x10000 ? 3 : 4;
}
inline bool is_surrogate(char32_t point) { return point >= 0xD800 && point <= 0xDFFF; }

}  // namespace mar::ucvtab
