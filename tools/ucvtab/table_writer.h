// Assembles a table file: the header that all kinds share, and a data region of shared blocks. The layout is
// that of charset/table.h; docs/codeset-tables.md draws it.
#pragma once

#include <bit>
#include <map>

#include "tools/ucvtab/codeset.h"
#include "tools/ucvtab/files.h"

namespace mar::ucvtab {

// Everything is in host order until finish().
class TableWriter {
 public:
  explicit TableWriter(const Codeset& codeset);

  [[nodiscard]] const Codeset& codeset() const { return codeset_; }
  [[nodiscard]] uint8_t substitute() const;

  void set_page(unsigned high_byte, unsigned position);
  void set_byte(unsigned byte, unsigned byte_class, unsigned entry);

  // Returns the position of the block in the data region, in units of 4 bytes. Equal blocks are stored once.
  // Throws Failure(kDoesNotFit) past the reach of 16 bits.
  unsigned add_block(Bytes block);
  unsigned add_block(const std::vector<uint16_t>& block);

  // Lower level: a number anywhere in the file, and unshared bytes at its end.
  void put16(size_t offset, unsigned value);
  void append(const Bytes& bytes) { image_.insert(image_.end(), bytes.begin(), bytes.end()); }
  [[nodiscard]] size_t size_bytes() const { return image_.size(); }

  // The finished file, stamped.
  Bytes finish(std::endian order);

 private:
  void set_substitute();

  const Codeset& codeset_;
  Bytes image_;
  std::map<Bytes, unsigned> blocks_;
};

// Appends a number in host order.
template <class Number>
void append(Bytes& out, Number value) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(&value);
  out.insert(out.end(), bytes, bytes + sizeof value);
}

// The whole way from codeset to table file. Throws Failure(kDoesNotFit) when the kind cannot hold it.
Bytes build_table(const Codeset& codeset, std::endian order = std::endian::native);

// One builder for each shape of table, in build_*.cc. Each fills what its kind reads.
void build_single_byte(TableWriter& writer);  // kinds 1 and 8
void build_double_byte(TableWriter& writer);  // kinds 2 and 4
void build_multi_byte(TableWriter& writer);   // kind 3
void build_gb18030(TableWriter& writer);      // kind 10

}  // namespace mar::ucvtab
