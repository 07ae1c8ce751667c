// marctl: sends commands with real parameters to the MAR measurement engine, for scripts.
#include <CLI/CLI.hpp>
#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <string_view>

#include "tools/marctl/arguments.h"
#include "tools/marctl/modes.h"
#include "tools/marctl/options.h"
#include "tools/marctl/report.h"
#include "tools/marctl/schema.h"
#include "tools/marctl/session.h"
#include "util/agent_instance.h"

namespace mar::ctl {

namespace {

constexpr size_t kMaxInstance = 95;  // bytes; more would be cut from the names of the engine's objects

std::string footer() {
  std::string text = "Exit status:\n";
  for (const StatusRow& row : exit_statuses()) {
    text += "  " + std::to_string(static_cast<int>(row.status)) + ' ' + row.name;
    text += std::string(20 - std::string(row.name).size(), ' ') + row.meaning + '\n';
  }
  return text;
}

std::string check_instance(const std::string& name) {
  if (name.find('/') != std::string::npos) return "an instance name has no slash";
  if (name.size() > kMaxInstance)
    return "an instance name has at most " + std::to_string(kMaxInstance) + " bytes";
  return "";
}

void define_common_options(CLI::App& app, Arguments& arguments) {
  app.add_flag("--json", arguments.style.json, "Print each result as a JSON object");
  app.add_flag("-q,--quiet", arguments.style.quiet, "Print nothing about what went well");
  app.add_option("--timeout", arguments.limits.timeout_s,
                 "Give up each command after SECONDS, retries included")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.001, 2000000.0).description(""));
  app.add_option(
         "--retry", arguments.limits.retries,
         "Try again up to COUNT times, a second apart, if no engine runs or its queue has no slot free")
      ->type_name("COUNT")
      ->check(CLI::Range(0, 1000000).description(""));
  app.add_option_function<std::string>(
         "--instance", [](const std::string& name) { setenv(MULTI_AGENT_ENV_VAR, name.c_str(), 1); },
         "Address the engine of this instance")
      ->type_name("NAME")
      ->check(CLI::Validator(check_instance, ""));
  app.set_version_flag("--version", "marctl " MAR_VERSION, "Print the version and exit");
}

ExitStatus send_command(const Command& command, const Arguments& arguments) {
  const auto request = request_of_options(command, arguments.texts, arguments.file);
  if (!request) return report_bad_input(arguments.style, request.reason());
  Session session(arguments.limits);
  return report(arguments.style, command.name, session.run([&] { return request->send(); }));
}

ExitStatus print_schema(const Arguments& arguments) {
  const Command* const command = find_command(arguments.schema_of);
  if (command == nullptr && !arguments.schema_of.empty())
    return report_bad_input(arguments.style, "there is no command " + quoted(arguments.schema_of));
  return put_line(schema_of(command).dump(2)) ? ExitStatus::kDone : ExitStatus::kFailed;
}

CLI::App* add_mode(CLI::App& app, Arguments& arguments, const char* name, const char* help,
                   ExitStatus (*run)(const Arguments&)) {
  CLI::App* const mode = app.add_subcommand(name, help);
  mode->callback([&arguments, run] { arguments.run = run; });
  return mode;
}

CLI::Option* positive(CLI::Option* option, const char* type_name, double max) {
  return option->type_name(type_name)->check(CLI::Range(0.001, max).description(""))->capture_default_str();
}

void define_modes(CLI::App& app, Arguments& arguments) {
  CLI::App* const batch =
      add_mode(app, arguments, "batch", "Send the commands of a file, one a line", run_batch);
  batch->add_option("file", arguments.file, "The file, or - for standard input")
      ->required()
      ->type_name("FILE");
  batch->add_flag("--keep-going", arguments.keep_going, "Go on after a command that failed");

  CLI::App* const ping = add_mode(app, arguments, "ping", "Measure how fast the engine answers", run_ping);
  ping->add_option("--count", arguments.count, "Ping COUNT times")
      ->type_name("COUNT")
      ->check(CLI::Range(1, 1000000000).description(""))
      ->capture_default_str();
  positive(ping->add_option("--interval", arguments.interval_s, "Pause between two pings"), "SECONDS", 86400);

  add_mode(app, arguments, "wait", "Wait until the engine answers, or is gone", run_wait)
      ->add_option("--for", arguments.wait_for, "What to wait for: up or down")
      ->required()
      ->type_name("STATE")
      ->check(CLI::IsMember({"up", "down"}).description(""));

  CLI::App* const watch =
      add_mode(app, arguments, "watch", "Show state, latency and queue again and again", run_watch);
  watch->add_option("--count", arguments.looks, "End after COUNT looks")
      ->type_name("COUNT")
      ->check(CLI::Range(1, 1000000000).description(""));
  positive(watch->add_option("--interval", arguments.interval_s, "Time from look to look"), "SECONDS", 86400);

  add_mode(app, arguments, "schema", "Print the JSON schema of a command's fields, or of a batch line",
           print_schema)
      ->add_option("command", arguments.schema_of, "The command")
      ->type_name("COMMAND");
}

void define_commands(CLI::App& app, Arguments& arguments) {
  for (const Command& command : commands()) {
    CLI::App* const sub = app.add_subcommand(command.name, command.help);
    sub->callback([&arguments, &command] {
      arguments.run = [&command](const Arguments& given) { return send_command(command, given); };
    });
    if (command.fields.empty()) continue;
    add_field_options(*sub, command, arguments.texts);
    sub->add_option("--file", arguments.file,
                    "Read the fields from a JSON file, or - for standard input; options go over it")
        ->type_name("FILE");
  }
}

// Explains a wrong command line. Returns 0 for --help and --version.
ExitStatus explain(const CLI::App& app, const CLI::ParseError& error, const Style& style) {
  if (error.get_exit_code() == 0) {
    app.exit(error);
    return ExitStatus::kDone;
  }
  const std::vector<std::string> unknown = app.remaining();
  if (app.get_subcommands().empty() && !unknown.empty() && !unknown[0].starts_with('-'))
    return report_bad_input(style,
                            "there is no command " + quoted(unknown[0]) + "; marctl --help lists them");
  return report_bad_input(style, error.what());
}

ExitStatus run_program(int argc, char** argv) {
  Arguments arguments;
  CLI::App app("Sends commands to the MAR measurement engine of this host.", "marctl");
  app.fallthrough();  // the commands inherit it
  define_common_options(app, arguments);
  define_commands(app, arguments);
  define_modes(app, arguments);
  app.require_subcommand(1);
  app.footer(footer());
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    // A command line that cannot be parsed sets no option, but a script wants to be told in its own way.
    return explain(app, error,
                   {.json = std::find(argv, argv + argc, std::string_view("--json")) != argv + argc});
  }
  return arguments.run(arguments);
}

}  // namespace

}  // namespace mar::ctl

int main(int argc, char** argv) try {
  return static_cast<int>(mar::ctl::run_program(argc, argv));
} catch (const std::exception& error) {
  std::fprintf(stderr, "marctl: %s\n", error.what());
  return static_cast<int>(mar::ctl::ExitStatus::kFailed);
}
