#include "tools/ucvtab/codeset.h"

#include "charset/ascii.h"
#include "charset/ebcdic_1047.h"
#include "charset/table_layout.h"
#include "tools/ucvtab/failure.h"

namespace ucvtab {

void refuse(const Codeset& codeset, const std::string& why, const Code& code) {
  const auto line = codeset.lines.find(code);
  const std::string& where = line == codeset.lines.end() ? codeset.where : line->second;
  throw Failure(kDoesNotFit, where + ": " + codeset.name + ": " + why);
}

bool is_known_kind(unsigned kind) {
  switch (kind) {
    case kSingleByte:
    case kDoubleByte:
    case kMultiByte:
    case kEbcdicMixed:
    case kEbcdicSingle:
    case kGb18030:
      return true;
    default:
      return false;
  }
}

bool is_ebcdic(Kind kind) { return kind == kEbcdicMixed || kind == kEbcdicSingle; }

unsigned max_code_length(Kind kind) {
  switch (kind) {
    case kSingleByte:
    case kEbcdicSingle:
      return 1;
    case kDoubleByte:
    case kEbcdicMixed:
      return 2;
    default:
      return Code::kMaxLength;
  }
}

std::optional<char16_t> fixed_decode(Kind kind, uint8_t byte) {
  if (is_ebcdic(kind)) {
    if (invar_eb_to_ucs[byte] == 0) return std::nullopt;
    return static_cast<char16_t>(def_eb_to_ucs[byte]);
  }
  if (byte < 0x80) return byte;
  return std::nullopt;
}

std::optional<uint8_t> fixed_encode(Kind kind, char32_t unit) {
  if (unit >= 0x80) return std::nullopt;
  if (!is_ebcdic(kind)) return static_cast<uint8_t>(unit);
  if (invar_ucs_to_eb[unit] == 0) return std::nullopt;
  return def_ucs_to_eb[unit];
}

std::string normal_name(std::string_view name) {
  std::string normal;
  for (char c : name) {
    if (ascii_alnum(c)) normal += ascii_upper(c);
  }
  return normal;
}

unsigned name_field_size(Kind kind) {
  return (kind == kGb18030 ? table_layout::kGbStructure : table_layout::kKind) - table_layout::kName;
}

std::string name_fault(const std::string& name, Kind kind) {
  const unsigned room = name_field_size(kind);
  if (name.empty() || name != normal_name(name)) return name + ": a name is capital letters and digits";
  if (name.size() > room - 1)
    return name + ": a name has at most " + std::to_string(room - 1) + " characters";
  if (name.starts_with("QXO")) return name + ": name look-up takes a leading QXO away";
  for (const char* reserved : {"UTF8", "OS", "DOS", "WIN", "DEFAULT"}) {
    if (name == reserved) return name + ": names a codeset without a table";
  }
  return {};
}

}  // namespace ucvtab
