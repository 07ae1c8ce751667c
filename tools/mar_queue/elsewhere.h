// Where else an engine's queue may be when there is none, or only a dead one, under our keys.
#pragma once

#include <sys/types.h>

#include <optional>
#include <string>
#include <vector>

#include "tools/mar_queue/ipc_objects.h"
#include "tools/mar_queue/place.h"

// The processes that use a queue of the control file's path in another IPC namespace: one for each namespace.
struct NamespaceUser {
  pid_t process;
  bool same_file;  // the very control file that we see; else one of the same name in a file system of its own
};

struct NamespaceSearch {
  std::vector<NamespaceUser> users;
  bool complete = true;  // false: there are processes that we may not look into
};

NamespaceSearch search_namespaces(const Place& place);

// A queue in our IPC namespace whose keys belong to no control file beside `place`, but to some file that was
// on the same file system: what is left when a control file has been replaced or removed under its engine.
struct Orphan {
  IpcKeys keys;
  uint64_t slots;
  pid_t creator;
  bool alive;
};

std::vector<Orphan> find_orphans(const Place& place, const IpcObjects& objects);

// Whether the queue of `control_file` has a living creator.
bool has_living_creator(const std::string& control_file, const IpcObjects& objects);
