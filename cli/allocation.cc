// The allocation functions of a t1 that is linked without a C++ library. All of the client's code allocates
// with std::nothrow and none of its types is aligned beyond what malloc() does, so these are all.
#include <cstdlib>
#include <new>

const std::nothrow_t std::nothrow{};

void* operator new(size_t size_bytes, const std::nothrow_t&) noexcept { return std::malloc(size_bytes); }
void* operator new[](size_t size_bytes, const std::nothrow_t&) noexcept { return std::malloc(size_bytes); }
void operator delete(void* block) noexcept { std::free(block); }
void operator delete[](void* block) noexcept { std::free(block); }
