#include "tools/ucvtab/table_reader.h"

#include <algorithm>
#include <cstring>

#include "charset/table.h"
#include "tools/ucvtab/failure.h"
#include "tools/ucvtab/gb18030.h"
#include "tools/ucvtab/shift.h"
#include "tools/ucvtab/table_writer.h"

namespace ucvtab {
namespace {

using namespace table_layout;

constexpr auto kOtherOrder =
    std::endian::native == std::endian::little ? std::endian::big : std::endian::little;

// Collects what a kind's reader finds; the fixed part and unmapped values are left out here, once for all.
class Collector {
 public:
  explicit Collector(Codeset& codeset) : codeset_(codeset) {}
  void decode(const Code& code, unsigned unit) {
    const bool fixed = code.length == 1 && fixed_decode(codeset_.kind, code.bytes[0]);
    if (!fixed && unit != kUnmapped) codeset_.decode[code] = static_cast<char16_t>(unit);
  }
  template <class Lookup>
  void encode_all(Lookup lookup) {
    for (char32_t unit = 0; unit < 0x10000; ++unit) {
      if (!fixed_encode(codeset_.kind, unit)) codeset_.encode[unit] = lookup(unit);
    }
  }

 private:
  Codeset& codeset_;
};

void read_single_byte(const TableImage& image, const Codeset& codeset, Collector& out) {
  for (unsigned byte = 0; byte < 256; ++byte) out.decode(single(byte), image.byte_entry(byte));
  out.encode_all([&](char32_t unit) {
    const uint64_t at = image.page(unit >> 8) + (unit & 0xFF);
    const bool substituted = image.u8(at) == codeset.sub && (unit != codeset.sub_source || unit == kUnmapped);
    return substituted || !image.holds(at, 1) ? Code{} : single(image.u8(at));
  });
}

void read_double_byte(const TableImage& image, Codeset& codeset, Collector& out) {
  const bool mixed = image.kind() == kEbcdicMixed;
  for (unsigned byte = 0; byte < 256; ++byte) {
    const bool lead = mixed ? is_mixed_lead(byte) : byte >= 0x80 && image.byte_class(byte) == 2;
    if (mixed || image.byte_class(byte) == 1) out.decode(single(byte), image.u16(image.row(0) + 2ull * byte));
    if (!lead) continue;
    if (!mixed) codeset.leads.set(byte);
    for (unsigned trail = 0; trail < 256; ++trail) {
      out.decode(pair(byte, trail), image.u16(image.row(byte) + 2ull * trail));
    }
  }
  out.encode_all([&](char32_t unit) {
    const unsigned value = image.u16(image.page(unit >> 8) + 2ull * (unit & 0xFF));
    return value == kUnmapped ? Code{} : value > 0xFF ? pair(value >> 8, value & 0xFF) : single(value);
  });
}

// Calls `visit` with every code below `node` and its value. Nodes may be shared, even so that the number of
// ways explodes: `budget` is the number of children to look at; false when it does not suffice.
template <class Visit>
bool walk_trie(const TableImage& image, const Code& prefix, unsigned node, unsigned length, unsigned& budget,
               const Visit& visit) {
  const uint64_t at = image.data() + 4ull * node;
  if (node == kUnmapped || !image.holds(at, 4)) return true;
  const unsigned count = image.u16(at);
  const unsigned base = image.u16(at + 2);
  for (unsigned byte = base; byte < 256 && byte - base < count; ++byte) {
    if (budget == 0) return false;
    --budget;
    const unsigned value = image.u16(at + 4 + 2ull * (byte - base));
    const Code code = prefix.with(byte);
    if (code.length == length)
      visit(code, value);
    else if (!walk_trie(image, code, value, length, budget, visit))
      return false;
  }
  return true;
}

// The same for all leads.
template <class Visit>
bool walk_tries(const TableImage& image, const Visit& visit) {
  unsigned budget = kTrieBudget;
  for (unsigned byte = 0x80; byte < 256; ++byte) {
    const unsigned length = image.byte_class(byte);
    if (length < 2 || length > Code::kMaxLength) continue;
    if (!walk_trie(image, single(byte), image.byte_entry(byte), length, budget, visit)) return false;
  }
  return true;
}

Code multi_byte_code(const TableImage& image, char32_t unit) {
  const uint64_t at = image.page(unit >> 8) + 4ull * (unit & 0xFF);
  const unsigned value = image.u16(at + 2);
  if (value < 0x100) return single(value);
  const uint64_t record = image.data() + 16ull * image.u16(at);
  const unsigned count = image.u16(record + 14);
  if (image.u16(at) == kUnmapped || count > Code::kMaxLength - 2) return {};
  Code code;
  for (unsigned i = 0; i < count; ++i) code = code.with(image.u8(record + i));
  return code.with(value >> 8).with(value & 0xFF);
}

void read_multi_byte(const TableImage& image, Codeset& codeset, Collector& out) {
  for (unsigned byte = 0x80; byte < 256; ++byte) {
    const unsigned length = image.byte_class(byte);
    if (length == 1) out.decode(single(byte), image.byte_entry(byte));
    if (length >= 2 && length <= Code::kMaxLength) codeset.leads.set(byte);
  }
  walk_tries(image, [&](const Code& code, unsigned value) { out.decode(code, value); });
  out.encode_all([&](char32_t unit) { return multi_byte_code(image, unit); });
}

// What one direction of the GB18030 structure makes of a key: the first covering range going from Unicode,
// the last one going towards it.
unsigned gb_lookup(const TableImage& image, unsigned direction, unsigned key) {
  const uint64_t structure = image.u16(kGbStructure);
  const uint64_t array = structure + kGbArray;
  auto list = [&](unsigned field) { return array + 2ull * image.u32(structure + direction + field); };
  const uint64_t entries = list(kGbEntries);
  const unsigned first = image.u16(list(kGbBlocks) + 2ull * (key >> kGbBlockShift));
  unsigned result = kUnmapped;
  for (uint64_t at = entries + 8ull * first; image.holds(at, 8) && image.u16(at) <= key; at += 8) {
    if (image.u16(at + 2) < key) continue;
    const uint64_t value = uint64_t{image.u16(at + 6)} + key - image.u16(at);
    const unsigned type = image.u16(at + 4);
    result = type == 1                        ? image.u16(list(kGbValues) + 2 * value)
             : type == 2 && value < kUnmapped ? static_cast<unsigned>(value)
                                              : kUnmapped;
    if (direction == kGbFrom) break;
  }
  return result;
}

void read_gb18030(const TableImage& image, Codeset& codeset, Collector& out) {
  codeset.min_run = image.u32(image.u16(kGbStructure) + kGbMinRun);
  for (unsigned key = 1; key <= kMaxGbIndex; ++key) out.decode(gb_code(key), gb_lookup(image, kGbTo, key));
  out.encode_all([&](char32_t unit) {
    const unsigned index = gb_lookup(image, kGbFrom, unit);
    return index == 0 || index == kUnmapped ? Code{} : gb_code(index);
  });
}

}  // namespace

bool is_table(const Bytes& bytes) {
  return bytes.size() >= kMinSize && std::memcmp(bytes.data() + kMagic, "ucv", 3) == 0;
}

TableImage::TableImage(Bytes bytes, const std::string& path) : bytes_(std::move(bytes)), path_(path) {
  if (!is_table(bytes_) || bytes_.size() > kMaxTableSize) {
    throw Failure(kBadInput, path + ": not a codeset table");
  }
  unsigned kind = u16(kKind);
  if (!is_known_kind(kind)) {
    order_ = kOtherOrder;
    kind = u16(kKind);
  }
  if (u16(kScheme) == kSchemeEbcdicSbcs) kind = kEbcdicSingle;
  if (!is_known_kind(kind)) {
    throw Failure(kBadInput,
                  path + ": a table of kind " + std::to_string(kind) + ", which has no converters");
  }
  kind_ = static_cast<Kind>(kind);
}

std::string TableImage::text(size_t offset, size_t size) const {
  const auto* start = reinterpret_cast<const char*>(bytes_.data()) + offset;
  return {start, strnlen(start, size)};
}

unsigned TableImage::u16(uint64_t offset) const {
  if (!holds(offset, 2)) return kUnmapped;
  const unsigned first = bytes_[offset], second = bytes_[offset + 1];
  return order_ == std::endian::big ? first << 8 | second : second << 8 | first;
}

uint32_t TableImage::u32(uint64_t offset) const {
  const uint32_t first = u16(offset), second = u16(offset + 2);
  return order_ == std::endian::big ? first << 16 | second : second << 16 | first;
}

uint64_t TableImage::page(unsigned high_byte) const {
  return data() + 4ull * u16(kPageIndex + 2 * high_byte);
}
unsigned TableImage::byte_entry(unsigned byte) const { return u16(kByteEntries + 2ull * byte); }
unsigned TableImage::byte_class(unsigned byte) const { return bytes_[kByteClasses + byte]; }

std::string reading_fault(const TableImage& image) {
  if (image.kind() == kGb18030 && longest_gb_walk(image) > kMaxGbWalk) {
    return "a look-up walks over more than 64 ranges";
  }
  if (image.kind() == kMultiByte && !walk_tries(image, [](const Code&, unsigned) {})) {
    return "the nodes have more than a million children, counted by all ways that lead to them";
  }
  return {};
}

unsigned longest_gb_walk(const TableImage& image) {
  const uint64_t structure = image.u16(kGbStructure);
  const uint64_t array = structure + kGbArray;
  unsigned longest = 0;
  for (unsigned direction : {kGbFrom, kGbTo}) {
    const uint64_t entries = array + 2ull * image.u32(structure + direction + kGbEntries);
    const uint64_t blocks = array + 2ull * image.u32(structure + direction + kGbBlocks);
    for (unsigned key = 0; key < kUnmapped; ++key) {
      unsigned walked = 0;
      uint64_t at = entries + 8ull * image.u16(blocks + 2ull * (key >> kGbBlockShift));
      for (; image.holds(at, 8) && image.u16(at) <= key && walked <= kMaxGbWalk; at += 8) {
        ++walked;
        if (direction == kGbFrom && image.u16(at + 2) >= key) break;
      }
      longest = std::max(longest, walked);
    }
  }
  return longest;
}

Codeset read_table(const TableImage& image) {
  if (std::string fault = reading_fault(image); !fault.empty()) {
    throw Failure(kBadInput, image.path() + ": " + fault);
  }
  Codeset codeset;
  codeset.kind = image.kind();
  codeset.name = image.text(kName, name_field_size(codeset.kind));
  codeset.note = image.text(kNoteOffset, kNoteSize);
  codeset.sub = static_cast<uint8_t>(image.u8(kSubstituteByte));
  codeset.sub_source = static_cast<uint16_t>(image.u16(kSubstituteSource));
  Collector out(codeset);
  switch (codeset.kind) {
    case kSingleByte:
    case kEbcdicSingle:
      read_single_byte(image, codeset, out);
      break;
    case kDoubleByte:
    case kEbcdicMixed:
      read_double_byte(image, codeset, out);
      break;
    case kMultiByte:
      read_multi_byte(image, codeset, out);
      break;
    case kGb18030:
      read_gb18030(image, codeset, out);
      break;
  }
  return codeset;
}

}  // namespace ucvtab
