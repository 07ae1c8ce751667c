// Where the mappings of a codeset come from: the C library, ICU, a text or table file, or the product's own
// converters. Everything that compiles or compares codesets works on this one interface.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "tools/ucvtab/codeset.h"

namespace mar::ucvtab {

struct Decoded {
  enum Outcome { kInvalid, kIncomplete, kMapped };
  Outcome outcome = kInvalid;
  std::u32string text;  // when mapped: one character, or more for codes of sequences
  bool operator==(const Decoded&) const = default;
};

// In mixed EBCDIC a code of two bytes means the pair between shift-out and shift-in, without the shifts.
class Source {
 public:
  virtual ~Source() = default;
  virtual Decoded decode(const Code& code) = 0;
  // The code of the character. Empty when there is none, or none that Code can hold.
  virtual Code encode(char32_t point) = 0;
};

// Both throw Failure(kUnknownSource) when the library does not know the name.
std::unique_ptr<Source> open_iconv(const std::string& name, Kind kind);
std::unique_ptr<Source> open_icu(const std::string& name, Kind kind);
// A codeset in memory with its fixed part. Only GB18030 goes past U+FFFF.
std::unique_ptr<Source> open_codeset(Codeset codeset);
// `source`, but with these codes and characters standing for each other.
std::unique_ptr<Source> open_corrected(std::unique_ptr<Source> source, std::map<Code, char32_t> corrections);

// Calls `visit` for every byte, and for every extension of a code that `source` calls incomplete, up to the
// longest code of the kind. In mixed EBCDIC, visits all pairs from lead 0x40 to 0xFE; in GB18030, only fourth
// bytes from 0x2F to 0x3A.
using CodeVisitor = std::function<void(const Code&, const Decoded&)>;
void for_each_code(Source& source, Kind kind, const CodeVisitor& visit);

// The same, but of GB18030's codes only those that a table can hold.
void for_each_table_code(Source& source, Kind kind, const CodeVisitor& visit);

}  // namespace mar::ucvtab
