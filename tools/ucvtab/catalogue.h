// The catalogue: a text file with one codeset per line,
//
//   NAME  KIND  SOURCE  [POLICY...]
//   CP437 1     iconv:CP437  safe
//
// "#" starts a comment. SOURCE is "iconv:NAME", "icu:NAME" or "text:FILE" (relative to the catalogue). Rows
// that start with "+" correct the codeset above them, one code and its character each:
//
//   + AA U+00AC
//
// Whatever the source says of that code and of that character, they now stand for each other.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/ucvtab/codeset.h"

namespace ucvtab {

// What becomes of a character that encodes to a code which decodes to another character.
enum class OneWay {
  kKeep,
  kSafe,    // dropped when that other character is ASCII or a control
  kStrict,  // dropped always, and so is one whose code decodes to nothing or to several characters
};

struct Policy {
  OneWay one_way = OneWay::kSafe;
  bool no_private_use = false;       // drop U+E000 to U+F8FF
  bool no_c1 = false;                // drop U+0080 to U+009F
  bool no_sub = false;               // drop codes that decode to U+001A: "unassigned" in some sources
  bool round_trip = false;           // encode to a code that decodes back where there is one
  unsigned ascii_conflicts = 0;      // how many printable ASCII bytes the source may define otherwise
  unsigned invariant_conflicts = 0;  // how many invariant EBCDIC bytes the source may define otherwise
  unsigned min_run = kDefaultMinRun;
};

struct CatalogueRow {
  std::string name;
  Kind kind = kSingleByte;
  std::string source;       // as written
  std::string policy_text;  // as written, words separated by one blank
  Policy policy;
  std::map<Code, char32_t> corrections;
  std::string where;  // "FILE:LINE", for messages
};

// Words: keep safe strict no-private-use no-c1 no-sub round-trip ascii=N invariant=N min-run=N.
// Throws Failure(kBadInput) that begins with `where`.
Policy parse_policy(const std::string& words, const std::string& where);

// All rows, in file order. Throws on a line that is no row, a bad or double name, an unknown kind.
std::vector<CatalogueRow> read_catalogue(const std::string& path);

// The row of that name. Throws Failure(kUnknownSource) when there is none.
const CatalogueRow& find_row(const std::vector<CatalogueRow>& rows, const std::string& name);

}  // namespace ucvtab
