// The program's memory as brk() and mmap() give it out.
#pragma once

#include <cstdint>

namespace mar::emulated {

constexpr uint64_t kMapEnd = 508 << 20;  // from here on: the program's stack

// Before the first system call.
void lay_out_memory(uint64_t program_end);

}  // namespace mar::emulated
