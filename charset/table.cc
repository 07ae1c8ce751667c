#include "charset/table.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>

#include "charset/ascii.h"
#include "charset/table_layout.h"

namespace mar::charset {
namespace {

constexpr int kMaxRedirects = 4;

// The whole regular file in a fresh block of at least one byte, or null. A FIFO would block an open for
// reading, hence O_NONBLOCK; it means nothing to a regular file.
uint8_t* read_file(const char* path, uint32_t* size) {
  const int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file == -1) return nullptr;
  uint8_t* bytes = nullptr;
  struct stat status;
  if (fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_size <= UINT32_MAX) {
    const auto wanted = static_cast<size_t>(status.st_size);
    bytes = static_cast<uint8_t*>(std::malloc(wanted + 1));
    ssize_t got = -1;
    while (bytes != nullptr && (got = read(file, bytes, wanted)) == -1 && errno == EINTR) {
    }
    if (got != status.st_size) {
      std::free(bytes);
      bytes = nullptr;
    }
    *size = static_cast<uint32_t>(wanted);
  }
  close(file);
  return bytes;
}

bool is_table(const uint8_t* bytes, uint32_t size) {
  return size >= table_layout::kMinSize && std::memcmp(bytes + table_layout::kMagic, "ucv", 3) == 0;
}

// Copies what a redirect file says, less control and white-space characters, cut to `room` - 1 characters.
void take_redirect(const uint8_t* bytes, uint32_t size, char* name, size_t room) {
  size_t length = 0;
  for (uint32_t i = 0; i < size && length + 1 < room; ++i) {
    const char c = static_cast<char>(bytes[i]);
    if (!ascii_control(c) && !ascii_space(c)) name[length++] = c;
  }
  name[length] = '\0';
}

}  // namespace
}  // namespace mar::charset

using namespace mar::charset;

void* load_table(const char* prefix, const char* name, uint32_t* size) {
  uint32_t ignored = 0;
  if (size == nullptr) size = &ignored;
  *size = 0;
  if (prefix == nullptr || name == nullptr) return nullptr;
  const size_t prefix_length = std::strlen(prefix);
  const size_t name_length = std::strlen(name);
  if (prefix_length + name_length + 2 > kPathSize) return nullptr;
  char path[kPathSize];
  std::memcpy(path, prefix, prefix_length);
  std::memcpy(path + prefix_length, name, name_length + 1);

  for (int redirects = 0; redirects <= kMaxRedirects; ++redirects) {
    uint32_t bytes_read = 0;
    uint8_t* bytes = read_file(path, &bytes_read);
    if (bytes == nullptr) return nullptr;
    if (is_table(bytes, bytes_read)) {
      *size = bytes_read;
      return bytes;
    }
    take_redirect(bytes, bytes_read, path + prefix_length, kPathSize - prefix_length);
    std::free(bytes);
  }
  return nullptr;
}
