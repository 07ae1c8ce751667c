// Where else an engine's queue may be when our keys lead to none, or to a dead one.
#pragma once

#include <sys/types.h>

#include <string>
#include <vector>

#include "tools/mar_queue/control_file.h"
#include "tools/mar_queue/ipc_objects.h"

namespace mar::queue_tool {

// A process that uses a queue of the same control file path in another IPC namespace.
struct NamespaceUser {
  pid_t process;
  bool same_file;  // its control file is ours; otherwise one of the same name on another file system
};

struct NamespaceSearch {
  std::vector<NamespaceUser> users;  // one for each namespace
  bool complete = true;              // false if some processes could not be examined
};

NamespaceSearch search_namespaces(const ControlFile& file);

// A queue in our IPC namespace whose keys belong to no file beside the control file, but to one that was on
// the same file system: left over when a control file is replaced or removed while its queue exists.
struct Orphan {
  IpcKeys keys;
  uint64_t slots;
  pid_t creator;
  bool alive;
};

std::vector<Orphan> find_orphans(const ControlFile& file, const IpcObjects& objects);

// Whether the queue of the control file `path` has a living creator.
bool has_living_creator(const std::string& path, const IpcObjects& objects);

}  // namespace mar::queue_tool
