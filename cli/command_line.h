// From the command line to an action: the keyword table, the parser of each command's parameters, the
// dispatcher. The parsers write cli/settings.h. They read numbers as strtol does in base 10 (junk reads as 0)
// and cut them to 32 bits.
#pragma once

#include <array>
#include <cstdint>

struct CliCommand {
  const char* keyword;
  int32_t number;
};

extern "C" {

// The 13 keywords in the order of the syntax listing, then a null keyword. Writable, as is the switch.
extern std::array<CliCommand, 14> CLI_COMMANDS;
extern char SYNTAX_SWITCH[16];  // as the first argument: print the syntax listing

// Finds the keyword argv[1], stores its number in iWhichCLICommand and parses its parameters. Returns 1, or 0
// when there is no such keyword (nothing is printed) or the syntax listing was asked for (it is printed).
int32_t Initialize(int argc, char** argv);

// Runs the action of command number `command` and returns its result. Prints a line and returns 0 for a
// number without an action.
int32_t Doit(int argc, char** argv, int32_t command);

void ShowSyntax();

// Each parser takes its parameter from argv[2], the schedule's also from argv[3], and
// prints what it understood.
void ParseAddEdgePolicy(int argc, char** argv);
void ParseAddThreshold(int argc, char** argv);
void ParseRemoveEdgePolicy(int argc, char** argv);
void ParseRequestDataUpload(int argc, char** argv);
void ParseSetUploadSchedule(int argc, char** argv);
void ParseDebug(int argc, char** argv);
void ParseSetRealTimeSendInterval(int argc, char** argv);
}
