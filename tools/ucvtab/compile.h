// From a source to a codeset that fits its kind. The source is asked for every code and every character; the
// catalogue's policy is applied, and what the kind cannot hold is left out.
#pragma once

#include "tools/ucvtab/catalogue.h"
#include "tools/ucvtab/source.h"

namespace mar::ucvtab {

// Why the source and the product's converters answer differently, in the order in
// which the reasons are tried.
enum class Rule {
  kNone,
  kFixed,          // ASCII bytes, or the invariant EBCDIC set, never reach the table
  kSequence,       // the code stands for several characters
  kSupplementary,  // the character lies above U+FFFF
  kUnmappedMark,   // U+FFFF is the tables' own mark for "unmapped"
  kTooLong,        // the code is longer than the kind holds
  kOneWay,         // the code decodes to another character, and the policy drops such encodings
  kPolicy,         // no-private-use, no-c1, no-sub or round-trip
};
const char* rule_name(Rule rule);

// The rule that keeps the source's mapping of a code, or its encoding of a character, out of the table.
// `back` is the character that the codeset finally makes of the encoded code.
Rule decode_rule(Kind kind, const Policy& policy, const Code& code, const Decoded& decoded);
Rule encode_rule(Kind kind, const Policy& policy, char32_t point, const Code& code,
                 std::optional<char16_t> back);

// Opens the source of the row, with the row's corrections. A text file is relative to `directory`.
std::unique_ptr<Source> open_source(const CatalogueRow& row, const std::string& directory);

// The codeset of the row. A text file's own choices (substitution byte, lead bytes, min-run, note) are kept.
// Throws Failure(kDoesNotFit) when the source has longer codes than the kind, or more ASCII or invariant
// bytes with another meaning than the policy allows.
Codeset compile(const CatalogueRow& row, const std::string& directory);

}  // namespace mar::ucvtab
