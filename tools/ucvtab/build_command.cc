// build: tables from the catalogue or from text files.
#include <algorithm>
#include <filesystem>

#include "tools/ucvtab/commands.h"
#include "tools/ucvtab/harvest.h"
#include "tools/ucvtab/progress.h"
#include "tools/ucvtab/table_writer.h"
#include "tools/ucvtab/text_format.h"

namespace ucvtab {
namespace {

void write_table(const Codeset& codeset, const BuildOptions& options) {
  write_file(options.directory + "/" + codeset.name, build_table(codeset, options.order));
}

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

  Progress progress(options.what.empty() ? rows.size() : options.what.size(), options.quiet);
  for (const std::string& word : options.what) {
    progress.step(word);
    if (word.starts_with("text:"))
      write_table(read_text(word.substr(5)), options);
    else
      write_table(compile(find_row(rows, word), beside), options);
  }
  if (!options.what.empty()) return kDone;
  for (const CatalogueRow& row : rows) {
    progress.step(row.name);
    write_table(compile(row, beside), options);
  }
  return kDone;
}

}  // namespace ucvtab
