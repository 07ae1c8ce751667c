// What the command line asks for.
#pragma once

#include <functional>
#include <string>

#include "tools/marctl/options.h"
#include "tools/marctl/report.h"
#include "tools/marctl/session.h"

namespace mar::ctl {

struct Arguments {
  Style style;
  Limits limits;
  std::function<ExitStatus(const Arguments&)> run;  // does it

  FieldTexts texts;  // of a command
  std::string file;  // of a command, or of batch; "-" is standard input
  bool keep_going = false;
  std::string schema_of;
  int count = 1;  // of pings
  int looks = 0;  // of watch; 0: for ever
  double interval_s = 1;
  std::string wait_for;  // "up" or "down"
};

}  // namespace mar::ctl
