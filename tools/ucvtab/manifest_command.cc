// manifest: the SHA-256 sum of every table, so that a build host whose libraries map something else is
// noticed.
#include <cstdio>
#include <filesystem>
#include <map>
#include <sstream>

#include "tools/ucvtab/commands.h"
#include "tools/ucvtab/files.h"
#include "tools/ucvtab/sha256.h"
#include "tools/ucvtab/table_reader.h"

namespace ucvtab {
namespace {

using Sums = std::map<std::string, std::string>;  // "<sum> <bytes>" by table name

// Says on standard error what it passes over: redirects, and what has no place among tables.
Sums sums_of(const std::string& directory) {
  Sums sums;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
    const std::string path = entry.path().string(), name = entry.path().filename().string();
    Bytes content;
    if (may_be_table(entry)) content = read_table_file(path, kMaxTableSize);
    if (is_table(content))
      sums[name] = sha256_hex(content) + " " + std::to_string(content.size());
    else if (name != kAliasesFile)
      std::fprintf(stderr, "ucvtab: %s: not a codeset table, passed over\n", path.c_str());
  }
  if (error) throw Failure(kFileError, directory + ": " + error.message());
  return sums;
}

Sums read_manifest(const std::string& path) {
  Sums sums;
  for (const Line& line : read_lines(path)) {
    if (line.text.empty()) continue;
    std::istringstream words(line.text);
    std::string sum, size, name;
    if (!(words >> sum >> size >> name))
      throw Failure(kBadInput, line.where + ": not a sum, a size and a name");
    sums[name] = sum.append(" ").append(size);
  }
  return sums;
}

}  // namespace

ExitCode run_manifest(const std::string& directory, const std::string& expected) {
  const Sums found = sums_of(directory);
  if (expected.empty()) {
    for (const auto& [name, sum] : found) std::printf("%s %s\n", sum.c_str(), name.c_str());
    return kDone;
  }
  Sums wanted = read_manifest(expected);
  ExitCode result = kDone;
  auto report = [&](const std::string& name, const char* what) {
    std::printf("%s\t%s\n", name.c_str(), what);
    result = kDiffers;
  };
  for (const auto& [name, sum] : found) {
    const auto entry = wanted.find(name);
    if (entry == wanted.end())
      report(name, "not in the manifest");
    else if (entry->second != sum)
      report(name, "differs");
    wanted.erase(name);
  }
  for (const auto& [name, sum] : wanted) report(name, "missing");
  return result;
}

}  // namespace ucvtab
