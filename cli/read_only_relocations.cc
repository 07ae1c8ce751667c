// musl's start of a static, position-independent program leaves the addresses that it has put in place
// writable. This protects them, as glibc's does, before anything else of t1 runs.
#include <elf.h>
#include <link.h>
#include <sys/auxv.h>
#include <sys/mman.h>

#include <cstddef>
#include <cstdint>

// From the linker: the start of the file in memory.
extern "C" [[gnu::visibility("hidden")]] const ElfW(Ehdr) __ehdr_start;

namespace {

// The last page's start that is not past `at`.
char* page_of(const char* at) {
  return const_cast<char*>(at) - reinterpret_cast<uintptr_t>(at) % getauxval(AT_PAGESZ);
}

[[gnu::constructor(101)]] void protect_relocations() {
  const auto* const base = reinterpret_cast<const char*>(&__ehdr_start);
  const auto* const segments = reinterpret_cast<const ElfW(Phdr)*>(base + __ehdr_start.e_phoff);
  for (int i = 0; i < __ehdr_start.e_phnum; ++i) {
    if (segments[i].p_type != PT_GNU_RELRO) continue;
    const char* const at = base + segments[i].p_vaddr;
    char* const begin = page_of(at);
    mprotect(begin, static_cast<size_t>(page_of(at + segments[i].p_memsz) - begin), PROT_READ);
  }
}

}  // namespace
