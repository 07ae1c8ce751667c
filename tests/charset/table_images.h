// Small conversion tables made in the test, one per family, and what the tests need to use them: a directory
// of their own, buffers that end at an unreadable page, and texts of known meaning.
#pragma once

#include <cstdint>
#include <cstring>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "charset/codeset.h"

using Bytes = std::string;
using Units = std::basic_string<uint16_t>;
using CodeMap = std::map<Bytes, uint16_t>;  // byte sequence of a character, its UCS-2 unit

inline Units units(std::u16string_view text) { return Units(text.begin(), text.end()); }

struct GbRange {
  uint16_t start, end, type, value;
};

class TableImage {
 public:
  // A table of `kind` that maps `codes` both ways, and no other character.
  TableImage(uint16_t kind, const char* name, const CodeMap& codes = {});
  // A GB18030 table of these ranges, which get their end marks and block indexes added.
  TableImage(std::vector<GbRange> from, std::vector<uint16_t> from_values, std::vector<GbRange> to,
             std::vector<uint16_t> to_values);

  template <class T>
  void set(size_t offset, T value) {
    std::memcpy(&bytes[offset], &value, sizeof value);
  }
  template <class T>
  T get(size_t offset) const {
    T value;
    std::memcpy(&value, &bytes[offset], sizeof value);
    return value;
  }

  Bytes bytes;

 private:
  void add_pages(size_t entry_size, const CodeMap& codes);
  void add_rows(const CodeMap& codes, uint8_t lead_class);
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

// One family's table and texts in it, one character each.
struct Family {
  const char* name;
  Bytes image;  // empty: UTF-8 or OS, by name
  struct Character {
    Bytes bytes;
    Units units;
  };
  std::vector<Character> characters;
  Codeset codeset() const;
};
const std::vector<Family>& families();

// `size` units whose end is the end of readable and writable memory.
template <class Unit>
class GuardedBuffer {
 public:
  explicit GuardedBuffer(size_t size);
  ~GuardedBuffer();
  GuardedBuffer(const GuardedBuffer&) = delete;
  Unit* begin() const { return begin_; }
  Unit* end() const { return begin_ + size_; }

 private:
  Unit* begin_;
  size_t size_;
  void* map_;
  size_t map_size_;
};
