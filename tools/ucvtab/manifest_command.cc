// manifest: the SHA-256 sum of every table, so that a build host whose libraries map something else is
// noticed.
#include <algorithm>
#include <cstdio>
#include <filesystem>
#include <map>
#include <sstream>

#include "charset/table.h"
#include "tools/ucvtab/commands.h"
#include "tools/ucvtab/files.h"
#include "tools/ucvtab/sha256.h"

namespace ucvtab {
namespace {

using Sums = std::map<std::string, std::string>;  // "<sum> <bytes>" by table name

// Files that are no tables (the aliases file, redirects) are passed over.
Sums sums_of(const std::string& directory) {
  Sums sums;
  std::error_code error;
  for (const auto& entry : std::filesystem::directory_iterator(directory, error)) {
    if (!entry.is_regular_file()) continue;
    const Bytes content = read_file(entry.path().string());
    const uint8_t* magic = content.data() + table_layout::kMagic;
    if (content.size() < table_layout::kMinSize || !std::equal(magic, magic + 3, "ucv")) continue;
    sums[entry.path().filename().string()] = sha256_hex(content) + " " + std::to_string(content.size());
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
