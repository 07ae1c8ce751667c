// Where a codeset's mappings come from. Everything that compares or compiles codesets works on this one
// interface: the C library, ICU, a text file, a table file and the product's own converters all stand behind
// it.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "tools/ucvtab/codeset.h"

namespace ucvtab {

struct Decoded {
  enum Outcome { kInvalid, kIncomplete, kMapped };
  Outcome outcome = kInvalid;
  std::u32string text;  // kMapped: one character, or more for codes of sequences
  bool operator==(const Decoded&) const = default;
};

// In mixed EBCDIC a code of two bytes means the pair inside shift-out and shift-in; the shifts are no part of
// it.
class Source {
 public:
  virtual ~Source() = default;
  virtual Decoded decode(const Code& code) = 0;
  // The code of the character, empty when there is none or it is longer than Code can hold.
  virtual Code encode(char32_t point) = 0;
};

// Throw Failure(kUnknownSource) when the library does not know the name.
std::unique_ptr<Source> open_iconv(const std::string& name, Kind kind);
std::unique_ptr<Source> open_icu(const std::string& name, Kind kind);
// A codeset already in memory; its fixed part included. UCS-2 only, but for GB18030.
std::unique_ptr<Source> open_codeset(Codeset codeset);

// `source` with its mappings of these codes and characters replaced.
std::unique_ptr<Source> open_corrected(std::unique_ptr<Source> source, std::map<Code, char32_t> corrections);

// Calls `visit` for every code worth looking at: each byte, and each extension of a code that `source` calls
// incomplete, down to the longest code of the kind. In mixed EBCDIC all pairs from lead 0x40 to 0xFE. In
// GB18030 only the fourth bytes 0x2F to 0x3A.
using CodeVisitor = std::function<void(const Code&, const Decoded&)>;
void for_each_code(Source& source, Kind kind, const CodeVisitor& visit);

// The same less the codes that no table holds: of GB18030's codes only those with an index.
void for_each_table_code(Source& source, Kind kind, const CodeVisitor& visit);

}  // namespace ucvtab
