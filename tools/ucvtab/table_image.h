// A table file in memory: what it maps, and what is wrong with it. It may be in either byte order.
#pragma once

#include <bit>
#include <filesystem>
#include <string>
#include <vector>

#include "charset/table_view.h"
#include "tools/ucvtab/codeset.h"
#include "tools/ucvtab/files.h"

namespace mar::ucvtab {

// Header fields that the format leaves to the compiler.
constexpr uint32_t kNoteOffset = 80;
constexpr uint32_t kNoteSize = 144;      // bytes, the NUL included
constexpr uint16_t kLayoutRevision = 1;  // at offset 62
constexpr uint32_t kStampSize = 16;      // bytes, at offset 64
constexpr uint32_t kGbMinRun = 12;       // offset in the GB18030 structure of a u32 that no converter reads

// Bytes. No position in a table reaches further: the two directions of GB18030 take 1.5 MB at most, a prefix
// record lies within 1 MB of the start of the data region, and everything else within 256 KB.
constexpr size_t kMaxTableSize = 2 << 20;

// True for bytes that are long enough and marked as a table. Whether the table is sound is another matter.
bool is_table(const Bytes& bytes);
inline bool may_be_table(const std::filesystem::directory_entry& file) {
  return file.is_regular_file() && file.file_size() <= kMaxTableSize;
}

// Reverses the bytes of every number in a table. `is_host_order` tells what they are before.
void swap_byte_order(Bytes& image, Kind kind, bool is_host_order);

// The stamp that `file` should have: the first bytes of its SHA-256 sum, with the
// stamp itself taken as zeros.
Bytes stamp_of(Bytes file);

class TableImage {
 public:
  // Throws Failure(kBadInput) with `path` when the bytes are no table, too many, or of a kind without tables.
  TableImage(Bytes file, std::string path);

  [[nodiscard]] const Bytes& file() const { return file_; }  // as read
  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] std::endian order() const { return order_; }
  [[nodiscard]] Kind kind() const { return kind_; }
  // Whether no look-up can leave the image or walk in circles.
  [[nodiscard]] bool is_sound() const { return is_sound_; }

  // The header, which is whole in every table.
  [[nodiscard]] uint16_t header16(uint32_t offset) const { return load<uint16_t>(image_.data() + offset); }
  [[nodiscard]] std::string header_text(size_t offset, size_t size) const;  // up to the NUL

  // The whole table in host order. Only for sound tables.
  [[nodiscard]] TableView<true> view() const { return TableView<true>(as_codeset()); }

 private:
  [[nodiscard]] xcs_cs_t as_codeset() const;

  Bytes file_;
  Bytes image_;  // the file in host order
  std::string path_;
  std::endian order_ = std::endian::native;
  Kind kind_ = kSingleByte;
  bool is_sound_ = false;
};

constexpr const char* kNotSound = "a position leads out of the file, or a look-up takes too many steps";

// What the converters make of the table. Throws Failure(kBadInput) with kNotSound for such a one.
Codeset read_table(const TableImage& image);

// Faults that no converter would report: it would just convert to something else.
struct Fault {
  std::string text;
  Code code;  // that it is about, if any
};
std::vector<Fault> check_table(const TableImage& image);

}  // namespace mar::ucvtab
