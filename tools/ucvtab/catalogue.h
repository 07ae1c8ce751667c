// The catalogue: a text file with one codeset per line.
//
//   NAME  KIND  SOURCE  [POLICY...]
//   CP437 1     iconv:CP437  safe
//
// "#" starts a comment. SOURCE is "iconv:NAME", "icu:NAME" or "text:FILE", relative to the catalogue. A row
// that starts with "+" corrects one code of the codeset above it:
//
//   + AA U+00AC
//
// Whatever the source says of that code and of that character, they now stand for each other.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/ucvtab/codeset.h"

namespace mar::ucvtab {

// What becomes of a character that encodes to a code which decodes to another character.
enum class OneWay {
  kKeep,
  kSafe,    // dropped when that other character is ASCII or a control
  kStrict,  // always dropped, and so is one whose code decodes to nothing or to several characters
};

struct Policy {
  OneWay one_way = OneWay::kSafe;  // the words keep, safe and strict
  bool no_private_use = false;     // drop U+E000 to U+F8FF
  bool no_c1 = false;              // drop U+0080 to U+009F
  bool no_sub = false;             // drop codes that decode to U+001A, which is "unassigned" in some sources
  bool round_trip = false;         // encode to a code that decodes back where there is one
  unsigned ascii_conflicts = 0;    // ascii=N: so many printable ASCII bytes may differ in the source
  unsigned invariant_conflicts = 0;  // invariant=N: so many invariant EBCDIC bytes may differ
  unsigned min_run = kDefaultMinRun;
};

struct CatalogueRow {
  std::string name;
  Kind kind = kSingleByte;
  std::string source;       // as written
  std::string policy_text;  // as written, the words separated by one blank
  Policy policy;
  std::map<Code, char32_t> corrections;
  std::string where;  // "FILE:LINE", for messages
};

// All rows in file order. Throws Failure(kBadInput), with the line, for one that is no row, has a bad name or
// one listed before, or an unknown kind or policy.
std::vector<CatalogueRow> read_catalogue(const std::string& path);

// The row of that name. Throws Failure(kUnknownSource) when there is none.
const CatalogueRow& find_row(const std::vector<CatalogueRow>& rows, const std::string& name);

}  // namespace mar::ucvtab
