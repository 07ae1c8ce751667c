// marctl run as a script runs it.
#pragma once

#include <string>
#include <vector>

#include "tests/support/engine.h"
#include "tests/support/files.h"
#include "tests/support/program.h"

namespace mar {

struct Ran {
  int status;
  std::string output;  // standard output and standard error
};

inline Ran finish(Program& program) {
  const std::string output = program.output();
  return {program.status(), output};
}

// `arguments` as a shell reads them; `input` becomes standard input.
inline std::vector<std::string> marctl_command(const std::string& arguments, const std::string& input = "") {
  write_file("/var/zarn/input", input);
  return {"sh", "-c", "exec " MARCTL_PATH " " + arguments + " 2>&1 </var/zarn/input"};
}

inline Ran marctl(const std::string& arguments, const std::string& input = "") {
  Program program(marctl_command(arguments, input));
  return finish(program);
}

}  // namespace mar
