// The commands of ucvtab. Each prints its result on standard output, tab-separated where a program may want
// it, and returns its exit code. Whatever stops it is thrown as a Failure.
#pragma once

#include <bit>
#include <string>
#include <vector>

#include "tools/ucvtab/failure.h"

namespace mar::ucvtab {

constexpr const char* kAliasesFile = "aliases";  // beside the tables, where name look-up wants it

struct BuildOptions {
  std::string catalogue;
  std::vector<std::string> what;  // names of rows, or "text:FILE"; none means every row
  std::string directory = ".";    // receives one file per codeset, named as the codeset
  std::endian order = std::endian::native;
  bool quiet = false;
};
ExitCode run_build(const BuildOptions& options);

ExitCode run_dump(const std::string& table);

// Both continue after a file that is no table, and return the highest code of all. Among several files, one
// named "aliases" that is no table is passed over, so that DIRECTORY/* can be given.
ExitCode run_info(const std::vector<std::string>& tables);
ExitCode run_check(const std::vector<std::string>& tables);

// Each operand is a table file, "text:FILE", "iconv:NAME" or "icu:NAME". One at least
// must be a table or a text.
ExitCode run_diff(const std::string& left, const std::string& right);

struct VerifyOptions {
  std::string catalogue;
  std::vector<std::string> names;  // none means every row
  std::string directory = ".";     // where the tables are
  bool list = false;               // print each difference, not only their numbers
};
ExitCode run_verify(const VerifyOptions& options);

struct ConvertOptions {
  std::string from, to;            // names as xcs_cs_new takes them
  std::vector<std::string> files;  // one after the other; none means standard input
  bool strict = false;             // count what is substituted, and say where the first one stands
  bool omit = false;               // leave it out instead; counts and says likewise
};
// Returns kDiffers if something was counted.
ExitCode run_convert(const ConvertOptions& options);

// One line for each table in `directory`, or where name look-up goes if that is empty: name, family, aliases
// with commas between them, size in bytes.
ExitCode run_list(const std::string& directory);

// Checks the aliases in `file`. They may lead to the tables beside it, and to the rows of
// `catalogue` if not empty.
ExitCode run_aliases(const std::string& file, const std::string& catalogue);

}  // namespace mar::ucvtab
