// Tells a process from the one that forked it without a system call. A child inherits the memory of its
// parent but none of the semaphore operations that the kernel would undo: what the parent's memory says it
// holds, the child does not hold.
#pragma once

#include <cstdint>

#pragma GCC visibility push(default)

namespace mar {

// Never 0; a forked child reads another number than its parent. Any thread may call.
uint32_t process_generation();

}  // namespace mar

#pragma GCC visibility pop
