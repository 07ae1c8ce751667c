// Walks through a table file: the trie of multi-byte codes and the ranges of GB18030. The converters, the
// verifier and the table compiler share them. Table is one of the two views of table_view.h.
#pragma once

#include <algorithm>
#include <cstdint>

#include "charset/table_view.h"

namespace mar::charset {

// A node of the trie. It leads from one byte of a code to the next node, or after the last byte to the
// character. A node outside the file has no children.
template <class Table>
class TrieNode {
 public:
  TrieNode(const Table& table, uint16_t position) : table_(table), start_(table.offset(position)) {
    if (!table_.holds(start_, table_layout::kNodeHeaderBytes)) return;
    count_ = table_.u16(start_);
    base_ = table_.u16(start_ + 2);
  }

  // First byte that has a child, and how many bytes from there on have one. Children past byte 0xFF cannot be
  // reached and do not count.
  uint32_t base() const { return base_; }
  uint32_t size() const { return base_ > 0xFF ? 0 : std::min(count_, 0x100 - base_); }

  bool is_inside() const { return table_.holds(start_, table_layout::kNodeHeaderBytes + 2ull * size()); }

  // A node's position, or after the last byte a character; kUnmapped if there is none. A byte below the base
  // wraps to far above any count.
  uint16_t child(uint32_t byte) const {
    if (byte - base_ >= count_) return kUnmapped;
    return table_.u16(start_ + table_layout::kNodeHeaderBytes + 2ull * (byte - base_));
  }

 private:
  const Table& table_;
  uint64_t start_;
  uint32_t count_ = 0;
  uint32_t base_ = 0;
};

// Calls visit(path, node, is_last) for the node at `position` and all nodes below it. `depth` is the number
// of bytes still to come, 1 for a node whose children are characters. `path` has the bytes so far:
// path.with(byte) appends one. Nodes may be shared, even so that the number of ways to them explodes, so the
// children that are looked at come out of `budget`. Stops and returns false when visit does or when the
// budget is used up.
template <class Table, class Path, class Visit>
bool walk_trie(const Table& table, uint16_t position, uint32_t depth, const Path& path, uint32_t& budget,
               const Visit& visit) {
  if (position == kUnmapped) return true;
  const TrieNode<Table> node(table, position);
  const uint32_t children = node.size();
  if (children >= budget) return false;
  budget -= children;
  if (!visit(path, node, depth == 1)) return false;
  for (uint32_t byte = node.base(); depth > 1 && byte - node.base() < children; ++byte) {
    if (!walk_trie(table, node.child(byte), depth - 1, path.with(byte), budget, visit)) return false;
  }
  return true;
}

// walk_trie for every lead byte whose codes have 2 to `longest` bytes.
template <class Table, class Path, class Visit>
bool walk_tries(const Table& table, uint32_t longest, const Path& start, const Visit& visit) {
  uint32_t budget = table_layout::kTrieBudget;
  for (uint32_t lead = 0x80; lead < 256; ++lead) {
    const auto byte = static_cast<uint8_t>(lead);
    const uint32_t length = table.byte_class(byte);
    if (length < 2 || length > longest) continue;
    if (!walk_trie(table, table.byte_entry(byte), length - 1, start.with(lead), budget, visit)) return false;
  }
  return true;
}

// One direction of the GB18030 structure: a list of ranges without a count, which ends where no walk can
// pass, and what belongs to it.
template <bool kVerified>
class GbRanges {
 public:
  // `direction` is kGbFrom or kGbTo. Without a structure inside the file all lists lie outside.
  GbRanges(const TableView<kVerified>& table, uint32_t direction)
      : file_(table.file()), direction_(direction) {
    using namespace table_layout;
    const uint64_t structure = file_.u16(kGbStructure);
    const uint64_t array = structure + kGbArray;
    if (!file_.holds(structure, kGbArray)) return;
    const auto list = [&](uint32_t field) { return array + 2ull * file_.u32(structure + direction + field); };
    ranges_ = list(kGbRanges);
    blocks_ = list(kGbBlocks);
    values_ = list(kGbValues);
  }

  // Number of the first range that can cover a key of the block.
  uint32_t first_of_block(uint32_t block) const { return file_.u16(blocks_ + 2ull * block); }

  bool holds(uint64_t number) const { return file_.holds(offset(number), sizeof(table_layout::GbRange)); }
  bool holds_blocks() const { return file_.holds(blocks_, 2ull * table_layout::kGbBlockCount); }
  bool holds_value(uint64_t element) const { return file_.holds(values_ + 2 * element, 2); }

  // Only where holds(number).
  table_layout::GbRange range(uint64_t number) const {
    return load<table_layout::GbRange>(file_.at(offset(number)));
  }

  // Calls visit(number, range) for range `first` and those after it, until visit returns false or the list
  // ends. From Unicode the first covering range answers, and a range that reaches 0xFFFF covers every key
  // that gets there. To Unicode the last one answers, so only a start that no key exceeds ends the list.
  // Returns false if visit does or if the file ends first.
  template <class Visit>
  bool for_each(uint32_t first, const Visit& visit) const {
    for (uint32_t number = first; holds(number); ++number) {
      const table_layout::GbRange found = range(number);
      if (!visit(number, found)) return false;
      if ((direction_ == table_layout::kGbFrom ? found.end : found.start) == 0xFFFF) return true;
    }
    return false;
  }

  // Calls visit(range) for each range that a look-up of `key` touches, until visit returns false.
  template <class Visit>
  void walk(uint32_t key, const Visit& visit) const {
    const uint32_t block = key >> table_layout::kGbBlockShift;
    if (!file_.holds(blocks_ + 2ull * block, 2)) return;
    for (uint64_t number = first_of_block(block); holds(number); ++number) {
      const table_layout::GbRange found = range(number);
      if (found.start > key || !visit(found)) return;
    }
  }

  // The range that answers for `key`: from Unicode the first that covers it, to Unicode the last. In a file
  // whose ranges are known to be disjoint there is only one. Without a covering range returns one of a type
  // that result() maps to kUnmapped.
  table_layout::GbRange find(uint32_t key) const {
    table_layout::GbRange answer = {1, 0, UINT16_MAX, 0};
    const bool first_wins = kVerified || direction_ == table_layout::kGbFrom;
    walk(key, [&](const table_layout::GbRange& range) {
      if (range.end < key) return true;
      answer = range;
      return !first_wins;
    });
    return answer;
  }

  // The sum of an arithmetic range does not wrap: it may lie above U+FFFF.
  uint32_t result(const table_layout::GbRange& range, uint32_t key) const {
    const uint32_t value = range.value + (key - range.start);
    if (range.type == table_layout::kArithmeticRange) return value;
    return range.type == table_layout::kListRange ? file_.u16(values_ + 2ull * value) : kUnmapped;
  }

 private:
  uint64_t offset(uint64_t number) const { return ranges_ + sizeof(table_layout::GbRange) * number; }

  static constexpr uint64_t kNowhere = uint64_t{1} << 48;  // past every file, and no sum with it wraps

  FilePart<kVerified> file_;
  uint32_t direction_;
  uint64_t ranges_ = kNowhere;  // offsets of the three lists
  uint64_t blocks_ = kNowhere;
  uint64_t values_ = kNowhere;
};

}  // namespace mar::charset
