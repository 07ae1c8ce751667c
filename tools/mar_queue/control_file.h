// The control file from which clients derive the keys of a queue, and the other control files beside it.
#pragma once

#include <sys/stat.h>

#include <string>
#include <vector>

#include "ipc/naming.h"

namespace mar::queue_tool {

struct ControlFile {
  std::string base;         // the path without the instance, as clients are given it
  std::string path;         // with the instance, if there is one
  int error = 0;            // errno of the failed look-up, 0 if the file was found
  struct stat status = {};  // valid when error is 0, as are the keys
  IpcKeys keys = {};
};

// Takes the instance from the environment. A path that the segment and the queue would cut to different
// lengths sets the error ENAMETOOLONG.
ControlFile find_control_file(const std::string& base);

// The control files of the base name and of all its instances, without `file` itself, in alphabetical order.
std::vector<std::string> other_control_files(const ControlFile& file);

// The environment in which clients find `other_path`: "ARM_AGENT_PREFIX=two" or "ARM_AGENT_PREFIX unset".
std::string environment_for(const ControlFile& file, const std::string& other_path);

}  // namespace mar::queue_tool
