#include "cli/command_line.h"

#include <cstdlib>
#include <cstring>
#include <iterator>

#include "cli/actions.h"
#include "cli/output.h"
#include "cli/sample_data.h"
#include "cli/settings.h"

CliCommand CLI_COMMANDS[] = {
    {"stopeng", kStopEng},
    {"cleareng", kClearEng},
    {"addedgepolicy", kAddEdgePolicy},
    {"removeedgepolicy", kRemoveEdgePolicy},
    {"addthreshold", kAddThreshold},
    {"updatethreshold", kUpdateThreshold},
    {"removethreshold", kRemoveThreshold},
    {"updateedgepolicy", kUpdateEdgePolicy},
    {"requestdataupload", kRequestDataUpload},
    {"setuploadschedule", kSetUploadSchedule},
    {"dump", kDump},
    {"debug", kDebug},
    {"clis", kClis},
    {nullptr, 0},
};

char SYNTAX_SWITCH[16] = "/l3";

namespace {

struct Command {
  void (*parse)(int argc, char** argv);  // null: takes no parameter
  int32_t (*run)();                      // null: no such command
};

// By command number.
constexpr Command kCommands[] = {
    /*  0 */ {},
    /*  1 */ {nullptr, StopEng},
    /*  2 */ {},
    /*  3 */ {nullptr, ClearEng},
    /*  4 */ {ParseAddEdgePolicy, [] { return AddEdgePolicy(1); }},
    /*  5 */ {ParseRemoveEdgePolicy, [] { return RemoveEdgePolicy(lMgtPolicyUUID); }},
    /*  6 */ {ParseAddThreshold, AddThreshold},
    /*  7 */ {nullptr, UpdateThreshold},
    /*  8 */ {nullptr, RemoveThreshold},
    /*  9 */ {nullptr, UpdateEdgePolicy},
    /* 10 */ {ParseRequestDataUpload, RequestDataUpload},
    /* 11 */ {ParseSetUploadSchedule, SetUploadSchedule},
    /* 12 */ {nullptr, dump},
    /* 13 */ {ParseDebug, debug},
    /* 14 */ {ParseSetRealTimeSendInterval, setRealtimeSendInterval},
    /* 15 */ {nullptr, clis},
};
static_assert(std::size(kCommands) == kClis + 1);

// An empty row for a number beyond the table.
Command command_of(int32_t number) {
  return static_cast<uint32_t>(number) < std::size(kCommands) ? kCommands[number] : Command{};
}

// Cut to 32 bits before anything looks at it.
int32_t number_in(const char* text) { return static_cast<int32_t>(strtol(text, nullptr, 10)); }

// A sample count: as given when the table has so many records, else all of them. A negative one is more than
// any table has.
int32_t sample_count(const char* text, int32_t samples) {
  const int32_t count = number_in(text);
  return static_cast<uint32_t>(count) <= static_cast<uint32_t>(samples) ? count : samples;
}

}  // namespace

int32_t Initialize(int argc, char** argv) {
  if (argc < 2) return 0;
  if (strcmp(argv[1], SYNTAX_SWITCH) == 0) {
    ShowSyntax();
    return 0;
  }
  for (const CliCommand* row = CLI_COMMANDS; row->keyword != nullptr; ++row) {
    if (strcmp(argv[1], row->keyword) != 0) continue;
    iWhichCLICommand = row->number;
    if (const auto parse = command_of(row->number).parse) parse(argc, argv);
    return 1;
  }
  return 0;
}

int32_t Doit(int, char**, int32_t command) {
  if (const auto run = command_of(command).run) return run();
  sayf("Don't know what to do with CLI command # %d\n", command);
  return 0;
}

void ShowSyntax() {
  say("t1 CLI_COMMAND {cli_parms ...}");
  say("");
  say("where CLI_COMMAND is:");
  for (const CliCommand* row = CLI_COMMANDS; row->keyword != nullptr; ++row) say(row->keyword);
}

void ParseAddEdgePolicy(int argc, char** argv) {
  if (argc <= 2) return;
  addAllEdges = 1;
  say("Add multiple edge policies");
  addAllEdgesCount = sample_count(argv[2], kEdgePolicySamples);
  sayf("  count [%d]\n", addAllEdgesCount);
}

void ParseAddThreshold(int argc, char** argv) {
  if (argc <= 2) return;
  say("Add multiple thresholds");
  addThresholdsCount = sample_count(argv[2], kThresholdSamples);
  sayf("  count [%d]\n", addThresholdsCount);
}

void ParseRemoveEdgePolicy(int argc, char** argv) {
  lMgtPolicyUUID = argc > 2 ? number_in(argv[2]) : 0;
  if (argc <= 2) say("Didn't pass a mgt policy UUID to be removed.");
  sayf("Mgt policy UUID to be removed [%ld]\n", long{lMgtPolicyUUID});
}

void ParseRequestDataUpload(int argc, char** argv) {
  VRequestID = argc > 2 ? number_in(argv[2]) : 50;
  if (argc <= 2) say("Didn't pass a requestID.");
  sayf("Request ID [%ld]\n", long{VRequestID});
}

void ParseSetUploadSchedule(int argc, char** argv) {
  if (argc > 2) abStartHour = number_in(argv[2]);
  if (argc > 3) abInterval = number_in(argv[3]);
  sayf("Using startHour[%d] interval[%d]\n", abStartHour, abInterval);
}

void ParseDebug(int argc, char** argv) {
  if (argc > 2) iLogLevel = number_in(argv[2]);
  sayf("Using LogLevel[%d]\n", iLogLevel);
}

void ParseSetRealTimeSendInterval(int argc, char** argv) {
  VRealtimeSendInterval = argc > 2 ? number_in(argv[2]) : 10;
  if (argc <= 2) say("No realtime send interval parameter passed");
  sayf("Using realtime send interval of [%d]\n", VRealtimeSendInterval);
}
