// Kind 10: two directions of sorted ranges over keys of 16 bits, each with a block index.
//
// To Unicode the keys are code indices, from Unicode they are characters. Runs of four-byte codes that rise
// in step with the key become arithmetic ranges; everything else goes into value lists. The two-byte codes
// always do, and in one range: a walk over many short ranges would cost more time than the lists cost space.
#include <algorithm>

#include "charset/table_layout.h"
#include "tools/ucvtab/gb18030.h"
#include "tools/ucvtab/table_writer.h"

namespace mar::ucvtab {
namespace {

using namespace table_layout;

constexpr unsigned kKeys = 0x10000;

struct Direction {
  std::vector<GbRange> ranges;
  std::vector<uint16_t> values;
};

void add_range(Direction& direction, unsigned start, unsigned end, GbRangeType type, size_t value) {
  direction.ranges.push_back(
      {static_cast<uint16_t>(start), static_cast<uint16_t>(end), type, static_cast<uint16_t>(value)});
}

// Length of the run from `key` on in which both key and value rise by one, or in which all is unmapped.
unsigned run_length(const std::vector<uint16_t>& values, unsigned key) {
  const bool unmapped = values[key] == kUnmapped;
  unsigned end = key + 1;
  while (end < kKeys && values[end] == (unmapped ? kUnmapped : values[key] + (end - key))) ++end;
  return end - key;
}

void add_list(Direction& direction, const std::vector<uint16_t>& values, unsigned start, unsigned end) {
  while (end > start && values[end - 1] == kUnmapped) --end;
  while (end > start && values[start] == kUnmapped) ++start;
  if (end == start) return;
  add_range(direction, start, end - 1, kListRange, direction.values.size());
  direction.values.insert(direction.values.end(), values.begin() + start, values.begin() + end);
}

// Cuts keys `first` and up into ranges. `in_list(key)` names the mapped keys that must stay in a list.
template <class InList>
void cut_into_ranges(Direction& direction, const std::vector<uint16_t>& values, unsigned first,
                     unsigned min_run, InList in_list) {
  unsigned list_start = first;
  for (unsigned key = first; key < kKeys;) {
    const unsigned run = run_length(values, key);
    if (run < min_run || in_list(key)) {
      key += run < min_run ? 1 : run;
      continue;
    }
    add_list(direction, values, list_start, key);
    if (values[key] != kUnmapped) add_range(direction, key, key + run - 1, kArithmeticRange, values[key]);
    list_start = key += run;
  }
  add_list(direction, values, list_start, kKeys);
}

// The lists have no count. A walk ends at a start of 0xFFFF, and from Unicode at any
// range that reaches 0xFFFF.
void add_stop(Direction& direction) {
  if (direction.ranges.empty() || direction.ranges.back().end < 0xFFFF) {
    add_range(direction, 0xFFFF, 0xFFFF, kArithmeticRange, kUnmapped);
  }
}

uint16_t index_of(const Codeset& codeset, const Code& code) {
  const uint32_t index = gb_index(code);
  if (index == 0 || index > kMaxGbIndex) refuse(codeset, "no GB18030 code: " + to_hex(code), code);
  return static_cast<uint16_t>(index);
}

Direction from_direction(const Codeset& codeset) {
  std::vector<uint16_t> indices(kKeys, kUnmapped);
  for (unsigned unit = 0x80; unit < kKeys; ++unit) {
    const Code& code = codeset.encode[unit];
    if (!code.empty()) indices[unit] = index_of(codeset, code);
  }
  Direction direction;
  add_range(direction, 0, 0x7F, kSingleByteRange, 0);
  cut_into_ranges(direction, indices, 0x80, codeset.min_run,
                  [&](unsigned unit) { return indices[unit] < kGbFirstFourByte; });
  add_stop(direction);
  return direction;
}

Direction to_direction(const Codeset& codeset) {
  std::vector<uint16_t> units(kKeys, kUnmapped);
  for (const auto& [code, unit] : codeset.decode) units[index_of(codeset, code)] = unit;
  Direction direction;
  add_list(direction, units, 1, kGbFirstFourByte);
  cut_into_ranges(direction, units, kGbFirstFourByte, codeset.min_run, [](unsigned) { return false; });
  add_stop(direction);
  return direction;
}

// For each block of 512 keys the first range that can hold one of them.
std::vector<uint16_t> block_index(const Direction& direction) {
  std::vector<uint16_t> blocks;
  unsigned range = 0;
  for (unsigned first_key = 0; first_key < kKeys; first_key += 1u << kGbBlockShift) {
    while (direction.ranges[range].end < first_key) ++range;
    blocks.push_back(static_cast<uint16_t>(range));
  }
  return blocks;
}

}  // namespace

void build_gb18030(TableWriter& writer) {
  const Direction directions[] = {from_direction(writer.codeset()), to_direction(writer.codeset())};
  Bytes structure, array;
  const auto append_position = [&] { append(structure, static_cast<uint32_t>(array.size() / 2)); };
  for (const Direction& direction : directions) {
    if (direction.values.size() > kKeys) refuse(writer.codeset(), "value list past 65536 values");
    append_position();
    for (const GbRange& range : direction.ranges) append(array, range);
    append_position();
    for (const uint16_t first : block_index(direction)) append(array, first);
    append_position();
    for (const uint16_t value : direction.values) append(array, value);
    append(structure, uint32_t{writer.codeset().min_run});  // for dump; the converters do not read it
  }
  writer.put16(kGbStructure, static_cast<unsigned>(writer.size_bytes()));
  writer.append(structure);
  writer.append(array);
}

}  // namespace mar::ucvtab
