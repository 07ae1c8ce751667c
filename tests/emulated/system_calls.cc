// Answers the system calls that a test makes which keeps one file at a time and has one thread.
#include "tests/emulated/system_calls.h"

#include <asm/prctl.h>
#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/uio.h>

#include <cerrno>
#include <ctime>

#include "tests/emulated/machine.h"

namespace mar::emulated {

namespace {

constexpr uint64_t kBreakEnd = 64 << 20;  // brk() hands out memory from the program's end up to here
uint64_t break_now, map_now;

// The only file: the last one that was created.
constexpr uint64_t kFile = 3;  // its descriptor
char file_name[256];
char file_bytes[1 << 18];
uint64_t file_size, file_position;

bool same(const char* a, const char* b) {
  for (; *a == *b; ++a, ++b)
    if (*a == '\0') return true;
  return false;
}

int64_t map(uint64_t size) {
  const uint64_t from = map_now;
  if (from + size > kMapEnd) return -ENOMEM;
  map_now += page_up(size);
  protect(from, map_now, true, true);
  clear(from, map_now);
  return static_cast<int64_t>(from);
}

// What is unmapped in another order than backwards is not used again.
int64_t unmap(uint64_t from, uint64_t size) {
  const uint64_t to = page_up(from + size);
  protect(from, to, false, false);
  if (to == map_now) map_now = from;
  return 0;
}

uint64_t move_break(uint64_t wanted) {
  if (wanted < break_now || wanted > kBreakEnd) return break_now;  // never given back
  clear(break_now, wanted);
  return break_now = wanted;
}

int64_t write(uint64_t descriptor, const char* bytes, uint64_t size) {
  if (descriptor != kFile) {
    for (uint64_t i = 0; i < size; ++i) print(bytes[i]);
  } else {
    if (file_size + size > sizeof file_bytes) return -ENOSPC;
    copy(address_of(file_bytes) + file_size, bytes, size);
    file_size += size;
  }
  return static_cast<int64_t>(size);
}

int64_t open(const char* name, uint64_t flags) {
  file_position = 0;
  if ((flags & O_CREAT) == 0) return same(name, file_name) ? int64_t{kFile} : -ENOENT;
  size_t length = 0;
  while (name[length] != '\0')
    if (++length == sizeof file_name) return -ENAMETOOLONG;
  copy(address_of(file_name), name, length + 1);
  file_size = 0;
  return kFile;
}

int64_t read(char* to, uint64_t size) {
  if (size > file_size - file_position) size = file_size - file_position;
  copy(address_of(to), file_bytes + file_position, size);
  file_position += size;
  return static_cast<int64_t>(size);
}

// Every path is a directory.
int64_t status(uint64_t descriptor, struct stat& result) {
  clear(address_of(&result), address_of(&result + 1));
  result.st_mode = descriptor == kFile ? S_IFREG : S_IFDIR;
  result.st_size = static_cast<off_t>(file_size);
  return 0;
}

}  // namespace

void lay_out_memory(uint64_t program_end) {
  break_now = program_end;
  map_now = kBreakEnd;
  protect(kBreakEnd, kMapEnd, false, false);
}

}  // namespace mar::emulated

extern "C" int64_t system_call(uint64_t number, uint64_t a, uint64_t b, uint64_t c) {
  using namespace mar::emulated;
  switch (number) {
    case SYS_write:
      return write(a, reinterpret_cast<const char*>(b), c);
    case SYS_writev: {
      int64_t total = 0;
      const auto* parts = reinterpret_cast<const iovec*>(b);
      for (; c != 0; --c, ++parts)
        total += write(a, static_cast<const char*>(parts->iov_base), parts->iov_len);
      return total;
    }
    case SYS_openat:
      return open(reinterpret_cast<const char*>(b), c);
    case SYS_read:
      return a == kFile ? read(reinterpret_cast<char*>(b), c) : 0;
    case SYS_newfstatat:
      return status(a, *reinterpret_cast<struct stat*>(c));
    case SYS_futex:  // no other thread is waiting
    case SYS_close:
    case SYS_mkdir:
    case SYS_chdir:
      return 0;
    case SYS_getcwd:
      copy(a, "/", 2);
      return 2;
    case SYS_brk:
      return static_cast<int64_t>(move_break(a));
    case SYS_mmap:  // anywhere, for reading and writing; a guard page is made by mprotect()
      return map(b);
    case SYS_munmap:
      return unmap(a, b);
    case SYS_mprotect:
      protect(a, a + b, c != PROT_NONE, (c & PROT_WRITE) != 0);
      return 0;
    case SYS_arch_prctl:
      if (a != ARCH_SET_FS) return -EINVAL;
      write_register(kThreadPointer, b);
      return 0;
    case SYS_clock_gettime:  // time stands still
      clear(b, b + sizeof(timespec));
      return 0;
    case SYS_tgkill:
      print("\nsignal ");
      print_number(c, 10);
      end(128 + c);
    case SYS_exit_group:
      end(a);
    default:
      return -ENOSYS;
  }
}
