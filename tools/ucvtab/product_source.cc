#include "tools/ucvtab/product_source.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>

#include "charset/convert.h"
#include "tools/ucvtab/failure.h"

namespace mar::ucvtab {
namespace {

constexpr int kRoom = 32;  // units; more than any single character takes

std::u32string from_ucs2(const uint16_t* unit, const uint16_t* end) {
  std::u32string text;
  for (; unit != end; ++unit) {
    const bool joins = unit[0] >> 10 == 0x36 && unit + 1 != end && unit[1] >> 10 == 0x37;
    text += joins ? 0x10000 + ((unit[0] & 0x3FFu) << 10 | (unit[1] & 0x3FFu)) : char32_t{unit[0]};
    if (joins) ++unit;
  }
  return text;
}

std::string to_utf8(const std::u32string& text) {
  std::string utf8;
  for (const char32_t point : text) {
    constexpr uint8_t kLeads[] = {0, 0, 0xC0, 0xE0, 0xF0};
    unsigned shift = 6 * (utf8_length(point) - 1);
    utf8 += static_cast<char>(kLeads[utf8_length(point)] | point >> shift);
    while (shift != 0) utf8 += static_cast<char>(0x80 | (point >> (shift -= 6) & 0x3F));
  }
  return utf8;
}

}  // namespace

CodesetHandle open_codeset(const std::string& name) {
  const bool is_path = name.find('/') != std::string::npos;
  // The product tries relative paths below XCSDIR before it takes them as they are.
  const std::string wanted = is_path ? std::filesystem::absolute(name).string() : name;
  CodesetHandle codeset(xcs_cs_new(wanted.c_str()));
  if (codeset) return codeset;
  if (!is_path) {
    throw Failure(kUnknownSource, name + ": no such codeset (tables are sought in XCSDIR/codeset)");
  }
  if (access(name.c_str(), R_OK) != 0) throw Failure(kFileError, name + ": " + std::strerror(errno));
  throw Failure(kBadInput, name + ": the product finds no table here");
}

ProductSource::ProductSource(const std::string& path)
    : codeset_(open_codeset(path.find('/') == std::string::npos ? "./" + path : path)),
      kind_(static_cast<Kind>(codeset_->kind)) {}

Decoded ProductSource::decode(const Code& code) {
  const std::string bytes = kind_ == kEbcdicMixed ? with_shifts(code) : std::string(code.view());
  const char* in = bytes.data();
  auto left = static_cast<uint32_t>(bytes.size());
  uint16_t units[kRoom];
  uint16_t* end = units;
  uint32_t room = kRoom;
  codeset_->to_state = 0;
  const int result = xcs_to_ucs2_r(codeset_.get(), &in, &left, &end, &room);
  const std::u32string text = from_ucs2(units, end);
  char utf8[4 * kRoom];
  const size_t length =
      xcs_to_utf8(codeset_.get(), bytes.data(), static_cast<int>(bytes.size()), utf8, sizeof utf8);
  const bool agrees = std::string_view(utf8, length) == to_utf8(text);
  const bool substituted = text == U"?" && encode(U'?') != code;
  utf8_agrees_ = agrees;
  if (result == XCS_INPUT_CUT) return {Decoded::kIncomplete, {}};
  return substituted || text.empty() ? Decoded{} : Decoded{Decoded::kMapped, text};
}

Code ProductSource::encode(char32_t point) {
  uint16_t units[3] = {static_cast<uint16_t>(point)};  // the mixed family reads one unit past its input
  const bool is_pair = point > 0xFFFF;
  if (is_pair) {
    units[0] = static_cast<uint16_t>(0xD800 | (point - 0x10000) >> 10);
    units[1] = static_cast<uint16_t>(0xDC00 | (point & 0x3FF));
  }
  char out[kRoom], other[kRoom];
  const std::string_view bytes(out, xcs_from_ucs2(codeset_.get(), units, is_pair ? 2 : 1, out, sizeof out));
  const std::string utf8 = to_utf8({point});
  const size_t length =
      xcs_from_utf8(codeset_.get(), utf8.data(), static_cast<int>(utf8.size()), other, sizeof other);
  // Only GB18030 takes four-byte UTF-8 as one character.
  utf8_agrees_ = (is_pair && kind_ != kGb18030) || bytes == std::string_view(other, length);
  // Of a surrogate pair each half is substituted.
  const bool substituted = bytes.find_first_not_of(is_ebcdic(kind_) ? '\x6F' : '?') == std::string::npos;
  if (substituted && point != U'?') return {};
  return kind_ == kEbcdicMixed ? without_shifts(bytes) : code_from_bytes(bytes);
}

}  // namespace mar::ucvtab
