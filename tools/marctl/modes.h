// What marctl does beside sending a single command. Each prints its own reports.
#pragma once

#include "tools/marctl/arguments.h"

namespace mar::ctl {

// Sends the commands of a file over one connection. A regular file is checked to its end before the first is
// sent; other input is checked line by line. Returns the status of the first failure.
ExitStatus run_batch(const Arguments& arguments);

// Returns the status of the last ping that failed.
ExitStatus run_ping(const Arguments& arguments);

ExitStatus run_wait(const Arguments& arguments);

// Ends the process, with the status of the last look, if it does not go on for ever.
[[noreturn]] ExitStatus run_watch(const Arguments& arguments);

}  // namespace mar::ctl
