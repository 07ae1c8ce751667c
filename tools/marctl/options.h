// The fields of a command as options of a command line, and from a file.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "tools/marctl/commands.h"

namespace CLI {
class App;
}

namespace mar::ctl {

using FieldTexts = std::map<std::string, std::string>;  // of the options that were given, by their field

// An option for each field. `texts` outlives the parsing.
void add_field_options(CLI::App& app, const Command& command, FieldTexts& texts);

// The options among the words of a line that stand after the command's name.
Outcome<FieldTexts> parse_field_options(const Command& command, std::vector<std::string> words);

// The request that the options stand for, over the fields in `file`: a path, "-" for standard input, or empty
// for none.
Outcome<Request> request_of_options(const Command& command, const FieldTexts& texts, const std::string& file);

}  // namespace mar::ctl
