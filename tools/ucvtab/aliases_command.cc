// aliases: checks an aliases file against the rules that name look-up depends on, or makes pairs for one from
// the C library's own alias lists.
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <set>
#include <sstream>

#include "tools/ucvtab/catalogue.h"
#include "tools/ucvtab/commands.h"
#include "tools/ucvtab/files.h"
#include "tools/ucvtab/table_reader.h"

namespace ucvtab {
namespace {

constexpr size_t kMaxLine = 126;  // characters; name look-up reads 127 with the newline

// The C locale's charset stays without a table on purpose: the library then works on its OS codeset, which
// passes UTF-8 file names through. UTF8 resolves without any table; it may be a target but not an alias.
const std::set<std::string> kNeverAliases = {"ANSIX341968", "UTF8", "OS", "DOS", "WIN", "DEFAULT"};

class AliasesCheck {
 public:
  AliasesCheck(const AliasesOptions& options) : path_(options.file) {
    if (!options.catalogue.empty()) {
      for (const CatalogueRow& row : read_catalogue(options.catalogue)) tables_.insert(row.name);
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
    const Bytes content = read_text_file(path_);
    std::istringstream in(std::string(content.begin(), content.end()));
    for (std::string line; std::getline(in, line);) {
      ++line_number_;
      require(line.size() <= kMaxLine, "longer than 126 characters, the rest counts as a new line");
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
    if (alias.empty()) return require(line.empty(), "blanks only");
    if (target.empty() || !extra.empty()) return require(false, "not an alias and a table name");
    require(alias == normal_name(alias), alias + " is not in the form that names are looked up in");
    require(!alias.starts_with("QXO"), alias + ": look-up takes a leading QXO away");
    require(!tables_.contains(alias), alias + " is a table itself and would never be reached");
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

// A charset of the C library and all its names, by any of them.
class CharsetNames {
 public:
  // Lines of interest: "alias NAME// CANONICAL//".
  void read(const std::string& path) {
    for (const Line& line : read_lines(path)) {
      std::istringstream words(line.text);
      std::string key, name, canonical;
      words >> key >> name >> canonical;
      if (key == "alias" && name.ends_with("//") && canonical.ends_with("//")) {
        canonical_of_[stem(name)] = stem(canonical);
      }
    }
  }

  // All names in look-up form, by the look-up form of the canonical name.
  [[nodiscard]] std::map<std::string, std::set<std::string>> groups() const {
    std::map<std::string, std::set<std::string>> groups;
    for (const auto& [name, canonical] : canonical_of_) {
      std::string last = canonical;
      auto next = canonical_of_.find(last);
      for (unsigned links = 0; next != canonical_of_.end() && links < kMaxLinks; ++links) {
        last = next->second;
        next = canonical_of_.find(last);
      }
      groups[normal_name(last)].insert({normal_name(name), normal_name(last)});
    }
    return groups;
  }

 private:
  // From alias to alias: real ones need one, and circles have no end.
  static constexpr unsigned kMaxLinks = 8;
  static std::string stem(const std::string& name) { return name.substr(0, name.size() - 2); }
  std::map<std::string, std::string> canonical_of_;
};

// "1047", "IBM1047" and the like for a table named after a code page.
std::set<std::string> code_page_names(const std::string& table) {
  if (!table.starts_with("CP") || table.find_first_not_of("0123456789", 2) != std::string::npos) return {};
  const std::string number = table.substr(2);
  std::set<std::string> names = {number, "IBM" + number};
  if (const std::string bare = number.substr(number.find_first_not_of('0')); bare != number) {
    names.insert({bare, "CP" + bare, "IBM" + bare});
  }
  return names;
}

ExitCode print_harvest(const AliasesOptions& options) {
  CharsetNames charsets;
  for (const std::string& path : options.harvest) charsets.read(path);
  const std::vector<CatalogueRow> rows =
      read_catalogue(options.catalogue.empty() ? kDefaultCatalogue : options.catalogue);
  std::set<std::string> tables;
  for (const CatalogueRow& row : rows) tables.insert(row.name);

  std::map<std::string, std::string> pairs;
  auto add = [&](const std::string& alias, const std::string& table) {
    if (alias.empty() || tables.contains(alias) || kNeverAliases.contains(alias) || alias.starts_with("QXO"))
      return;
    pairs.try_emplace(alias, table);
  };
  const auto groups = charsets.groups();
  for (const CatalogueRow& row : rows) {
    const bool from_library = row.source.starts_with("iconv:");
    const std::string library_name = normal_name(row.source.substr(row.source.find(':') + 1));
    const bool known = std::any_of(groups.begin(), groups.end(),
                                   [&](const auto& group) { return group.second.contains(row.name); });
    // Without a CP277 in the library, IBM277 is the same; with a CP932, IBM932 is another charset.
    const std::string twin = !known && row.name.starts_with("CP") ? "IBM" + row.name.substr(2) : row.name;
    std::set<std::string> others;  // names that mean another charset of the library
    for (const auto& [canonical, names] : groups) {
      const bool same = names.contains(twin) || (from_library && names.contains(library_name));
      if (!same) others.insert(names.begin(), names.end());
      for (const std::string& name : names) {
        if (same) add(name, row.name);
      }
    }
    for (const std::string& name : code_page_names(row.name)) {
      if (!others.contains(name)) add(name, row.name);
    }
  }
  for (const auto& [alias, table] : pairs) std::printf("%s %s\n", alias.c_str(), table.c_str());
  return kDone;
}

}  // namespace

ExitCode run_aliases(const AliasesOptions& options) {
  if (!options.harvest.empty()) return print_harvest(options);
  if (options.file.empty()) throw Failure(kUsage, "aliases needs a file to check, or --harvest");
  return AliasesCheck(options).run();
}

}  // namespace ucvtab
