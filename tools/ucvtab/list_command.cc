// list: the codesets that a program with this XCSDIR can use.
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>

#include "charset/codeset.h"
#include "tools/ucvtab/commands.h"
#include "tools/ucvtab/files.h"
#include "tools/ucvtab/product_source.h"
#include "tools/ucvtab/table_image.h"

namespace mar::ucvtab {
namespace {

namespace fs = std::filesystem;

const char* family_of(uint16_t kind) {
  switch (kind) {
    case XCS_KIND_ASCII_SBCS:
      return "ascii-sbcs";
    case XCS_KIND_ASCII_DBCS:
      return "ascii-dbcs";
    case XCS_KIND_ASCII_MBCS:
      return "ascii-mbcs";
    case XCS_KIND_EBCDIC_DBCS:
      return "ebcdic-dbcs";
    case XCS_KIND_EBCDIC_SBCS:
      return "ebcdic-sbcs";
    case XCS_KIND_GB18030:
      return "ascii-gb18030";
    default:
      return "none";
  }
}

// Where name look-up goes first.
fs::path default_directory() {
  const char* const set = std::getenv("XCSDIR");
  const fs::path base = set == nullptr || *set == '\0' ? "." : set;
  return fs::is_directory(base / "codeset") ? base / "codeset" : base;
}

// The aliases of each table, in the file's order, with a comma between them.
std::map<std::string, std::string> read_aliases(const fs::path& file) {
  std::map<std::string, std::string> aliases;
  if (!fs::exists(file)) return aliases;
  std::set<std::string> seen;  // the first line of an alias wins
  for (const Line& line : read_lines(file.string())) {
    std::istringstream words(line.text);
    std::string alias, table;
    if (!(words >> alias >> table) || !seen.insert(alias).second) continue;
    std::string& list = aliases[table];
    list += (list.empty() ? "" : ",") + alias;
  }
  return aliases;
}

}  // namespace

ExitCode run_list(const std::string& directory) {
  const fs::path place = directory.empty() ? default_directory() : fs::path(directory);
  std::error_code error;
  std::set<fs::path> files;
  for (const auto& entry : fs::directory_iterator(place, error)) {
    if (may_be_table(entry)) files.insert(entry.path());
  }
  if (error) throw Failure(kFileError, place.string() + ": " + error.message());
  auto aliases = read_aliases(place / kAliasesFile);
  size_t tables = 0;
  for (const fs::path& file : files) {
    if (!is_table(read_table_file(file.string(), kMaxTableSize))) continue;
    const CodesetHandle codeset = open_codeset(fs::absolute(file).string());
    const std::string& list = aliases[file.filename().string()];
    std::printf("%s\t%s\t%s\t%u\n", printable(file.filename().string()).c_str(), family_of(codeset->kind),
                list.empty() ? "-" : printable(list).c_str(), codeset->table_size);
    ++tables;
  }
  if (tables == 0) throw Failure(kFileError, place.string() + ": no tables here");
  return kDone;
}

}  // namespace mar::ucvtab
