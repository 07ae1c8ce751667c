// A codeset as the table compiler sees it, whatever it was read from and whatever table it will become.
#pragma once

#include <bitset>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "charset/codeset.h"
#include "charset/table_layout.h"
#include "tools/ucvtab/code.h"

namespace mar::ucvtab {

using namespace charset;  // the numbers and walks of the table format

// The kinds that have tables.
enum Kind : uint16_t {
  kSingleByte = XCS_KIND_ASCII_SBCS,
  kDoubleByte = XCS_KIND_ASCII_DBCS,
  kMultiByte = XCS_KIND_ASCII_MBCS,
  kEbcdicMixed = XCS_KIND_EBCDIC_DBCS,
  kEbcdicSingle = XCS_KIND_EBCDIC_SBCS,
  kGb18030 = XCS_KIND_GB18030,
};

bool is_known_kind(unsigned kind);
inline bool is_ebcdic(Kind kind) { return kind == kEbcdicMixed || kind == kEbcdicSingle; }
// Length in bytes of the longest code that a table of this kind holds.
unsigned max_code_length(Kind kind);

// The fixed part of every codeset, which the converters know without a table: ASCII, or in the EBCDIC kinds
// the invariant set. The character that `byte` always becomes, and the byte that `unit` always becomes.
std::optional<char16_t> fixed_decode(Kind kind, unsigned byte);
std::optional<uint8_t> fixed_encode(Kind kind, char32_t unit);

constexpr unsigned kDefaultMinRun = 24;

struct Codeset {
  std::string name;
  Kind kind = kSingleByte;
  std::string note;                   // provenance; goes into the table's header
  std::optional<uint8_t> sub;         // substitution byte; the builder chooses one when absent
  uint16_t sub_source = 0;            // the one character that the substitution byte really stands for
  unsigned min_run = kDefaultMinRun;  // GB18030: shortest run of four-byte codes kept as an arithmetic range
  std::bitset<256> leads;             // bytes that start a longer code, with or without assigned trails

  // Only what the converters look up; the fixed part is in neither.
  std::map<Code, char16_t> decode;                        // code to character
  std::vector<Code> encode = std::vector<Code>(0x10000);  // character to code, by UCS-2 value

  // For messages: the file, or the line of the catalogue; in a text also the line of each code.
  std::string where;
  std::map<Code, std::string> lines;

  // What the converters make of a code or of a character, the fixed part included.
  [[nodiscard]] std::optional<char16_t> character(const Code& code) const;
  [[nodiscard]] Code code(char16_t unit) const;
};

// Throws Failure(kDoesNotFit) with the line of `code`, or with the place of the whole codeset.
[[noreturn]] void refuse(const Codeset& codeset, const std::string& why, const Code& code = {});

// The form in which names are looked up: only the letters and digits of `name`, in capitals.
std::string normal_name(std::string_view name);
// Size in bytes of the name field with its NUL. GB18030 keeps a position in the field's last bytes.
unsigned name_field_size(Kind kind);
// Why a table of this kind cannot have this name. Empty when it can.
std::string name_fault(const std::string& name, Kind kind);

}  // namespace mar::ucvtab
