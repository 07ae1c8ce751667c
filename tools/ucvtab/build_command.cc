// build: tables from the catalogue or from text files.
#include <algorithm>
#include <filesystem>
#include <map>

#include "tools/ucvtab/commands.h"
#include "tools/ucvtab/harvest.h"
#include "tools/ucvtab/progress.h"
#include "tools/ucvtab/table_check.h"
#include "tools/ucvtab/table_writer.h"
#include "tools/ucvtab/text_format.h"

namespace ucvtab {
namespace {

class Builder {
 public:
  explicit Builder(const BuildOptions& options) : options_(options) {}

  void write_table(const Codeset& codeset) {
    const auto [earlier, is_new] = built_.emplace(codeset.name, codeset.where);
    if (!is_new) {
      throw Failure(kBadInput,
                    codeset.where + ": " + codeset.name + " is built already, from " + earlier->second);
    }
    const TableImage image(build_table(codeset, options_.order), codeset.where);
    // What the builders do not see, such as codes that nothing reads. A row's policy may want those.
    if (!codeset.lines.empty()) {
      for (const Fault& fault : check_table(image)) refuse(codeset, fault.text, fault.code);
    }
    write_file(options_.directory + "/" + codeset.name, image.file());
  }

 private:
  const BuildOptions& options_;
  std::map<std::string, std::string> built_;  // where from, by name
};

}  // namespace

ExitCode run_build(const BuildOptions& options) {
  std::error_code error;
  std::filesystem::create_directories(options.directory, error);
  if (error) throw Failure(kFileError, options.directory + ": " + error.message());

  std::vector<CatalogueRow> rows;
  const bool from_rows = std::any_of(options.what.begin(), options.what.end(),
                                     [](const std::string& word) { return !word.starts_with("text:"); });
  if (options.what.empty() || from_rows) rows = read_catalogue(options.catalogue);
  const std::string beside = std::filesystem::path(options.catalogue).parent_path().string();

  Builder builder(options);
  Progress progress(options.what.empty() ? rows.size() : options.what.size(), options.quiet);
  for (const std::string& word : options.what) {
    progress.step(word);
    if (word.starts_with("text:"))
      builder.write_table(read_text(word.substr(5)));
    else
      builder.write_table(compile(find_row(rows, word), beside));
  }
  if (!options.what.empty()) return kDone;
  for (const CatalogueRow& row : rows) {
    progress.step(row.name);
    builder.write_table(compile(row, beside));
  }
  return kDone;
}

}  // namespace ucvtab
