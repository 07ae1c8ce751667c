// build: tables from the catalogue or from text files.
#include <algorithm>
#include <filesystem>
#include <map>

#include "tools/ucvtab/commands.h"
#include "tools/ucvtab/compile.h"
#include "tools/ucvtab/progress.h"
#include "tools/ucvtab/table_image.h"
#include "tools/ucvtab/table_writer.h"
#include "tools/ucvtab/text_format.h"

namespace mar::ucvtab {
namespace {

Bytes make_table(const Codeset& codeset, std::endian order) {
  const TableImage image(build_table(codeset, order), codeset.where);
  // The builders do not see everything, such as codes that nothing reads. A row's policy may want those.
  if (!codeset.lines.empty()) {
    for (const Fault& fault : check_table(image)) refuse(codeset, fault.text, fault.code);
  }
  return image.file();
}

}  // namespace

ExitCode run_build(const BuildOptions& options) {
  std::error_code error;
  std::filesystem::create_directories(options.directory, error);
  if (error) throw Failure(kFileError, options.directory + ": " + error.message());

  const auto is_text = [](const std::string& word) { return word.starts_with("text:"); };
  std::vector<CatalogueRow> rows;
  std::vector<std::string> what = options.what;
  if (what.empty() || !std::all_of(what.begin(), what.end(), is_text))
    rows = read_catalogue(options.catalogue);
  if (what.empty()) {
    for (const CatalogueRow& row : rows) what.push_back(row.name);
  }
  const std::string beside = std::filesystem::path(options.catalogue).parent_path().string();
  std::map<std::string, std::string> built;  // where each name came from
  Progress progress(what.size(), options.quiet);
  for (const std::string& word : what) {
    progress.step(word);
    const Codeset codeset = is_text(word) ? read_text(word.substr(5)) : compile(find_row(rows, word), beside);
    const auto [earlier, is_new] = built.emplace(codeset.name, codeset.where);
    if (!is_new) {
      throw Failure(kBadInput,
                    codeset.where + ": " + codeset.name + " is built already, from " + earlier->second);
    }
    write_file(options.directory + "/" + codeset.name, make_table(codeset, options.order));
  }
  return kDone;
}

}  // namespace mar::ucvtab
