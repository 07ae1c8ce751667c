// JSON from outside: read as far as is reasonable, and checked for what a parser passes over.
#pragma once

#include <istream>
#include <string>

#include "tools/marctl/fields.h"

namespace mar::ctl {

// Far more than any command needs. A longer file or line is refused, not read.
inline constexpr size_t kMaxInputBytes = 1 << 20;

// How messages call the input: "standard input" for "-".
std::string input_name(const std::string& path);

// The whole of `path`, or of standard input for "-".
Outcome<std::string> read_input(const std::string& path);

// One line without its end, or false at the end of input. A line that is too long is cut and sets `too_long`;
// its rest is passed over.
bool read_line(std::istream& input, std::string& line, bool& too_long);

// Refuses text that is not JSON, saying "line 3, column 14", and objects that name a member twice.
Outcome<Json> parse_json(const std::string& text);

}  // namespace mar::ctl
