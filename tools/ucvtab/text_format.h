// Codesets as text: what a user writes to bring a code page of his own, and what `dump` prints. One thing a
// line; "#" starts a comment.
//
//   codeset ACME1            name, capital letters and digits
//   kind 1                   1, 2, 3, 4, 8 or 10
//   sub 1A U+001A            substitution byte and the one character it stands for (optional)
//   lead 85 86               lead bytes without any assigned code (optional)
//   min-run 24               GB18030 only (optional)
//   note made by hand        provenance, kept in the table (optional)
//   80 U+20AC                code and character, both directions
//   81 U+00A0 >              decode only
//   20 U+2003 <              encode only
//
// ASCII (in EBCDIC kinds: the invariant set) is fixed and need not be listed.
#pragma once

#include <string>

#include "tools/ucvtab/catalogue.h"
#include "tools/ucvtab/codeset.h"

namespace ucvtab {

// Throws Failure(kBadInput) with "FILE:LINE: " on the first bad line.
Codeset read_text(const std::string& path);

// The file of a "text:FILE" row; name and kind may come from the row, and must agree where the file has them.
Codeset read_text_row(const CatalogueRow& row, const std::string& directory);

// Everything that read_text needs to give an equal codeset, and so the same table.
std::string write_text(const Codeset& codeset);

}  // namespace ucvtab
