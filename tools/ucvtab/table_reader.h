// A table file back into a codeset: what the converters would make of it, read from the file alone.
#pragma once

#include <bit>
#include <filesystem>
#include <string>

#include "tools/ucvtab/codeset.h"
#include "tools/ucvtab/files.h"

namespace ucvtab {

// Bytes. No position in a table reaches as far: GB18030's two directions take 1.5 MB at most, a prefix record
// lies within 1 MB of the data region and everything else within 256 KB.
constexpr size_t kMaxTableSize = 2 << 20;

// Long enough, and marked as a table; whether it is a sound one is another matter.
bool is_table(const Bytes& bytes);
inline bool may_be_table(const std::filesystem::directory_entry& file) {
  return file.is_regular_file() && file.file_size() <= kMaxTableSize;
}

// Checked access to a table image in either byte order. Positions outside the image read as unmapped, as the
// converters read them.
class TableImage {
 public:
  // Throws Failure(kBadInput) with `path` when the bytes are no table, too many, or of a kind that has none.
  TableImage(Bytes bytes, const std::string& path);

  [[nodiscard]] const Bytes& bytes() const { return bytes_; }
  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] std::endian order() const { return order_; }
  [[nodiscard]] Kind kind() const { return kind_; }
  [[nodiscard]] std::string text(size_t offset, size_t size) const;  // up to the NUL

  [[nodiscard]] bool holds(uint64_t offset, uint64_t size) const { return offset + size <= bytes_.size(); }
  [[nodiscard]] unsigned u8(uint64_t offset) const { return holds(offset, 1) ? bytes_[offset] : 0; }
  [[nodiscard]] unsigned u16(uint64_t offset) const;  // 0xFFFF outside
  [[nodiscard]] uint32_t u32(uint64_t offset) const;  // 0xFFFFFFFF outside

  // File offsets of what a position names.
  [[nodiscard]] uint64_t data() const { return u32(0); }
  [[nodiscard]] uint64_t page(unsigned high_byte) const;
  [[nodiscard]] unsigned byte_entry(unsigned byte) const;
  [[nodiscard]] uint64_t row(unsigned byte) const { return data() + 4ull * byte_entry(byte); }
  [[nodiscard]] unsigned byte_class(unsigned byte) const;

 private:
  Bytes bytes_;
  std::string path_;
  std::endian order_ = std::endian::native;
  Kind kind_ = kSingleByte;
};

// Why nobody should read this table: it leads a reader over the same few bytes again and again, millions of
// times. Empty for all others.
std::string reading_fault(const TableImage& image);

// Throws Failure(kBadInput) for a table with a reading fault.
Codeset read_table(const TableImage& image);

// GB18030: the most ranges that one look-up touches, of both directions; counted up to one more than
// kMaxGbWalk.
unsigned longest_gb_walk(const TableImage& image);

}  // namespace ucvtab
