// Where a queue is to be found: control file, instance, keys; and which other control files lie beside it.
#pragma once

#include <sys/stat.h>

#include <string>
#include <vector>

#include "ipc/naming.h"

namespace mar::queue_tool {

struct Place {
  std::string base;      // the control file's path without instance suffix, as the clients are given it
  std::string path;      // with it
  std::string instance;  // empty: none, or one with an empty name
  int error = 0;         // errno of the failed look at the file
  struct stat file = {};
  IpcKeys keys = {};  // valid when error is 0
};

// Takes the instance from the environment. A path that segment and queue would cut differently gives error
// ENAMETOOLONG.
Place find_place(const std::string& base);

// Base name and all its instances' files, without `place` itself, in alphabetical order.
std::vector<std::string> other_control_files(const Place& place);

// "ARM_AGENT_PREFIX=two" or "ARM_AGENT_PREFIX unset": the environment in which clients find `control_file`.
std::string environment_for(const Place& place, const std::string& control_file);

}  // namespace mar::queue_tool
