// The bare processor and the devices beside it. Memory is mapped to itself: a pointer of the program is a
// pointer of the kernel.
#pragma once

#include <cstddef>
#include <cstdint>

namespace mar::emulated {

constexpr uint64_t kPage = 4096;
constexpr uint64_t kMemoryEnd = 512 << 20;

inline uint64_t page_up(uint64_t address) { return (address + kPage - 1) & -kPage; }
inline uint64_t address_of(const void* pointer) { return reinterpret_cast<uint64_t>(pointer); }

inline void copy(uint64_t to, const void* from, uint64_t size) {
  asm volatile("rep movsb" : "+D"(to), "+S"(from), "+c"(size)::"memory");
}
inline void clear(uint64_t from, uint64_t to) {
  uint64_t size = to - from;
  asm volatile("rep stosb" : "+D"(from), "+c"(size) : "a"(0) : "memory");
}

// Registers of the kind that the manuals number.
constexpr uint32_t kSegmentsOfCalls = 0xC0000081, kEntryOfCalls = 0xC0000082, kFlagsOfCalls = 0xC0000084,
                   kThreadPointer = 0xC0000100;
inline void write_register(uint32_t number, uint64_t value) {
  asm volatile("wrmsr" ::"c"(number), "a"(value), "d"(value >> 32));
}

// Makes the machine ready for everything below. Faults are reported from then on.
void start_machine();

// On the serial line.
void print(char letter);
void print(const char* text);
void print_number(uint64_t value, unsigned base);

// Reports the status and switches the machine off.
[[noreturn]] void end(uint64_t exit_status);

// Says what the program may do with whole pages of memory. Everything but the first page begins writable.
void protect(uint64_t from, uint64_t to, bool present, bool writable);

// Reads pages of the first disk.
void read_disk(uint64_t first, uint64_t count, void* to);

}  // namespace mar::emulated
