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

// A part of the file. Offsets and sizes are in bytes, in 64 bits: no number in a file can make them wrap.
template <bool kVerified>
class FilePart {
 public:
  FilePart(const uint8_t* start, uint64_t size) : start_(start), size_(size) {}

  bool holds(uint64_t offset, uint64_t size_bytes) const { return kVerified || offset + size_bytes <= size_; }
  const uint8_t* at(uint64_t offset) const { return start_ + offset; }  // only where holds()

  // Numbers in the byte order of the host. Outside, all their bits are set.
  uint16_t u16(uint64_t offset) const { return holds(offset, 2) ? load<uint16_t>(at(offset)) : kUnmapped; }
  uint32_t u32(uint64_t offset) const { return holds(offset, 4) ? load<uint32_t>(at(offset)) : UINT32_MAX; }

 private:
  const uint8_t* start_;
  uint64_t size_;
};

// A view of a table is its data region, in which the offsets of pages, rows, nodes and prefix records count,
// and its header. A data region that starts past the end of the file is empty.
template <bool kVerified>
class TableView : public FilePart<kVerified> {
 public:
  explicit TableView(const xcs_cs_t& codeset)
      : FilePart<kVerified>(data_region(codeset)), header_(codeset.table), size_(codeset.table_size) {}

  FilePart<kVerified> file() const { return {header_, size_}; }

  // The fields of the header are in every table file.
  uint16_t byte_entry(uint8_t byte) const {
    return load<uint16_t>(header_ + table_layout::kByteEntries + size_t{2} * byte);
  }
  uint8_t byte_class(uint8_t byte) const { return header_[table_layout::kByteClasses + byte]; }
  uint8_t substitute_byte() const { return header_[table_layout::kSubstituteByte]; }
  uint16_t substitute_source() const { return load<uint16_t>(header_ + table_layout::kSubstituteSource); }

  uint64_t page(uint32_t unit) const {
    return offset(load<uint16_t>(header_ + table_layout::kPageIndex + size_t{2} * (unit >> 8)));
  }
  uint64_t row(uint8_t byte) const { return offset(byte_entry(byte)); }
  static uint64_t offset(uint16_t position) { return uint64_t{table_layout::kPositionUnit} * position; }
  static uint64_t prefix_record(uint16_t number) {
    return uint64_t{table_layout::kPrefixRecordBytes} * number;
  }

 private:
  static FilePart<kVerified> data_region(const xcs_cs_t& codeset) {
    const uint64_t start = load<uint32_t>(codeset.table + table_layout::kDataOffset);
    const uint64_t size = codeset.table_size;
    return start <= size ? FilePart<kVerified>(codeset.table + start, size - start)
                         : FilePart<kVerified>(codeset.table, 0);
  }

  const uint8_t* header_;
  uint64_t size_;
};

}  // namespace mar::charset
