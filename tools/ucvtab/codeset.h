// A codeset as the table compiler sees it, whatever it was read from and whatever table it will become.
//
// Only what the converters look up is kept. Characters that they pass through without looking (ASCII in the
// ASCII-based kinds, the invariant set in the EBCDIC kinds) are in neither map.
#pragma once

#include <bitset>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "charset/codeset.h"
#include "tools/ucvtab/code.h"

namespace ucvtab {

using namespace mar::charset;

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
bool is_ebcdic(Kind kind);
// Longest code that tables of this kind hold, in bytes.
unsigned max_code_length(Kind kind);

constexpr unsigned kDefaultMinRun = 24;

struct Codeset {
  std::string name;
  Kind kind = kSingleByte;
  std::string note;                   // provenance, goes into the table's header
  std::optional<uint8_t> sub;         // substitution byte; chosen by the builder when absent
  uint16_t sub_source = 0;            // the one character that legitimately maps to it
  unsigned min_run = kDefaultMinRun;  // GB18030: shortest run of four-byte codes kept as an arithmetic range
  std::bitset<256> leads;             // bytes that start a longer code, with or without assigned trails
  std::map<Code, char16_t> decode;    // code to character
  std::vector<Code> encode = std::vector<Code>(0x10000);  // character to code, by UCS-2 value

  // For messages: the file, or the line of the catalogue, and in a text the line of each code.
  std::string where;
  std::map<Code, std::string> lines;
};

// Throws Failure(kDoesNotFit) that names the line of `code`, or else where the codeset comes from.
[[noreturn]] void refuse(const Codeset& codeset, const std::string& why, const Code& code = {});

// The fixed part of every codeset: what the converters do without looking into the table.
// The character that the single byte `byte` always gives, or the byte that `unit` always becomes.
std::optional<char16_t> fixed_decode(Kind kind, uint8_t byte);
std::optional<uint8_t> fixed_encode(Kind kind, char32_t unit);

// `name` less everything but letters and digits, in capitals: the form in which names are looked up.
std::string normal_name(std::string_view name);
// Bytes of the name field, its NUL included: GB18030 keeps a position in the field's last bytes.
unsigned name_field_size(Kind kind);
// Why a table of this kind cannot have this name, or an empty text.
std::string name_fault(const std::string& name, Kind kind);

}  // namespace ucvtab
