// The lines that tell what became of each command: text for people, or one JSON object each.
#pragma once

#include <string>

#include "tools/marctl/exit_status.h"
#include "tools/marctl/fields.h"

namespace mar::ctl {

struct Style {
  bool json = false;
  bool quiet = false;  // no line for a success
};

// One write, so that a pipe shows at once what a terminal shows. False: the line cannot be written.
bool put_line(const std::string& line);

std::string compact(const Json& value);

// {"status":3,"outcome":"not-running",...}: the members that each report of a reply has.
void add_outcome(Json& line, const Reply& reply);

// Reports a single command: a success on standard output, a failure on standard error, or with Style::json
// either on standard output. Returns the exit status.
ExitStatus report(const Style& style, const std::string& command, const Reply& reply);

// The same for what was wrong before anything was sent.
ExitStatus report_bad_input(const Style& style, const std::string& reason);

}  // namespace mar::ctl
