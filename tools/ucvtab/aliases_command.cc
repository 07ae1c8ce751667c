// aliases: checks an aliases file against the rules that name look-up depends on.
#include <unistd.h>

#include <cstdio>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>

#include "tools/ucvtab/catalogue.h"
#include "tools/ucvtab/commands.h"
#include "tools/ucvtab/files.h"
#include "tools/ucvtab/table_image.h"

namespace mar::ucvtab {
namespace {

constexpr size_t kMaxLine = 126;  // characters; name look-up reads 127 with the newline

// The charset of the C locale has no table on purpose: the library then works on its OS codeset, which passes
// UTF-8 file names through. UTF8 resolves without any table; it may be a target but not an alias.
const std::set<std::string> kNeverAliases = {"ANSIX341968", "UTF8", "OS", "DOS", "WIN", "DEFAULT"};

class AliasesCheck {
 public:
  AliasesCheck(const std::string& file, const std::string& catalogue) : path_(file) {
    if (!catalogue.empty()) {
      for (const CatalogueRow& row : read_catalogue(catalogue)) tables_.insert(row.name);
    }
    const auto beside = std::filesystem::absolute(path_).parent_path();
    std::error_code none;  // without the directory there is no file to check either
    for (const auto& entry : std::filesystem::directory_iterator(beside, none)) {
      if (!may_be_table(entry) || access(entry.path().c_str(), R_OK) != 0) continue;
      if (is_table(read_table_file(entry.path().string(), kMaxTableSize)))
        tables_.insert(entry.path().filename().string());
    }
  }

  ExitCode run() {
    const std::string content = read_text_file(path_);
    std::istringstream in(content);
    for (std::string line; std::getline(in, line);) {
      ++line_number_;
      require(line.size() <= kMaxLine, "longer than 126 characters; the rest counts as a new line");
      if (!line.starts_with('#')) check_pair(line);
    }
    require(content.empty() || content.back() == '\n', "the last line has no newline and is never read");
    return result_;
  }

 private:
  void require(bool holds, const std::string& fault) {
    if (holds) return;
    std::fprintf(stderr, "%s:%u: %s\n", path_.c_str(), line_number_, printable(fault).c_str());
    result_ = kDiffers;
  }

  void check_pair(const std::string& line) {
    std::istringstream words(line);
    std::string alias, target, extra;
    words >> alias >> target >> extra;
    if (alias.empty()) return require(line.empty(), "the line has blanks only");
    if (target.empty() || !extra.empty()) return require(false, "not an alias and a table name");
    require(alias == normal_name(alias), alias + " is not in the form that names are looked up in");
    require(!alias.starts_with("QXO"), alias + ": name look-up removes a leading QXO");
    require(!tables_.contains(alias), alias + " is a table itself, which the alias would hide");
    require(!kNeverAliases.contains(alias), alias + " must not lead to a table");
    require(target == "UTF8" || tables_.contains(target), "no table " + target);
    require(pairs_.emplace(alias, target).second, alias + " is listed before, and the first line wins");
  }

  std::string path_;
  unsigned line_number_ = 0;
  std::set<std::string> tables_;
  std::map<std::string, std::string> pairs_;
  ExitCode result_ = kDone;
};

}  // namespace

ExitCode run_aliases(const std::string& file, const std::string& catalogue) {
  return AliasesCheck(file, catalogue).run();
}

}  // namespace mar::ucvtab
