// A line of a batch: a JSON object, a line that mar-standin --json has printed, or a command line.
#pragma once

#include <optional>
#include <string>

#include "tools/marctl/commands.h"

namespace mar::ctl {

// No request: an empty line, one that begins with #, or a recorded event that is not a request.
Outcome<std::optional<Request>> parse_batch_line(const std::string& line);

}  // namespace mar::ctl
