// The allocation functions of a statically linked t1, in place of those of the C and C++ libraries, which
// take up to nine system calls and several fresh pages for one command. All of the client's code allocates
// with std::nothrow, and none of it asks for an alignment of more than 16.
#include <cstdlib>
#include <new>

#include "cli/arena.h"

namespace {

constinit mar::cli::Arena arena;

}  // namespace

extern "C" {

void* malloc(size_t size_bytes) { return arena.allocate(size_bytes); }
void* calloc(size_t count, size_t size_bytes) { return arena.allocate_zeroed(count, size_bytes); }
void* realloc(void* block, size_t size_bytes) { return arena.resize(block, size_bytes); }
void free(void* block) { arena.free(block); }
}

#ifdef _LIBCPP_VERSION  // whose headers are used without the library
const std::nothrow_t std::nothrow{};
#endif

void* operator new(size_t size_bytes, const std::nothrow_t&) noexcept { return arena.allocate(size_bytes); }
void* operator new[](size_t size_bytes, const std::nothrow_t&) noexcept { return arena.allocate(size_bytes); }
void operator delete(void* block) noexcept { arena.free(block); }
void operator delete[](void* block) noexcept { arena.free(block); }
void operator delete(void* block, size_t) noexcept { arena.free(block); }
void operator delete[](void* block, size_t) noexcept { arena.free(block); }
