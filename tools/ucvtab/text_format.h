// Codesets as text: what users write to bring a code page of their own, and what `dump` prints. Each line is
// one directive or one mapping; "#" starts a comment.
//
//   codeset ACME1            name, capital letters and digits
//   kind 1                   1, 2, 3, 4, 8 or 10
//   sub 1A U+001A            substitution byte and the one character that it really stands for (optional)
//   lead 85 86               lead bytes without any assigned code (optional)
//   min-run 24               GB18030 only (optional)
//   note made by hand        provenance, kept in the table (optional)
//   80 U+20AC                a code and its character, in both directions
//   81 U+00A0 >              decode only
//   20 U+2003 <              encode only
//
// ASCII, or in the EBCDIC kinds the invariant set, is fixed and need not be listed.
#pragma once

#include <string>

#include "tools/ucvtab/catalogue.h"
#include "tools/ucvtab/codeset.h"

namespace mar::ucvtab {

// Throws Failure(kBadInput) with "FILE:LINE: " on the first bad line.
Codeset read_text(const std::string& path);

// The file of a "text:FILE" row. The row gives name and kind; the file must agree where it has them, too.
Codeset read_text_row(const CatalogueRow& row, const std::string& directory);

// Everything that read_text needs for an equal codeset, and so for the same table.
std::string write_text(const Codeset& codeset);

}  // namespace mar::ucvtab
