// Assembles a table file: the header that all kinds share and a data region of shared blocks.
// The file layout is charset/table.h's; docs/codeset-tables.md draws it.
#pragma once

#include <bit>
#include <map>

#include "tools/ucvtab/codeset.h"
#include "tools/ucvtab/files.h"

namespace ucvtab {

// Header fields that the format leaves to the compiler.
constexpr uint32_t kNoteOffset = 80;
constexpr uint32_t kNoteSize = 144;      // bytes, a NUL included
constexpr uint16_t kLayoutRevision = 1;  // offset 62
constexpr uint32_t kStampSize = 16;      // offset 64: start of the file's SHA-256, these bytes taken as 0

// The stamp that belongs into `file`, whatever stamp it has now.
Bytes stamp_of(Bytes file);

class TableWriter {
 public:
  TableWriter(const Codeset& codeset, std::endian order);

  [[nodiscard]] const Codeset& codeset() const { return codeset_; }

  void set_page(unsigned high_byte, unsigned position);
  void set_byte_entry(unsigned byte, unsigned value);
  void set_byte_class(unsigned byte, unsigned value);
  // The codeset's own substitution byte, or the first byte that at most one looked-up character maps to.
  void set_substitute();
  [[nodiscard]] uint8_t substitute() const;

  // Position, in units of 4 bytes, of the block in the data region; equal blocks are stored once.
  // Throws Failure(kDoesNotFit) past the reach of 16 bits.
  unsigned add_block(Bytes block);
  unsigned add_block16(const std::vector<uint16_t>& block);

  // Lower level: numbers in the file's byte order, and the end of the file, unshared.
  void append16(Bytes& out, unsigned value) const;
  void append32(Bytes& out, uint32_t value) const;
  void put16(size_t offset, unsigned value);
  void align(unsigned multiple);
  [[nodiscard]] size_t size_bytes() const { return image_.size(); }
  void append(const Bytes& bytes) { image_.insert(image_.end(), bytes.begin(), bytes.end()); }

  // The finished file, stamped.
  Bytes finish();

 private:
  const Codeset& codeset_;
  std::endian order_;
  Bytes image_;
  std::map<Bytes, unsigned> blocks_;
};

// The whole way from codeset to table file. Throws Failure(kDoesNotFit) when the kind cannot hold it.
Bytes build_table(const Codeset& codeset, std::endian order = std::endian::native);

// One builder for each shape of table; each fills what its kind reads. (build_*.cc)
void build_single_byte(TableWriter& writer);  // kinds 1 and 8
void build_double_byte(TableWriter& writer);  // kinds 2 and 4
void build_multi_byte(TableWriter& writer);   // kind 3
void build_gb18030(TableWriter& writer);      // kind 10

}  // namespace ucvtab
