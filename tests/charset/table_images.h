// Small conversion tables made in the test, one per family, and what the tests need to use them: a directory
// of their own and buffers that end at an unreadable page.
#pragma once

#include <sys/mman.h>

#include <cstdint>
#include <cstring>
#include <initializer_list>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "charset/codeset.h"

namespace mar {

using Bytes = std::string;
using Units = std::basic_string<uint16_t>;
using CodeMap = std::map<Bytes, uint16_t>;  // byte sequence of a character, its UCS-2 unit

inline Units units(std::u16string_view text) { return Units(text.begin(), text.end()); }

struct GbRange {
  uint16_t start, end, type, value;
};

// Numbers as a table file holds them: in the byte order of the host.
template <class T>
Bytes raw(std::initializer_list<T> values) {
  return Bytes(reinterpret_cast<const char*>(values.begin()), values.size() * sizeof(T));
}

class TableImage {
 public:
  // A table of `kind` that maps `codes` both ways, and no other character.
  TableImage(uint16_t kind, const char* name, const CodeMap& codes = {});
  // A GB18030 table of these ranges, which get their end marks and block indexes added.
  TableImage(std::vector<GbRange> from, const std::vector<uint16_t>& from_values, std::vector<GbRange> to,
             const std::vector<uint16_t>& to_values);

  template <class T>
  void set(size_t offset, T value) {
    std::memcpy(&bytes[offset], &value, sizeof value);
  }

  Bytes bytes;

 private:
  void add_pages(size_t entry_size, const CodeMap& codes);
  Bytes page_entry(size_t entry_size, const Bytes& code);
  void add_rows(const CodeMap& codes);
  uint16_t add_trie(const CodeMap& codes, const Bytes& prefix);
  void add_gb_direction(size_t header, std::vector<GbRange> ranges, const std::vector<uint16_t>& values);
  uint16_t append(const Bytes& block);  // position in the data region
};

// A directory under /tmp for the test's files; it is the working directory while the object lives.
class ScratchDirectory {
 public:
  ScratchDirectory();
  ~ScratchDirectory();
  void write(const std::string& name, const Bytes& content) const;
  const std::string path;
};

struct CodesetDeleter {
  void operator()(xcs_cs_t* codeset) const { xcs_cs_free(codeset); }
};
using Codeset = std::unique_ptr<xcs_cs_t, CodesetDeleter>;
Codeset load_image(const Bytes& image);

// One family's table, and characters that it holds.
struct Family {
  const char* name;
  Bytes image;  // empty for UTF-8
  struct Character {
    Bytes bytes;
    Units units;
  };
  std::vector<Character> characters;
  Codeset codeset() const { return image.empty() ? Codeset(xcs_cs_new("UTF8")) : load_image(image); }
};
const std::vector<Family>& families();
const Family& family(std::string_view name);

// `size` zero units, or a text and its terminator, in front of unreadable memory; if they fill whole pages,
// there is unreadable memory before them, too.
template <class Unit>
class GuardedBuffer {
 public:
  explicit GuardedBuffer(size_t size) : size_(size) {
    map_ = static_cast<char*>(
        mmap(nullptr, kRoom + kGuard, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0));
    if (map_ == MAP_FAILED || mprotect(map_ + kRoom, kGuard, PROT_NONE) != 0) std::abort();
    const size_t bytes = size * sizeof(Unit);
    if (bytes % kPage == 0 && mprotect(map_, kRoom - bytes, PROT_NONE) != 0) std::abort();
  }
  explicit GuardedBuffer(const std::basic_string<Unit>& text) : GuardedBuffer(text.size() + 1) {
    text.copy(begin(), text.size());  // the terminator is there
  }
  ~GuardedBuffer() { munmap(map_, kRoom + kGuard); }
  GuardedBuffer(const GuardedBuffer&) = delete;
  GuardedBuffer& operator=(const GuardedBuffer&) = delete;
  Unit* begin() const { return end() - size_; }
  Unit* end() const { return reinterpret_cast<Unit*>(map_ + kRoom); }

 private:
  static constexpr size_t kRoom = 1 << 20, kGuard = 1 << 16, kPage = 4096;  // bytes
  char* map_;
  size_t size_;
};

}  // namespace mar
