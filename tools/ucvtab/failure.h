// How a command of ucvtab ends. Exceptions stay inside this tool: whatever stops a command is thrown as a
// Failure, and main() prints its message and exits with its code. Nothing outside tools/ucvtab throws.
#pragma once

#include <stdexcept>
#include <string>

namespace mar::ucvtab {

enum ExitCode : int {
  kDone = 0,
  kDiffers = 1,        // diff, verify, check, aliases: found something to report
  kUsage = 2,          // the command line is wrong
  kBadInput = 3,       // a catalogue, text, aliases or table file is wrong; the message names file and line
  kDoesNotFit = 4,     // the codeset does not fit the kind that its row names
  kUnknownSource = 5,  // the catalogue, the C library, ICU or the product does not know the name
  kFileError = 6,      // a file could not be read or written
};

struct Failure : std::runtime_error {
  Failure(ExitCode exit_code, const std::string& message) : std::runtime_error(message), code(exit_code) {}
  ExitCode code;
};

}  // namespace mar::ucvtab
