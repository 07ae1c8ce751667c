// Follows, once at load time, every position that a conversion can reach. A table that passes is then
// converted without a single bounds check; for one that does not, each access is checked. The rules here must
// therefore cover exactly what the converters read, kind by kind: a position that is forgotten here is an
// overrun there.
#include <algorithm>

#include "charset/table.h"
#include "charset/table_view.h"
#include "charset/table_walk.h"

namespace mar::charset {
namespace {

using namespace table_layout;

// The checked view: what it says of the inside of the file holds for any file.
using Table = TableView<false>;

bool pages_inside(const Table& table, uint16_t kind) {
  for (uint32_t high = 0; high < 256; ++high) {
    if (!table.holds(table.page(high << 8), page_bytes(kind))) return false;
  }
  return true;
}

bool row_inside(const Table& table, uint32_t byte) {
  return table.holds(table.row(static_cast<uint8_t>(byte)), kRowBytes);
}

// Trail bytes are never checked, so a row has to be there for all 256 of them.
template <class IsLead>
bool rows_inside(const Table& table, const IsLead& is_lead) {
  if (!row_inside(table, 0)) return false;  // the row of the single bytes
  for (uint32_t byte = 0; byte < 256; ++byte) {
    if (is_lead(static_cast<uint8_t>(byte)) && !row_inside(table, byte)) return false;
  }
  return true;
}

bool verify_dbcs(const Table& table) {
  // ASCII is never looked up, so the classes and rows of those bytes do not matter.
  return rows_inside(table,
                     [&](uint8_t byte) { return byte >= 0x80 && table.byte_class(byte) == kClassLead; });
}

// Checks each page entry: its prefix record must be inside and must not count more bytes than it has.
bool prefix_records_inside(const Table& table) {
  for (uint32_t unit = 0x80; unit < 0x10000; ++unit) {
    const uint64_t entry = table.page(unit) + uint64_t{4} * (unit & 0xFF);
    const uint16_t prefix = table.u16(entry);
    const uint16_t value = table.u16(entry + 2);
    if (value < 0x100 || prefix == kUnmapped) continue;  // a single byte, or no code: the record is not read
    const uint64_t record = table.prefix_record(prefix);
    if (!table.holds(record, kPrefixRecordBytes) || table.u16(record + kPrefixLength) > kMaxPrefix)
      return false;
  }
  return true;
}

// The verifier needs no path to a node, only the node.
struct NoPath {
  NoPath with(uint32_t) const { return {}; }
};

bool verify_mbcs(const Table& table) {
  const bool tries_inside =
      walk_tries(table, kClassInvalid - 1, NoPath(),
                 [](NoPath, const TrieNode<Table>& node, bool) { return node.is_inside(); });
  return tries_inside && prefix_records_inside(table);
}

// The ranges are sorted and disjoint, so that only one can cover a key, and their values are inside. Sets
// `last` to the one that ends the list.
bool ranges_inside(const GbRanges<false>& ranges, uint32_t first, uint32_t& last) {
  uint32_t next_start = 0;
  return ranges.for_each(first, [&](uint32_t number, const GbRange& range) {
    last = number;
    if (range.start < next_start || range.end < range.start) return false;
    next_start = range.end + 1u;
    const uint64_t last_value = uint64_t{range.value} + range.end - range.start;
    return range.type != kListRange || ranges.holds_value(last_value);
  });
}

// A look-up starts at its block's first range. That must not lie past a range that covers a key of the block,
// and the walk from there must be short.
bool blocks_inside(const GbRanges<false>& ranges, uint32_t first, uint32_t last) {
  for (uint32_t block = 0; block < kGbBlockCount; ++block) {
    const uint32_t start = ranges.first_of_block(block);
    if (start > last) return false;
    if (start > first && ranges.range(start - 1).end >= block << kGbBlockShift) return false;
    const uint32_t last_key = ((block + 1) << kGbBlockShift) - 1;
    for (uint32_t touched = 0; start + touched <= last; ++touched) {
      if (ranges.range(start + touched).start > last_key) break;
      if (touched == kMaxGbWalk) return false;
    }
  }
  return true;
}

bool verify_gb_direction(const Table& table, uint32_t direction) {
  const GbRanges<false> ranges(table, direction);
  if (!ranges.holds_blocks()) return false;
  uint32_t first = UINT16_MAX;
  for (uint32_t block = 0; block < kGbBlockCount; ++block)
    first = std::min(first, ranges.first_of_block(block));
  uint32_t last = 0;
  return ranges_inside(ranges, first, last) && blocks_inside(ranges, first, last);
}

}  // namespace

bool verify_table(const xcs_cs_t& codeset) {
  const Table table(codeset);
  if (codeset.kind == XCS_KIND_GB18030)
    return verify_gb_direction(table, kGbFrom) && verify_gb_direction(table, kGbTo);
  switch (codeset.kind) {
    case XCS_KIND_ASCII_SBCS:
    case XCS_KIND_EBCDIC_SBCS:
      return pages_inside(table, codeset.kind);
    case XCS_KIND_ASCII_DBCS:
      return pages_inside(table, codeset.kind) && verify_dbcs(table);
    case XCS_KIND_ASCII_MBCS:
      return pages_inside(table, codeset.kind) && verify_mbcs(table);
    case XCS_KIND_EBCDIC_DBCS:
      return pages_inside(table, codeset.kind) && rows_inside(table, is_mixed_lead);
    default:
      return true;  // converts without its table
  }
}

}  // namespace mar::charset
