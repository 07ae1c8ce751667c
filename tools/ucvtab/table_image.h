// A table file in memory, readable on this host whatever byte order it was written for.
#pragma once

#include <bit>
#include <filesystem>
#include <string>

#include "charset/table_view.h"
#include "tools/ucvtab/codeset.h"
#include "tools/ucvtab/files.h"

namespace ucvtab {

// Header fields that the format leaves to the compiler.
constexpr uint32_t kNoteOffset = 80;
constexpr uint32_t kNoteSize = 144;      // bytes, the NUL included
constexpr uint16_t kLayoutRevision = 1;  // at offset 62
constexpr uint32_t kStampSize = 16;      // at offset 64
constexpr uint32_t kGbMinRun = 12;       // u32 in the GB18030 structure that no converter reads

// Bytes. No position in a table reaches further: the two directions of GB18030 take 1.5 MB at most, a prefix
// record lies within 1 MB of the start of the data region, and everything else within 256 KB.
constexpr size_t kMaxTableSize = 2 << 20;

// True for bytes that are long enough and marked as a table. Whether the table is sound is another matter.
bool is_table(const Bytes& bytes);
inline bool may_be_table(const std::filesystem::directory_entry& file) {
  return file.is_regular_file() && file.file_size() <= kMaxTableSize;
}

// Reverses the bytes of every number in the image of a sound table. `is_host_order` tells how they are now.
void swap_byte_order(Bytes& image, Kind kind, bool is_host_order);

// The first kStampSize bytes of the SHA-256 sum of `file`, computed with the stamp itself taken as zeros.
Bytes stamp_of(Bytes file);

class TableImage {
 public:
  // Throws Failure(kBadInput) with `path` when the bytes are no table, too many, or of a kind without tables.
  TableImage(Bytes file, std::string path);

  [[nodiscard]] const Bytes& file() const { return file_; }  // as read
  [[nodiscard]] const std::string& path() const { return path_; }
  [[nodiscard]] std::endian order() const { return order_; }
  [[nodiscard]] Kind kind() const { return kind_; }
  // Whether the converters can look up anything without leaving the image or walking in circles.
  [[nodiscard]] bool is_sound() const { return is_sound_; }

  // The header, whole in every image.
  [[nodiscard]] uint16_t u16(uint32_t offset) const { return load<uint16_t>(image_.data() + offset); }
  [[nodiscard]] uint32_t data_offset() const {
    return load<uint32_t>(image_.data() + table_layout::kDataOffset);
  }
  [[nodiscard]] std::string text(size_t offset, size_t size) const;  // up to the NUL

  // The rest. Only for sound tables.
  [[nodiscard]] TableView<true> view() const;

 private:
  [[nodiscard]] xcs_cs_t as_codeset() const;

  Bytes file_, image_;  // the same, but the image is in host order
  std::string path_;
  std::endian order_ = std::endian::native;
  Kind kind_ = kSingleByte;
  bool is_sound_ = false;
};

}  // namespace ucvtab
