// How a command of ucvtab ends. Everything below main reports trouble by throwing Failure; main prints the
// message and exits with the code.
#pragma once

#include <stdexcept>
#include <string>

namespace ucvtab {

enum ExitCode : int {
  kDone = 0,
  kDiffers = 1,        // diff, verify, check, aliases: looked, and found something to report
  kUsage = 2,          // the command line
  kBadInput = 3,       // a catalogue, text, aliases or table file: the message names file and line
  kDoesNotFit = 4,     // the codeset cannot be held in the kind that its row names
  kUnknownSource = 5,  // not in the catalogue, or the C library, ICU or the product does not know the name
  kFileError = 6,      // a file could not be read or written
};

struct Failure : std::runtime_error {
  Failure(ExitCode exit_code, const std::string& message) : std::runtime_error(message), code(exit_code) {}
  ExitCode code;
};

}  // namespace ucvtab
