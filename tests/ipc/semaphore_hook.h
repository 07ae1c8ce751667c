// Stands before the C library's semtimedop, so that a test can act between two steps of the queue's
// code or have a step fail. Link with --wrap=semtimedop.
#pragma once

#include <sys/sem.h>

#include <functional>

// Called before each call: 0 lets it go on to the kernel, any other value is the errno that it fails with.
// The hook's own calls are not hooked. `timed`: a reader's wait for one slice.
using SemaphoreHook = std::function<int(const sembuf& first, bool timed)>;
extern SemaphoreHook semaphore_hook;

// Sets the hook for a scope.
struct HookScope {
  explicit HookScope(SemaphoreHook hook) { semaphore_hook = std::move(hook); }
  ~HookScope() { semaphore_hook = nullptr; }
  HookScope(const HookScope&) = delete;
  HookScope& operator=(const HookScope&) = delete;
};
