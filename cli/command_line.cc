#include "cli/command_line.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <iterator>

#include "cli/actions.h"
#include "cli/output.h"
#include "cli/sample_data.h"
#include "cli/settings.h"

namespace mar::cli {

namespace {

struct Command {
  int32_t number;
  const char* keyword;                   // null: cannot be chosen on the command line
  void (*parse)(int argc, char** argv);  // null: takes no parameter
  int32_t (*run)();
};

// Every command the client knows, by number; 0 and 2 are not assigned. The keywords are listed in this order.
constexpr Command kCommands[] = {
    {1, "stopeng", nullptr, StopEng},
    {3, "cleareng", nullptr, ClearEng},
    {4, "addedgepolicy", ParseAddEdgePolicy, [] { return AddEdgePolicy(1); }},
    {5, "removeedgepolicy", ParseRemoveEdgePolicy, [] { return RemoveEdgePolicy(lMgtPolicyUUID); }},
    {6, "addthreshold", ParseAddThreshold, AddThreshold},
    {7, "updatethreshold", nullptr, UpdateThreshold},
    {8, "removethreshold", nullptr, RemoveThreshold},
    {9, "updateedgepolicy", nullptr, UpdateEdgePolicy},
    {10, "requestdataupload", ParseRequestDataUpload, RequestDataUpload},
    {11, "setuploadschedule", ParseSetUploadSchedule, SetUploadSchedule},
    {12, "dump", nullptr, dump},
    {13, "debug", ParseDebug, debug},
    {14, nullptr, ParseSetRealTimeSendInterval, setRealtimeSendInterval},
    {15, "clis", nullptr, clis},
};

consteval bool numbers_ascend() {
  int32_t last = 0;
  for (const Command& command : kCommands) {
    if (command.number <= last) return false;
    last = command.number;
  }
  return true;
}
static_assert(numbers_ascend());

consteval auto keyword_table() {
  std::array<CliCommand, std::size(kCommands)>
      table{};  // one command has no keyword: its place ends the table
  size_t rows = 0;
  for (const Command& command : kCommands) {
    if (command.keyword != nullptr) table[rows++] = {command.keyword, command.number};
  }
  return table;
}

// Null for a number that is not assigned.
const Command* find_command(int32_t number) {
  const auto* const found =
      std::find_if(std::begin(kCommands), std::end(kCommands),
                   [number](const Command& command) { return command.number == number; });
  return found == std::end(kCommands) ? nullptr : found;
}

// Cut to 32 bits before anything looks at it.
int32_t number_in(const char* text) { return static_cast<int32_t>(strtol(text, nullptr, 10)); }

// A sample count: as given when the table has that many records, else all of them. Compared as unsigned, a
// negative count is more than any table has.
int32_t sample_count(const char* text, int32_t samples) {
  const int32_t count = number_in(text);
  return static_cast<uint32_t>(count) <= static_cast<uint32_t>(samples) ? count : samples;
}

}  // namespace

}  // namespace mar::cli

using mar::cli::say;
using mar::cli::sayf;

constinit std::array<CliCommand, 14> CLI_COMMANDS = mar::cli::keyword_table();

char SYNTAX_SWITCH[16] = "/l3";

int32_t Initialize(int argc, char** argv) {
  if (argc < 2) return 0;
  if (strcmp(argv[1], SYNTAX_SWITCH) == 0) {
    ShowSyntax();
    return 0;
  }
  for (const CliCommand* row = CLI_COMMANDS.data(); row->keyword != nullptr; ++row) {
    if (strcmp(argv[1], row->keyword) != 0) continue;
    iWhichCLICommand = row->number;
    const auto* const command = mar::cli::find_command(row->number);
    if (command != nullptr && command->parse != nullptr) command->parse(argc, argv);
    return 1;
  }
  return 0;
}

int32_t Doit(int, char**, int32_t command) {
  if (const auto* const known = mar::cli::find_command(command)) return known->run();
  sayf("Don't know what to do with CLI command # %d\n", command);
  return 0;
}

void ShowSyntax() {
  say("t1 CLI_COMMAND {cli_parms ...}");
  say("");
  say("where CLI_COMMAND is:");
  for (const CliCommand* row = CLI_COMMANDS.data(); row->keyword != nullptr; ++row) say(row->keyword);
}

void ParseAddEdgePolicy(int argc, char** argv) {
  if (argc <= 2) return;
  addAllEdges = 1;
  say("Add multiple edge policies");
  addAllEdgesCount = mar::cli::sample_count(argv[2], mar::cli::kEdgePolicySamples);
  sayf("  count [%d]\n", addAllEdgesCount);
}

void ParseAddThreshold(int argc, char** argv) {
  if (argc <= 2) return;
  say("Add multiple thresholds");
  addThresholdsCount = mar::cli::sample_count(argv[2], mar::cli::kThresholdSamples);
  sayf("  count [%d]\n", addThresholdsCount);
}

void ParseRemoveEdgePolicy(int argc, char** argv) {
  lMgtPolicyUUID = argc > 2 ? mar::cli::number_in(argv[2]) : 0;
  if (argc <= 2) say("Didn't pass a mgt policy UUID to be removed.");
  sayf("Mgt policy UUID to be removed [%ld]\n", long{lMgtPolicyUUID});
}

void ParseRequestDataUpload(int argc, char** argv) {
  VRequestID = argc > 2 ? mar::cli::number_in(argv[2]) : 50;
  if (argc <= 2) say("Didn't pass a requestID.");
  sayf("Request ID [%ld]\n", long{VRequestID});
}

void ParseSetUploadSchedule(int argc, char** argv) {
  if (argc > 2) abStartHour = mar::cli::number_in(argv[2]);
  if (argc > 3) abInterval = mar::cli::number_in(argv[3]);
  sayf("Using startHour[%d] interval[%d]\n", abStartHour, abInterval);
}

void ParseDebug(int argc, char** argv) {
  if (argc > 2) iLogLevel = mar::cli::number_in(argv[2]);
  sayf("Using LogLevel[%d]\n", iLogLevel);
}

void ParseSetRealTimeSendInterval(int argc, char** argv) {
  VRealtimeSendInterval = argc > 2 ? mar::cli::number_in(argv[2]) : 10;
  if (argc <= 2) say("No realtime send interval parameter passed");
  sayf("Using realtime send interval of [%d]\n", VRealtimeSendInterval);
}
