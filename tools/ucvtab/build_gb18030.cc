// Kind 10: two directions of sorted ranges, each with a block index, over keys of 16 bits.
//
// Towards Unicode the keys are GB indices, from it characters. Runs of four-byte codes that rise in step with
// the key become arithmetic ranges; everything else goes into value lists. The two-byte codes always do, and
// in one range: a walk over many short ranges there would cost more time than the lists cost space.
#include <algorithm>

#include "charset/table_layout.h"
#include "tools/ucvtab/gb18030.h"
#include "tools/ucvtab/table_writer.h"

namespace ucvtab {
namespace {

using namespace table_layout;

constexpr unsigned kKeys = 0x10000;

struct Range {
  unsigned start, end, type, value;
};

struct Direction {
  std::vector<Range> ranges;
  std::vector<uint16_t> values;
};

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
  direction.ranges.push_back({start, end - 1, kListRange, static_cast<unsigned>(direction.values.size())});
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
    if (values[key] != kUnmapped) {
      direction.ranges.push_back({key, key + run - 1, kArithmeticRange, values[key]});
    }
    list_start = key += run;
  }
  add_list(direction, values, list_start, kKeys);
}

// The lists have no count; a start of 0xFFFF, or in the from-direction a range that reaches 0xFFFF, stops a
// walk.
void add_stop(Direction& direction) {
  if (direction.ranges.empty() || direction.ranges.back().end < 0xFFFF) {
    direction.ranges.push_back({0xFFFF, 0xFFFF, kArithmeticRange, kUnmapped});
  }
}

Direction from_direction(const Codeset& codeset) {
  std::vector<uint16_t> indices(kKeys, kUnmapped);
  for (unsigned unit = 0x80; unit < kKeys; ++unit) {
    const Code& code = codeset.encode[unit];
    if (code.empty()) continue;
    const uint32_t index = gb_index(code);
    if (index == 0) refuse(codeset, "no GB18030 code: " + to_hex(code), code);
    indices[unit] = static_cast<uint16_t>(index);
  }
  Direction direction;
  direction.ranges.push_back({0, 0x7F, kSingleByteRange, 0});
  cut_into_ranges(direction, indices, 0x80, codeset.min_run,
                  [&](unsigned unit) { return indices[unit] < kGbFirstFourByte; });
  add_stop(direction);
  return direction;
}

Direction to_direction(const Codeset& codeset) {
  std::vector<uint16_t> units(kKeys, kUnmapped);
  for (const auto& [code, unit] : codeset.decode) {
    const uint32_t index = gb_index(code);
    if (index == 0) refuse(codeset, "no GB18030 code: " + to_hex(code), code);
    units[index] = unit;
  }
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
  std::vector<uint16_t> array;
  Bytes structure;
  const auto append_position = [&] { append(structure, static_cast<uint32_t>(array.size())); };
  for (const Direction& direction : directions) {
    if (direction.values.size() > kKeys) refuse(writer.codeset(), "value list past 65536 values");
    append_position();
    for (const Range& range : direction.ranges) {
      for (unsigned field : {range.start, range.end, range.type, range.value}) {
        array.push_back(static_cast<uint16_t>(field));
      }
    }
    append_position();
    const std::vector<uint16_t> blocks = block_index(direction);
    array.insert(array.end(), blocks.begin(), blocks.end());
    append_position();
    array.insert(array.end(), direction.values.begin(), direction.values.end());
    // Not read by the converters; kept so that a table can be rebuilt from what it says.
    append(structure, uint32_t{writer.codeset().min_run});
  }
  for (uint16_t value : array) append(structure, value);
  writer.put16(kGbStructure, static_cast<unsigned>(writer.size_bytes()));
  writer.append(structure);
}

}  // namespace ucvtab
