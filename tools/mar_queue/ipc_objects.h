// The System V objects of this IPC namespace that have a key, including those that this process may not read.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <ctime>
#include <optional>
#include <vector>

namespace mar::queue_tool {

struct IpcObject {
  key_t key;
  int id;
  uint64_t size;  // bytes of a segment, semaphores of a set
  uid_t owner;
  bool readable;  // by this process
  bool usable;    // readable and writable: what a client needs
  time_t made;    // or when its rights were last changed
  time_t used;    // the last attach or detach of a segment, the last operation on a set; 0 if there was none
};

struct IpcObjects {
  std::vector<IpcObject> segments;
  std::vector<IpcObject> semaphore_sets;
};

IpcObjects list_ipc_objects();

std::optional<IpcObject> with_key(const std::vector<IpcObject>& objects, key_t key);

// A semaphore's value; -1 if it cannot be read.
int semaphore_value(int set, int number);

// The process that last changed a semaphore: 0 if it is not of this process namespace,
// -1 if it cannot be read.
pid_t semaphore_process(int set, int number);

}  // namespace mar::queue_tool
