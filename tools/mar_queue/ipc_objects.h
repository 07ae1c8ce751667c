// The System V objects of this IPC namespace that have a key, whoever may read them.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <optional>
#include <vector>

struct IpcObject {
  key_t key;
  int id;
  uint64_t size;  // bytes of a segment, semaphores of a set
  uid_t owner;
  bool readable;  // by this process
  bool usable;    // readable and writable: what a client needs
};

struct IpcObjects {
  std::vector<IpcObject> segments;
  std::vector<IpcObject> semaphore_sets;
};

IpcObjects list_ipc_objects();

std::optional<IpcObject> with_key(const std::vector<IpcObject>& objects, key_t key);

// The value of a semaphore, or the process that last changed it (0: not one of this process namespace); -1 if
// it cannot be read.
int semaphore_value(int set, int number);
int semaphore_process(int set, int number);
