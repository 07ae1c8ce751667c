#include "tests/emulated/machine.h"

extern "C" {
extern char fault_entries[];  // of 16 bytes each
extern uint64_t page_directory[];
}

namespace mar::emulated {

namespace {

constexpr uint64_t kPresent = 1, kWritable = 2;
alignas(kPage) uint64_t pages[kMemoryEnd / kPage];  // their entries, each an address and the flags above

constexpr uint16_t kDisk = 0x1F0, kDiskStatus = kDisk + 7;
constexpr uint16_t kSerial = 0x3F8, kLineControl = kSerial + 3, kLineStatus = kSerial + 5;
constexpr uint16_t kPower = 0x8900;  // the emulator's own

uint8_t read_port(uint16_t port) {
  uint8_t value;
  asm volatile("inb %1, %0" : "=a"(value) : "Nd"(port));
  return value;
}
void write_port(uint16_t port, int value) { asm volatile("outb %b0, %1" ::"a"(value), "Nd"(port)); }

// One gate for each exception. No other interrupt ever comes.
void set_fault_entries() {
  static uint64_t gates[32][2];
  for (uint64_t i = 0; i < 32; ++i) {
    const uint64_t entry = address_of(fault_entries) + 16 * i;
    gates[i][0] = (entry & 0xFFFF) | 16 << 16 | 0x8E00ull << 32 | (entry & 0xFFFF0000) << 32;
  }
  struct [[gnu::packed]] {
    uint16_t limit = sizeof gates - 1;
    const void* address = gates;
  } pointer;
  asm volatile("lidt %0" ::"m"(pointer));
}

// Vector registers are in use as soon as the system says that it saves them: all that this processor has.
void enable_vectors() {
  uint32_t a = 1, b, c = 0, d;
  asm volatile("cpuid" : "+a"(a), "=b"(b), "+c"(c), "=d"(d));
  if ((c & 1 << 26) == 0) return;  // XSAVE
  uint64_t control;
  asm volatile("mov %%cr4, %0" : "=r"(control));
  asm volatile("mov %0, %%cr4" ::"r"(control | 1 << 18));  // OSXSAVE
  a = 13, c = 0;
  asm volatile("cpuid" : "+a"(a), "=b"(b), "+c"(c), "=d"(d));
  asm volatile("xsetbv" ::"c"(0), "a"(a & 0xE7), "d"(0));  // x87, SSE, AVX, and three of AVX-512
}

void map_by_small_pages() {
  protect(kPage, kMemoryEnd, true, true);
  for (uint64_t i = 0; i < kMemoryEnd >> 21; ++i)
    page_directory[i] = address_of(&pages[512 * i]) | kPresent | kWritable;
  asm volatile("mov %%cr3, %%rax; mov %%rax, %%cr3" ::: "rax", "memory");
}

}  // namespace

void start_machine() {
  write_port(kLineControl, 0x80);
  write_port(kSerial, 1);  // as fast as it can
  write_port(kSerial + 1, 0);
  write_port(kLineControl, 3);  // 8 bits
  set_fault_entries();
  enable_vectors();
  map_by_small_pages();
}

void print(char letter) {
  while ((read_port(kLineStatus) & 0x20) == 0) {  // until the last one has left
  }
  write_port(kSerial, letter);
}
void print(const char* text) {
  while (*text != '\0') print(*text++);
}
void print_number(uint64_t value, unsigned base) {
  if (value >= base) print_number(value / base, base);
  print("0123456789abcdef"[value % base]);
}

[[noreturn]] void end(uint64_t exit_status) {
  print("\nexit status ");
  print_number(exit_status, 10);
  print('\n');
  while ((read_port(kLineStatus) & 0x40) == 0) {
  }
  for (const char* word = "Shutdown"; *word != '\0'; ++word) write_port(kPower, *word);
  while (true) asm("hlt");
}

void protect(uint64_t from, uint64_t to, bool present, bool writable) {
  for (; from < to && from < kMemoryEnd; from += kPage) {
    pages[from / kPage] = from | (present ? kPresent : 0) | (writable ? kWritable : 0);
    asm volatile("invlpg (%0)" ::"r"(from) : "memory");
  }
}

void read_disk(uint64_t first, uint64_t count, void* to) {
  for (; count != 0; --count, ++first) {
    const uint64_t sector = 8 * first;
    while ((read_port(kDiskStatus) & 0x80) != 0) {  // busy
    }
    const uint64_t parameters = 8 | sector << 8 | 0xE0ull << 32;  // of the first disk, by block number
    for (uint16_t i = 0; i < 5; ++i)
      write_port(static_cast<uint16_t>(kDisk + 2 + i), static_cast<int>(parameters >> 8 * i & 0xFF));
    write_port(kDiskStatus, 0x20);  // read
    for (int i = 0; i < 8; ++i) {
      while ((read_port(kDiskStatus) & 0x88) != 8) {  // busy, or no data
      }
      uint64_t words = 256;
      asm volatile("rep insw" : "+D"(to), "+c"(words) : "d"(kDisk) : "memory");
    }
  }
}

}  // namespace mar::emulated

// What the processor and the entries in boot.S push.
struct Fault {
  uint64_t number, error_code, instruction, code_segment, flags, stack;
};
extern "C" [[noreturn]] void fault(const Fault& fault) {
  using namespace mar::emulated;
  uint64_t address;
  asm volatile("mov %%cr2, %0" : "=r"(address));
  print("\nfault ");
  print_number(fault.number, 10);
  print(" at instruction 0x");
  print_number(fault.instruction, 16);
  if (fault.number == 14) {
    print((fault.error_code & kWritable) != 0 ? ", write to address 0x" : ", read of address 0x");
    print_number(address, 16);
  }
  end(139);
}
