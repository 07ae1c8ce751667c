#include "tools/ucvtab/codeset.h"

#include "charset/ascii.h"
#include "charset/ebcdic_1047.h"
#include "charset/table_layout.h"
#include "tools/ucvtab/failure.h"

namespace mar::ucvtab {

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

unsigned max_code_length(Kind kind) {
  if (kind == kSingleByte || kind == kEbcdicSingle) return 1;
  return kind == kDoubleByte || kind == kEbcdicMixed ? 2 : Code::kMaxLength;
}

std::optional<char16_t> fixed_decode(Kind kind, unsigned byte) {
  if (is_ebcdic(kind)) {
    if (invar_eb_to_ucs[byte] == 0) return std::nullopt;
    return static_cast<char16_t>(def_eb_to_ucs[byte]);
  }
  if (byte >= 0x80) return std::nullopt;
  return static_cast<char16_t>(byte);
}

std::optional<uint8_t> fixed_encode(Kind kind, char32_t unit) {
  if (unit >= 0x80) return std::nullopt;
  if (!is_ebcdic(kind)) return static_cast<uint8_t>(unit);
  if (invar_ucs_to_eb[unit] == 0) return std::nullopt;
  return def_ucs_to_eb[unit];
}

std::optional<char16_t> Codeset::character(const Code& code) const {
  const auto fixed = code.length == 1 ? fixed_decode(kind, code.bytes[0]) : std::nullopt;
  if (fixed) return fixed;
  const auto found = decode.find(code);
  if (found == decode.end()) return std::nullopt;
  return found->second;
}

Code Codeset::code(char16_t unit) const {
  const auto fixed = fixed_encode(kind, unit);
  return fixed ? single(*fixed) : encode[unit];
}

void refuse(const Codeset& codeset, const std::string& why, const Code& code) {
  const auto line = codeset.lines.find(code);
  const std::string& where = line == codeset.lines.end() ? codeset.where : line->second;
  throw Failure(kDoesNotFit, where + ": " + codeset.name + ": " + why);
}

std::string normal_name(std::string_view name) {
  std::string normal;
  for (const char c : name) {
    if (ascii_alnum(c)) normal += ascii_upper(c);
  }
  return normal;
}

unsigned name_field_size(Kind kind) {
  using namespace table_layout;
  return kind == kGb18030 ? kGbStructure - kName : kNameFieldSize;
}

std::string name_fault(const std::string& name, Kind kind) {
  const unsigned longest = name_field_size(kind) - 1;
  if (name.empty() || name != normal_name(name)) return name + ": a name has capital letters and digits only";
  if (name.size() > longest) return name + ": a name has at most " + std::to_string(longest) + " characters";
  if (name.starts_with("QXO")) return name + ": name look-up removes a leading QXO";
  for (const char* reserved : {"UTF8", "OS", "DOS", "WIN", "DEFAULT"}) {
    if (name == reserved) return name + ": this name means a codeset without a table";
  }
  return {};
}

}  // namespace mar::ucvtab
