// The numbers of the table file, for everything that reads, checks or writes one. docs/codeset-tables.md
// draws the file byte by byte.
#pragma once

#include <cstdint>

#include "charset/codeset.h"

namespace mar::charset {

// Stands where a table has no character, no code or no node.
constexpr uint16_t kUnmapped = 0xFFFF;

namespace table_layout {

// Offsets in bytes from the start of the file. Numbers of more than one byte are in the byte order of the
// host that reads the file.
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
constexpr uint32_t kPageIndex = 224;        // 256 u16 by high byte of a character: position of its page
constexpr uint32_t kByteEntries = 736;      // 256 u16 by byte: a character, or the position of a row or node
constexpr uint32_t kByteClasses = 1248;     // 256 u8 by byte
constexpr uint32_t kMinSize = 1760;

// Pages, rows and nodes lie in the data region. A position counts units of 4 bytes from the start of that
// region.
constexpr uint32_t kPositionUnit = 4;

// A page holds the codes of 256 characters.
constexpr uint32_t page_entry_bytes(uint16_t kind) {
  switch (kind) {
    case XCS_KIND_ASCII_DBCS:
    case XCS_KIND_EBCDIC_DBCS:
      return 2;
    case XCS_KIND_ASCII_MBCS:
      return 4;
    default:
      return 1;
  }
}
constexpr uint32_t page_bytes(uint16_t kind) { return 256 * page_entry_bytes(kind); }

// A row holds the 256 characters of the single bytes, or of the pairs with one lead byte: u16 each.
constexpr uint32_t kRowBytes = 512;

// Byte classes. Double-byte codesets have single bytes and leads; any other class is an invalid byte. In
// multi-byte codesets a class is the length of the codes that the byte starts, or kClassInvalid.
enum ByteClass : uint8_t { kClassNone = 0, kClassSingle = 1, kClassLead = 2, kClassInvalid = 255 };

// In mixed EBCDIC these bytes start a pair, whatever their class. All others stand alone even in double-byte
// mode.
constexpr bool is_mixed_lead(uint8_t byte) { return byte >= 0x40 && byte <= 0xFE; }

// A node of the multi-byte trie: u16 count, u16 first byte, then one u16 child for each byte.
constexpr uint32_t kNodeHeaderBytes = 4;

// An entry of a multi-byte page: u16 prefix number, u16 value. A prefix record holds up to 14 bytes, then
// their count.
constexpr uint32_t kPrefixRecordBytes = 16;
constexpr uint32_t kPrefixLength = 14;  // offset of the u16 count
constexpr uint32_t kMaxPrefix = 14;     // bytes

// The GB18030 structure: for each direction the u32 positions of three lists, then the u16 array that they
// count in.
constexpr uint32_t kGbFrom = 0;  // offsets of the two directions: from Unicode, to Unicode
constexpr uint32_t kGbTo = 16;
constexpr uint32_t kGbRanges = 0;  // offsets of the three positions in a direction
constexpr uint32_t kGbBlocks = 4;
constexpr uint32_t kGbValues = 8;
constexpr uint32_t kGbArray = 32;

// The block index has the number of the first range for each block of 512 keys.
constexpr uint32_t kGbBlockShift = 9;
constexpr uint32_t kGbBlockCount = 0x10000 >> kGbBlockShift;

struct GbRange {
  uint16_t start;  // first and last key
  uint16_t end;
  uint16_t type;
  uint16_t value;
};
static_assert(sizeof(GbRange) == 8);

enum GbRangeType : uint16_t { kSingleByteRange = 0, kListRange = 1, kArithmeticRange = 2 };

// Bounds on the work that a hostile table can cause. The shipped tables stay far below them, with some ten
// thousand children and with 14 ranges.
constexpr uint32_t kTrieBudget = 1 << 20;  // children of all nodes, counted once for each way to them
constexpr uint32_t kMaxGbWalk = 64;        // ranges that one look-up touches

}  // namespace table_layout
}  // namespace mar::charset
