// musl's start of a static program leaves the addresses that it has put in place writable. This protects them,
// as glibc's does, before anything else of t1 runs.
#include <elf.h>
#include <link.h>
#include <sys/mman.h>

#include <cstdint>

// From the linker: the start of the file in memory.
extern "C" [[gnu::visibility("hidden")]] const ElfW(Ehdr) __ehdr_start;

namespace {

constexpr uintptr_t kPageMask = ~uintptr_t{4095};

[[gnu::constructor(101)]] void protect_relocations() {
  const auto base = reinterpret_cast<uintptr_t>(&__ehdr_start);
  const auto* const segments = reinterpret_cast<const ElfW(Phdr)*>(base + __ehdr_start.e_phoff);
  for (int i = 0; i < __ehdr_start.e_phnum; ++i) {
    if (segments[i].p_type != PT_GNU_RELRO) continue;
    const uintptr_t begin = (base + segments[i].p_vaddr) & kPageMask;
    const uintptr_t end = (base + segments[i].p_vaddr + segments[i].p_memsz) & kPageMask;
    mprotect(reinterpret_cast<void*>(begin), end - begin, PROT_READ);
  }
}

}  // namespace
