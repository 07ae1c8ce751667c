// Starts the program on the disk, as the system would.
#include <elf.h>

#include "tests/emulated/machine.h"
#include "tests/emulated/system_calls.h"

extern "C" {
void system_call_entry();
[[noreturn]] void enter(uint64_t address, const uint64_t* stack);
}

namespace mar::emulated {

namespace {

// The disk: a page with the program's arguments and its environment, each string ended by a zero and each
// list by another; then the program's file.
constexpr uint64_t kProgram = 1;

struct Loaded {
  uint64_t headers, end;  // addresses
};
// Reads the program to its place. Its parts are in the order of their addresses and share no page.
Loaded load(const Elf64_Ehdr& program) {
  Loaded loaded{};
  const auto* part = reinterpret_cast<const Elf64_Phdr*>(&program + 1);
  for (const auto* const parts_end = part + program.e_phnum; part != parts_end; ++part) {
    if (part->p_type != PT_LOAD) continue;
    const uint64_t from = part->p_vaddr & -kPage, to = part->p_vaddr + part->p_filesz;
    read_disk(kProgram + part->p_offset / kPage, (page_up(to) - from) / kPage, reinterpret_cast<void*>(from));
    loaded.end = page_up(part->p_vaddr + part->p_memsz);
    clear(to, loaded.end);
    protect(from, loaded.end, true, (part->p_flags & PF_W) != 0);
    if (part->p_offset == 0) loaded.headers = part->p_vaddr + program.e_phoff;
  }
  return loaded;
}

// Stores pointers to the strings up to an empty one, and a null pointer. Returns what follows them.
uint64_t* put_pointers(uint64_t* to, const char*& strings) {
  while (*strings != '\0') {
    *to++ = reinterpret_cast<uint64_t>(strings);
    while (*strings++ != '\0') {
    }
  }
  ++strings;
  *to++ = 0;
  return to;
}

}  // namespace

}  // namespace mar::emulated

extern "C" [[noreturn]] void start() {
  using namespace mar::emulated;
  start_machine();
  write_register(kEntryOfCalls, reinterpret_cast<uint64_t>(&system_call_entry));
  write_register(kSegmentsOfCalls, uint64_t{16} << 32);  // code; the next one is the data's
  write_register(kFlagsOfCalls, 0);                      // none is changed

  alignas(kPage) static char first_pages[(kProgram + 1) * kPage];
  read_disk(0, kProgram + 1, first_pages);
  const auto& program = *reinterpret_cast<const Elf64_Ehdr*>(first_pages + kProgram * kPage);
  const Loaded loaded = load(program);
  lay_out_memory(loaded.end);

  uint64_t* const stack = reinterpret_cast<uint64_t*>(kMemoryEnd - kPage);
  const char* strings = first_pages;
  uint64_t* const arguments_end = put_pointers(stack + 1, strings);
  *stack = static_cast<uint64_t>(arguments_end - stack - 2);  // without the null pointer
  uint64_t* const environment_end = put_pointers(arguments_end, strings);
  const uint64_t facts[] = {AT_PHDR,   loaded.headers,          AT_PHENT,  sizeof(Elf64_Phdr),
                            AT_PHNUM,  program.e_phnum,         AT_PAGESZ, kPage,
                            AT_RANDOM, address_of(first_pages), AT_NULL,   0};
  copy(address_of(environment_end), facts, sizeof facts);
  enter(program.e_entry, stack);
}
