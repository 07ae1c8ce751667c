// The conversion table file: its layout, how it is found and read, and how the converters look into it.
// Nothing but length and magic decides whether a file is a table, so every position in an image is hostile: a
// view either knows that the image was verified, or checks each access and reads what lies outside as
// unmapped.
#pragma once

#include <cstdint>
#include <cstring>

#include "charset/codeset.h"

namespace table_layout {
// Offsets in bytes from the start of the file; numbers of more than one byte are in the host's order.
constexpr uint32_t kDataOffset = 0;      // u32: where the data region starts
constexpr uint32_t kMagic = 8;           // "ucv"
constexpr uint32_t kName = 16;           // ends in a NUL
constexpr uint32_t kNameFieldSize = 32;  // bytes
constexpr uint32_t kGbStructure = 38;    // u16: offset of the GB18030 structure; cuts the name short
constexpr uint32_t kKind = 48;           // u16
constexpr uint32_t kScheme = 50;         // u16
constexpr uint16_t kSchemeEbcdicSbcs = 0x1100;
constexpr uint32_t kHdr56 = 56;             // u16
constexpr uint32_t kSubstituteSource = 58;  // u16: the one character that the substitution byte stands for
constexpr uint32_t kSubstituteByte = 60;    // u8
constexpr uint32_t kHdr62 = 62;             // u16
constexpr uint32_t kHdr64 = 64;             // 16 bytes
constexpr uint32_t kPageIndex = 224;     // 256 u16 by high byte: page, in units of 4 bytes of the data region
constexpr uint32_t kByteEntries = 736;   // 256 u16 by byte: UCS-2 value, or row or node in units of 4 bytes
constexpr uint32_t kByteClasses = 1248;  // 256 u8
constexpr uint32_t kMinSize = 1760;

constexpr uint8_t kInvalidLead = 255;  // byte class in multi-byte codesets

// A multi-byte prefix record: up to 14 bytes, then their count.
constexpr uint32_t kMaxPrefix = 14;
constexpr uint32_t kPrefixLength = 14;  // offset of the u16 count

// The GB18030 structure: two directions of three u32 positions, then the u16 array that they count in.
constexpr uint32_t kGbFrom = 0;
constexpr uint32_t kGbTo = 16;
constexpr uint32_t kGbEntries = 0;  // offsets of the three positions in a direction
constexpr uint32_t kGbBlocks = 4;
constexpr uint32_t kGbValues = 8;
constexpr uint32_t kGbArray = 32;
constexpr uint32_t kGbBlockShift = 9;  // keys of one block differ in the low 9 bits

// What bounds the work on a hostile table; the real ones stay far below, with some ten thousand and with 14.
constexpr uint32_t kTrieBudget = 1 << 20;  // nodes and children, counted once for each way to them
constexpr uint32_t kMaxGbWalk = 64;        // entries that a look-up passes at most, the wanted one included

struct GbEntry {
  uint16_t start;  // first and last key
  uint16_t end;
  uint16_t type;
  uint16_t value;
};
}  // namespace table_layout

constexpr uint16_t kUnmapped = 0xFFFF;

// A table value as the character that a conversion away from the codeset gives.
constexpr uint16_t mapped(uint16_t value) { return value == kUnmapped ? uint16_t{'?'} : value; }

// Positions may be odd, so every read goes through memcpy; it compiles to one load.
template <class T>
inline T load(const uint8_t* at) {
  T value;
  std::memcpy(&value, at, sizeof value);
  return value;
}

// Read access to a codeset's image. Offsets are 64-bit: nothing that a file holds can wrap them.
template <bool kVerified>
class TableView {
 public:
  explicit TableView(const xcs_cs_t& codeset)
      : image_(codeset.table),
        size_(codeset.table_size),
        data_(load<uint32_t>(codeset.table + table_layout::kDataOffset)) {}

  // The header's tables lie in every image.
  uint16_t byte_entry(uint8_t byte) const {
    return load<uint16_t>(image_ + table_layout::kByteEntries + 2u * byte);
  }
  uint8_t byte_class(uint8_t byte) const { return image_[table_layout::kByteClasses + byte]; }
  uint64_t page(uint32_t unit) const {
    return 4ull * load<uint16_t>(image_ + table_layout::kPageIndex + 2 * (unit >> 8));
  }
  uint8_t substitute_byte() const { return image_[table_layout::kSubstituteByte]; }
  uint16_t substitute_source() const { return load<uint16_t>(image_ + table_layout::kSubstituteSource); }

  // `size_bytes` at `offset` bytes of the data region lie in the image.
  bool holds(uint64_t offset, uint64_t size_bytes) const {
    return kVerified || data_ + offset + size_bytes <= size_;
  }
  const uint8_t* at(uint64_t offset) const { return image_ + data_ + offset; }
  uint16_t u16(uint64_t offset) const { return holds(offset, 2) ? load<uint16_t>(at(offset)) : kUnmapped; }

  const uint8_t* image() const { return image_; }
  uint64_t size_bytes() const { return size_; }

 private:
  const uint8_t* image_;
  uint64_t size_;
  uint64_t data_;
};

// True when no conversion of the codeset's kind can leave its image; such images are read without checks.
// A bad image is no error: it converts with checks. Takes well under a millisecond.
bool verify_table(const xcs_cs_t& codeset);

// The file `prefix` + `name`, or the table at the end of a chain of at most four redirect files; see
// codeset.h for who looks where. NULL and size 0 when there is none; free() the image. The two texts and a
// NUL must fit 256 bytes; only regular files are read.
extern "C" void* load_table(const char* prefix, const char* name, uint32_t* size);
