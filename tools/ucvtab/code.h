// One encoded character: a sequence of 1 to 4 bytes. A length of 0 stands for "no code".
#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace ucvtab {

struct Code {
  static constexpr uint8_t kMaxLength = 4;

  uint8_t length = 0;
  std::array<uint8_t, kMaxLength> bytes{};

  // Shorter codes sort first, codes of one length by their bytes.
  bool operator==(const Code&) const = default;
  bool operator<(const Code& other) const {
    return length != other.length ? length < other.length : bytes < other.bytes;
  }

  [[nodiscard]] bool empty() const { return length == 0; }
  [[nodiscard]] std::string_view view() const {
    return {reinterpret_cast<const char*>(bytes.data()), length};
  }
  // This code with one byte more; `length` must be below kMaxLength.
  [[nodiscard]] Code with(unsigned next) const {
    Code longer = *this;
    longer.bytes[longer.length++] = static_cast<uint8_t>(next);
    return longer;
  }
};

inline Code single(unsigned byte) { return Code{}.with(byte); }
inline Code pair(unsigned first, unsigned second) { return single(first).with(second); }

// The code with these bytes, or no code when there are none or too many.
Code code_from_bytes(std::string_view bytes);

// "8140" for the bytes 0x81 0x40, and back; nothing for odd or bad digits or more than 4 bytes.
std::string to_hex(const Code& code);
std::optional<Code> code_from_hex(std::string_view digits);

// "U+20AC", and back from "U+20AC" or "20AC"; nothing above U+10FFFF.
std::string to_text(char32_t point);
std::optional<char32_t> point_from_text(std::string_view text);

// `text` with its control characters, which a terminal would obey, as "\\x1B".
std::string printable(std::string_view text);

// Bytes of the character in UTF-8, 1 to 4.
inline unsigned utf8_length(char32_t point) {
  return point < 0x80 ? 1 : point < 0x800 ? 2 : point < 0x10000 ? 3 : 4;
}
inline bool is_surrogate(char32_t point) { return point >= 0xD800 && point <= 0xDFFF; }

}  // namespace ucvtab
