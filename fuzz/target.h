// What the fuzz targets share: checks, and files that live in memory.
#pragma once

#include <sys/mman.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

inline void check(bool holds, const char* what) {
  if (holds) return;
  std::fprintf(stderr, "check failed: %s\n", what);
  std::abort();
}

// A regular file without a place on disk, made once per target and filled anew for each input.
struct MemoryFile {
  void fill(const std::string& content) const {
    check(ftruncate(file, 0) == 0 && pwrite(file, content.data(), content.size(), 0) != -1, "memory");
  }
  const int file = memfd_create("fuzz", MFD_CLOEXEC);
  const std::string path = "/proc/self/fd/" + std::to_string(file);
};
