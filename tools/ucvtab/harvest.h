// From a source to a codeset that fits its kind: asks the source for every code and every character, applies
// the catalogue's policy and leaves out what the kind cannot hold.
#pragma once

#include "tools/ucvtab/catalogue.h"
#include "tools/ucvtab/source.h"

namespace ucvtab {

// Why the source and the product's converters answer differently, in the order in which the reasons are
// tried.
enum class Rule {
  kNone,
  kFixed,          // ASCII bytes, or the invariant EBCDIC set, never reach the table
  kSequence,       // the code stands for several characters
  kSupplementary,  // the character lies above U+FFFF
  kUnmappedMark,   // U+FFFF is the table's own mark for "unmapped"
  kTooLong,        // the code is longer than the kind holds
  kOneWay,         // the code decodes to another character and the policy drops such encodings
  kPolicy,         // no-private-use, no-c1, no-sub, round-trip
};
const char* rule_name(Rule rule);

// The rule that keeps the code's mapping (or the character's encoding) as the source gives it out of the
// table. `back` is what the codeset makes of the encoded code: its final mapping or nothing.
Rule decode_rule(Kind kind, const Policy& policy, const Code& code, const Decoded& decoded);
Rule encode_rule(Kind kind, const Policy& policy, char32_t point, const Code& code,
                 std::optional<char16_t> back);

// Throws Failure(kDoesNotFit) when the source defines more ASCII or invariant bytes otherwise than the policy
// allows, or has longer codes than the kind.
Codeset harvest(Source& source, const CatalogueRow& row);

// Opens the source of the row, "iconv:NAME", "icu:NAME", or "text:FILE" relative to `directory`, with the
// row's corrections.
std::unique_ptr<Source> open_source(const CatalogueRow& row, const std::string& directory);

// open_source and harvest, with the provenance filled in. A text file's own choices (substitution byte, lead
// bytes, min-run, note) are kept.
Codeset compile(const CatalogueRow& row, const std::string& directory);

}  // namespace ucvtab
