#include "tests/ipc/semaphore_hook.h"

#include <cerrno>
#include <ctime>
#include <utility>

SemaphoreHook semaphore_hook;

namespace {

// Whether the call is to fail, with errno set.
bool fails(const sembuf* operations, bool timed) {
  if (!semaphore_hook) return false;
  SemaphoreHook hook = std::exchange(semaphore_hook, nullptr);
  const int error = hook(*operations, timed);
  semaphore_hook = std::move(hook);
  errno = error;
  return error != 0;
}

}  // namespace

extern "C" {

int __real_semtimedop(int set, sembuf* operations, size_t count, const timespec* limit);

int __wrap_semtimedop(int set, sembuf* operations, size_t count, const timespec* limit) {
  return fails(operations, limit != nullptr) ? -1 : __real_semtimedop(set, operations, count, limit);
}
}
