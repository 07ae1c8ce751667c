// ucvtab: makes codeset tables, looks into them and proves them.
#include <CLI/CLI.hpp>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include "tools/ucvtab/code.h"
#include "tools/ucvtab/commands.h"

namespace {

using namespace mar::ucvtab;

constexpr const char* kFooter =
    "Exit status: 0 done; 1 differences or faults found; 2 usage; 3 bad input file; 4 a codeset does not fit "
    "its\n"
    "kind; 5 unknown codeset name; 6 a file could not be read or written.";

constexpr const char* kSourceCatalogue = "codesets/catalogue";

// The place of the data that was installed together with this very program.
std::filesystem::path installed_data() {
  std::error_code none;
  return std::filesystem::read_symlink("/proc/self/exe", none).parent_path().parent_path() / "share/mar";
}

// The catalogue of the source tree when this runs there, else the installed one.
std::string default_catalogue() {
  const std::filesystem::path installed = installed_data() / "catalogue";
  const bool is_installed = !std::filesystem::exists(kSourceCatalogue) && std::filesystem::exists(installed);
  return is_installed ? installed.string() : kSourceCatalogue;
}

struct CommandLine {
  explicit CommandLine(CLI::App& app) {
    app.require_subcommand(1);
    app.set_version_flag("--version", "ucvtab " MAR_VERSION, "Print the version and exit");
    build.catalogue = verify.catalogue = default_catalogue();
    app.footer(kFooter);
    add_build(app);
    add_inspection(app);
    add_verify(app);
    add_convert(app);
    add_aliases(app);
    add_list(app);
  }

  void add_build(CLI::App& app) {
    CLI::App* command = app.add_subcommand("build", "compile tables: those named, or the whole catalogue");
    command->add_option("what", build.what, "names from the catalogue, or text:FILE");
    command->add_option("-c,--catalogue", build.catalogue, "catalogue file")->capture_default_str();
    command->add_option("-o,--output", build.directory, "directory for the tables")->capture_default_str();
    command->add_option("--endian", left, "byte order of the tables, this host's by default")
        ->check(CLI::IsMember({"big", "little"}));
    command->add_flag("-q,--quiet", build.quiet, "no progress on the terminal");
    command->callback([this] {
      if (!left.empty()) build.order = left == "big" ? std::endian::big : std::endian::little;
      result = run_build(build);
    });
  }

  void add_inspection(CLI::App& app) {
    CLI::App* dump = app.add_subcommand("dump", "print a table as the text that builds it");
    dump->add_option("table", left)->required();
    dump->callback([this] { result = run_dump(left); });

    CLI::App* info = app.add_subcommand("info", "print header and figures of tables");
    info->add_option("tables", files)->required();
    info->callback([this] { result = run_info(files); });

    CLI::App* check = app.add_subcommand("check", "look for faults in tables");
    check->add_option("tables", files)->required();
    check->callback([this] { result = run_check(files); });

    CLI::App* diff = app.add_subcommand("diff", "compare two tables, or a table and a source");
    diff->add_option("left", left, "table file, text:FILE, iconv:NAME or icu:NAME")->required();
    diff->add_option("right", right, "likewise")->required();
    diff->callback([this] { result = run_diff(left, right); });
  }

  void add_verify(CLI::App& app) {
    CLI::App* command = app.add_subcommand(
        "verify", "compare sources with what the product's converters make of the tables, completely");
    command->add_option("names", verify.names, "names from the catalogue, all by default");
    command->add_option("-c,--catalogue", verify.catalogue, "catalogue file")->capture_default_str();
    command->add_option("-d,--directory", verify.directory, "directory of the tables")->capture_default_str();
    command->add_flag("-l,--list", verify.list, "print every difference");
    command->callback([this] { result = run_verify(verify); });
  }

  void add_convert(CLI::App& app) {
    CLI::App* command = app.add_subcommand("convert", "convert text with the product's converters");
    command->add_option("-f,--from", convert.from, "codeset of the input, name or path of a table")
        ->required();
    command->add_option("-t,--to", convert.to, "codeset of the output")->required();
    command->add_flag("--strict", convert.strict,
                      "count substituted characters; exit with 1 if there is one");
    command->add_flag("-c", convert.omit, "leave such characters out, and count them likewise");
    command->add_option("files", convert.files, "input files, standard input by default");
    command->callback([this] { result = run_convert(convert); });
  }

  void add_aliases(CLI::App& app) {
    CLI::App* command = app.add_subcommand("aliases", "check an aliases file");
    command->add_option("-c,--catalogue", right, "catalogue file, whose names count as tables");
    command->add_option("file", left, "aliases file to check")->required();
    command->callback([this] { result = run_aliases(left, right); });
  }

  void add_list(CLI::App& app) {
    CLI::App* command =
        app.add_subcommand("list", "print the codesets that can be used: name, family, aliases, size");
    command->add_option("directory", list_directory, "directory of tables and aliases");
    command->callback([this] { result = run_list(list_directory); });
  }

  BuildOptions build;
  ConvertOptions convert;
  VerifyOptions verify;
  std::string left, right;
  std::string list_directory;
  std::vector<std::string> files;
  ExitCode result = kDone;
};

}  // namespace

int main(int argc, char** argv) try {
  setenv("XCSDIR", installed_data().c_str(), 0);
  CLI::App app("Codeset tables: compile, inspect, verify.", "ucvtab");
  const CommandLine line(app);
  ExitCode result = kDone;
  try {
    app.parse(argc, argv);
    result = line.result;
  } catch (const CLI::ParseError& error) {
    result = app.exit(error) == 0 ? kDone : kUsage;
  }
  // A write that failed earlier has left nothing to flush, only the mark.
  if (std::fflush(stdout) != 0 || std::ferror(stdout) != 0) {
    throw Failure(kFileError, "standard output could not be written");
  }
  return result;
} catch (const Failure& failure) {
  std::fprintf(stderr, "ucvtab: %s\n", printable(failure.what()).c_str());
  return failure.code;
} catch (const std::exception& error) {
  std::fprintf(stderr, "ucvtab: %s\n", error.what());
  return kFileError;
}
