// From the command line to an action: the keyword table, the parser of each command's parameters, the
// dispatcher. Parsers write cli/settings.h; numbers are read as strtol reads base 10 (junk reads as 0) and
// cut to 32 bits.
#pragma once

#include <cstdint>

enum CommandNumber : int32_t {  // 0 and 2 are nobody's
  kStopEng = 1,
  kClearEng = 3,
  kAddEdgePolicy = 4,
  kRemoveEdgePolicy = 5,
  kAddThreshold = 6,
  kUpdateThreshold = 7,
  kRemoveThreshold = 8,
  kUpdateEdgePolicy = 9,
  kRequestDataUpload = 10,
  kSetUploadSchedule = 11,
  kDump = 12,
  kDebug = 13,
  kSetRealTimeSendInterval = 14,  // has no keyword
  kClis = 15,
};

struct CliCommand {
  const char* keyword;
  int32_t number;
};

extern "C" {

extern CliCommand CLI_COMMANDS[];  // in the order of the syntax listing, ended by a null keyword
extern char SYNTAX_SWITCH[16];     // as the first argument: print the syntax listing

// Finds the keyword argv[1], puts its number into iWhichCLICommand and parses its parameters. Returns 1, or 0
// when there is no such keyword (nothing is printed) or the syntax listing was asked for (and printed).
int32_t Initialize(int argc, char** argv);

// Runs the action of command number `command` and returns its result; 0 with a line for a number without one.
int32_t Doit(int argc, char** argv, int32_t command);

void ShowSyntax();

// Each takes its parameter from argv[2], the schedule's also from argv[3], and prints what it understood.
void ParseAddEdgePolicy(int argc, char** argv);
void ParseAddThreshold(int argc, char** argv);
void ParseRemoveEdgePolicy(int argc, char** argv);
void ParseRequestDataUpload(int argc, char** argv);
void ParseSetUploadSchedule(int argc, char** argv);
void ParseDebug(int argc, char** argv);
void ParseSetRealTimeSendInterval(int argc, char** argv);
}
