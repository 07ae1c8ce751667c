// mar-queue: examines the command queue from outside, says why the engine does not answer, and repairs what
// dead clients and dead engines have left.
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <chrono>
#include <cstdio>
#include <optional>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "contract/names.h"
#include "tools/mar_queue/check.h"
#include "tools/mar_queue/diagnosis.h"
#include "tools/mar_queue/ping.h"
#include "tools/mar_queue/repair.h"
#include "tools/mar_queue/report.h"
#include "tools/mar_queue/snapshot.h"
#include "tools/mar_queue/wording.h"

namespace mar::queue_tool {

namespace {

constexpr int kBadUsage = 2;
constexpr size_t kPrintedFindings = 50;
constexpr int kLooksOfACheck = 10;  // of 300 ms each
constexpr int kLooksAtDamage = 8;
constexpr int kTriesAtDamage = 24;
constexpr int kLongestPauseUs = 2000;
constexpr char kRedraw[] = "\033[H\033[J";  // cursor home, clear below

struct Arguments {
  std::string name = CLI_IPC_NAME;
  bool json = false;
  bool yes = false;
  double watch_s = 0;  // 0: once
  double timeout_s = 5;
  std::string command;
};

CLI::App* add_command(CLI::App& app, Arguments& arguments, const char* name, const char* help) {
  CLI::App* const command = app.add_subcommand(name, help);
  command->callback([&arguments, name] { arguments.command = name; });
  return command;
}

void define_options(CLI::App& app, Arguments& arguments) {
  app.add_option("--name", arguments.name, "Control file, without the instance")->capture_default_str();
  app.add_flag("--json", arguments.json, "Print one JSON object instead of text");
  app.set_version_flag("--version", "mar-queue " MAR_VERSION, "Print the version and exit");
  app.fallthrough();
  app.require_subcommand(1);
  add_command(app, arguments, "status", "Does the engine run, and if clients cannot reach it, why?");
  add_command(app, arguments, "ping", "Ask the engine for an answer, and time it")
      ->add_option("--timeout", arguments.timeout_s, "Give up after SECONDS")
      ->capture_default_str()
      ->type_name("SECONDS")
      ->check(CLI::Range(0.001, 86400.0));
  add_command(app, arguments, "show", "Draw the queue: header, slots, heads")
      ->add_option("--watch", arguments.watch_s, "Redraw every SECONDS (default 1)")
      ->expected(0, 1)
      ->default_str("1")
      ->type_name("SECONDS")
      ->check(CLI::Range(0.1, 86400.0));
  add_command(app, arguments, "check", "Prove that each slot is free or queued exactly once");
  const char* const yes_help = "Do it; without this, only report what would be done";
  add_command(app, arguments, "reap", "Free what ended processes hold")
      ->add_flag("--yes", arguments.yes, yes_help);
  add_command(app, arguments, "remove-stale", "Remove the kernel objects of a dead engine")
      ->add_flag("--yes", arguments.yes, yes_help);
  app.footer("Exit status: 0 fine, 1 trouble found, 2 could not examine the queue (or wrong usage).");
}

// Explains a wrong command line. Returns the exit status, which is 0 for --help and --version.
int explain(const CLI::App& app, const CLI::ParseError& error) {
  const std::vector<std::string> unknown = app.remaining();
  if (!app.get_subcommands().empty() || unknown.empty() || unknown[0].starts_with('-')) {
    return app.exit(error) == 0 ? 0 : kBadUsage;
  }
  std::vector<std::string> names;
  for (const CLI::App* command : app.get_subcommands([](const CLI::App*) { return true; }))
    names.push_back(command->get_name());
  fmt::print(stderr, "There is no command '{}'; the nearest is '{}'. The commands are: {}\n",
             printable(unknown[0]), nearest(unknown[0], names), fmt::join(names, " "));
  return kBadUsage;
}

Findings report_check(const Snapshot& snapshot, const CheckResult& checked) {
  if (!snapshot.settled) {
    return {blind("unsettled", "This is no sign of damage: {}, so nothing can be proved. {}",
                  snapshot.lock > 0 ? fmt::format("process {} held the queue's lock all the time",
                                                  process_label(snapshot.lock_user))
                                    : "the queue was in use all the time",
                  snapshot.lock > 0 ? "mar-queue status tells what to do." : "Try again.")};
  }
  if (!checked.damage.empty()) return checked.damage;
  return {note("sound", "The queue is sound: {}, {} free and {} queued, each exactly once.",
               count_of(snapshot.image->slots, "slot"), checked.free, checked.queued)};
}

Findings run(const Arguments& arguments, const Snapshot& snapshot,
             const std::optional<CheckResult>& checked) {
  if (arguments.command == "status") return diagnose(snapshot, checked);
  if (arguments.command == "remove-stale") return remove_stale(snapshot, arguments.yes);
  if (!checked) return explain_missing_image(snapshot);
  if (arguments.command == "check") return report_check(snapshot, *checked);
  if (arguments.command == "reap") return reap(snapshot, *checked, arguments.yes);
  return {};
}

std::string text_report(const Findings& findings) {
  std::string report;
  for (size_t i = 0; i < findings.size() && i < kPrintedFindings; ++i) report += findings[i].text + '\n';
  if (findings.size() > kPrintedFindings) {
    report += fmt::format("And {} more (--json lists all).\n", findings.size() - kPrintedFindings);
  }
  return report;
}

struct Look {
  Snapshot snapshot;
  std::optional<CheckResult> checked;

  bool is_unsettled() const { return snapshot.image && !snapshot.settled && snapshot.lock <= 0; }
  bool shows_damage() const { return snapshot.settled && checked && !checked->damage.empty(); }
};

Look take_look(const std::string& name) {
  Look look{take_snapshot(name), {}};
  if (look.snapshot.image) look.checked = check_queue(*look.snapshot.image, look.snapshot.uses);
  return look;
}

// Users that put and take in step with the copies may leave the same half of a change for each of them.
// Damage stays: it is believed only once looks at irregular intervals have all shown it. A look at a queue in
// motion proves nothing, one way or the other.
Look confirm_damage(Look look, const std::string& name) {
  std::minstd_rand random(std::random_device{}());
  std::uniform_int_distribution<int> pause_us(0, kLongestPauseUs);
  int looks = 1;
  for (int tries = 0; looks < kLooksAtDamage && tries < kTriesAtDamage; ++tries) {
    std::this_thread::sleep_for(std::chrono::microseconds(pause_us(random)));
    Look next = take_look(name);
    if (!next.snapshot.settled) continue;
    look = std::move(next);
    if (!look.shows_damage()) return look;
    ++looks;
  }
  if (looks < kLooksAtDamage) look.snapshot.settled = false;
  return look;
}

// A check needs one moment at which the queue is at rest; a busy queue may take a few looks to show one.
Look examine(const Arguments& arguments) {
  Look look = take_look(arguments.name);
  for (int looks = 1; arguments.command == "check" && looks < kLooksOfACheck && look.is_unsettled(); ++looks)
    look = take_look(arguments.name);
  return look.shows_damage() ? confirm_damage(std::move(look), arguments.name) : look;
}

// Examines the queue and prints one report. Returns the exit status, or -1 if the
// report cannot be written.
int report(const Arguments& arguments) {
  PingResult pinged;
  const bool is_ping = arguments.command == "ping";
  if (is_ping) pinged = ping(arguments.timeout_s);
  // The text of a ping shows nothing of the queue.
  const auto [snapshot, checked] = is_ping && !arguments.json ? Look{} : examine(arguments);
  const Findings findings = is_ping ? pinged.findings : run(arguments, snapshot, checked);
  std::string output;
  if (arguments.watch_s > 0 && !arguments.json && isatty(STDOUT_FILENO) != 0) output = kRedraw;
  if (arguments.json) {
    output += json_report(arguments.command, snapshot, checked ? &*checked : nullptr, findings,
                          pinged.round_trip_ms) +
              '\n';
  } else {
    if (arguments.command == "show" && checked) output += draw(snapshot, *checked);
    output += text_report(findings);
  }
  const bool written = std::fputs(output.c_str(), stdout) >= 0 && std::fflush(stdout) == 0;
  return written ? static_cast<int>(worst(findings)) : -1;
}

int run_program(int argc, char** argv) {
  Arguments arguments;
  CLI::App app("Examines the command queue of the MAR measurement engine, and repairs it.", "mar-queue");
  define_options(app, arguments);
  try {
    app.parse(argc, argv);
  } catch (const CLI::ParseError& error) {
    return explain(app, error);
  }
  if (arguments.command == "ping" && arguments.name != CLI_IPC_NAME) {
    fmt::print(stderr, "ping asks the engine of {}, as all clients do; --name is for the other commands.\n",
               CLI_IPC_NAME);
    return kBadUsage;
  }
  int status = report(arguments);
  while (arguments.watch_s > 0 && status != -1) {
    std::this_thread::sleep_for(std::chrono::duration<double>(arguments.watch_s));
    status = report(arguments);
  }
  return status == -1 ? static_cast<int>(Severity::kBlind) : status;
}

}  // namespace

}  // namespace mar::queue_tool

int main(int argc, char** argv) try {
  return mar::queue_tool::run_program(argc, argv);
} catch (const std::exception& error) {
  std::fprintf(stderr, "mar-queue: %s\n", error.what());
  return static_cast<int>(mar::queue_tool::Severity::kBlind);
}
