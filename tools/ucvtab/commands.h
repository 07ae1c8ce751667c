// The commands of ucvtab. Each prints its result on standard output, tab-separated where a program may want
// it, and returns its exit code; trouble is thrown as Failure.
#pragma once

#include <bit>
#include <string>
#include <vector>

#include "tools/ucvtab/failure.h"

namespace ucvtab {

constexpr const char* kDefaultCatalogue = "codesets/catalogue";
constexpr const char* kAliasesFile = "aliases";  // beside the tables, as name look-up wants it

struct BuildOptions {
  std::string catalogue = kDefaultCatalogue;
  std::vector<std::string> what;  // names of rows, or "text:FILE"; none means every row
  std::string directory = ".";    // gets one file per codeset, named as the codeset
  std::endian order = std::endian::native;
  bool quiet = false;
};
ExitCode run_build(const BuildOptions& options);

ExitCode run_dump(const std::string& table);
// Both go on behind a file that is no table and end with the gravest code. Among several files one that is
// named "aliases" and is no table is passed over: DIRECTORY/* has it.
ExitCode run_info(const std::vector<std::string>& tables);
ExitCode run_check(const std::vector<std::string>& tables);

// `left` and `right` are a table file, "text:FILE", "iconv:NAME" or "icu:NAME"; one of the first two at
// least.
ExitCode run_diff(const std::string& left, const std::string& right);

struct VerifyOptions {
  std::string catalogue = kDefaultCatalogue;
  std::vector<std::string> names;  // none means every row
  std::string directory = ".";     // the tables
  std::string
      expected;       // file of the differences that are wanted, exactly; without it any that a rule explains
  bool list = false;  // print each difference, not only their numbers
};
ExitCode run_verify(const VerifyOptions& options);

// `from` and `to` are names as xcs_cs_new takes them, `files` are read one after the other; none is standard
// input.
ExitCode run_convert(const std::string& from, const std::string& to, const std::vector<std::string>& files);

struct AliasesOptions {
  std::string catalogue;  // its rows count as tables; none by default
  std::string file;       // the aliases file to check; the tables beside it may be targets
};
ExitCode run_aliases(const AliasesOptions& options);

}  // namespace ucvtab
