// Read access to a table file. Only its length and its magic decide whether a file is a table, so every
// position in it is hostile. A view either knows that the file was verified, or checks each access and reads
// what lies outside as unmapped. The choice is a template argument, so that a verified table costs no checks.
#pragma once

#include <cstdint>
#include <cstring>

#include "charset/codeset.h"
#include "charset/table_layout.h"

namespace mar::charset {

// Positions may be odd, so every read goes through memcpy. It compiles to one load.
template <class T>
inline T load(const uint8_t* at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

// A table value as the character that decoding returns.
constexpr uint16_t mapped(uint16_t value) { return value == kUnmapped ? uint16_t{'?'} : value; }

// Offsets are in bytes from the start of the file, in 64 bits: no number in a file can make them wrap.
template <bool kVerified>
class TableView {
 public:
  explicit TableView(const xcs_cs_t& codeset)
      : image_(codeset.table),
        size_(codeset.table_size),
        data_(load<uint32_t>(codeset.table + table_layout::kDataOffset)) {}

  // The header's own fields lie in every table file.
  uint16_t byte_entry(uint8_t byte) const {
    return load<uint16_t>(image_ + table_layout::kByteEntries + 2u * byte);
  }
  uint8_t byte_class(uint8_t byte) const { return image_[table_layout::kByteClasses + byte]; }
  uint8_t substitute_byte() const { return image_[table_layout::kSubstituteByte]; }
  uint16_t substitute_source() const { return load<uint16_t>(image_ + table_layout::kSubstituteSource); }

  // Offsets of what the header and the data region refer to. They may lie outside.
  uint64_t data() const { return data_; }
  uint64_t page(uint32_t unit) const {
    return data_ + 4ull * load<uint16_t>(image_ + table_layout::kPageIndex + 2 * (unit >> 8));
  }
  uint64_t row(uint8_t byte) const { return data_ + 4ull * byte_entry(byte); }
  uint64_t prefix_record(uint16_t number) const {
    return data_ + uint64_t{table_layout::kPrefixRecordBytes} * number;
  }

  bool holds(uint64_t offset, uint64_t size_bytes) const { return kVerified || offset + size_bytes <= size_; }
  const uint8_t* at(uint64_t offset) const { return image_ + offset; }
  uint16_t u16(uint64_t offset) const { return holds(offset, 2) ? load<uint16_t>(at(offset)) : kUnmapped; }
  uint32_t u32(uint64_t offset) const { return holds(offset, 4) ? load<uint32_t>(at(offset)) : UINT32_MAX; }

 private:
  const uint8_t* image_;
  uint64_t size_;
  uint64_t data_;
};

}  // namespace mar::charset
