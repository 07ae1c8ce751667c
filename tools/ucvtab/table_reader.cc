#include "tools/ucvtab/table_reader.h"

#include "tools/ucvtab/failure.h"
#include "tools/ucvtab/gb18030.h"
#include "tools/ucvtab/shift.h"

namespace ucvtab {
namespace {

using namespace table_layout;
using View = TableView<true>;

// The fixed part and unmapped values are left out here, once for all kinds.
void add_decode(Codeset& codeset, const Code& code, uint16_t unit) {
  const bool fixed = code.length == 1 && fixed_decode(codeset.kind, code.bytes[0]);
  if (!fixed && unit != kUnmapped) codeset.decode[code] = static_cast<char16_t>(unit);
}

template <class LookUp>
void add_encodings(Codeset& codeset, const LookUp& look_up) {
  for (uint32_t unit = 0; unit < 0x10000; ++unit) {
    if (!fixed_encode(codeset.kind, unit)) codeset.encode[unit] = look_up(unit);
  }
}

void read_single_byte(const View& view, Codeset& codeset) {
  for (unsigned byte = 0; byte < 256; ++byte) {
    add_decode(codeset, single(byte), view.byte_entry(static_cast<uint8_t>(byte)));
  }
  add_encodings(codeset, [&](uint32_t unit) {
    const uint8_t byte = *view.at(view.page(unit) + (unit & 0xFF));
    const bool substituted = byte == codeset.sub && (unit != codeset.sub_source || unit == kUnmapped);
    return substituted ? Code{} : single(byte);
  });
}

void read_double_byte(const View& view, Codeset& codeset) {
  const bool mixed = codeset.kind == kEbcdicMixed;
  const auto character = [&](unsigned row, unsigned byte) {
    return view.u16(4ull * view.byte_entry(static_cast<uint8_t>(row)) + 2 * byte);
  };
  for (unsigned byte = 0; byte < 256; ++byte) {
    const unsigned byte_class = view.byte_class(static_cast<uint8_t>(byte));
    if (mixed || byte_class == 1) add_decode(codeset, single(byte), character(0, byte));
    if (mixed ? !is_mixed_lead(byte) : byte < 0x80 || byte_class != 2) continue;
    if (!mixed) codeset.leads.set(byte);
    for (unsigned trail = 0; trail < 256; ++trail) {
      add_decode(codeset, pair(byte, trail), character(byte, trail));
    }
  }
  add_encodings(codeset, [&](uint32_t unit) {
    const uint16_t value = view.u16(view.page(unit) + 2ull * (unit & 0xFF));
    return value == kUnmapped ? Code{} : value > 0xFF ? pair(value >> 8, value & 0xFF) : single(value);
  });
}

// Adds the codes of `length` bytes that start with `prefix`, whose next byte `node` decides.
void add_node(const View& view, Codeset& codeset, const Code& prefix, uint16_t node, unsigned length) {
  if (node == kUnmapped) return;
  const uint64_t at = 4ull * node;
  const unsigned count = view.u16(at), first = view.u16(at + 2);
  for (unsigned child = 0; child < count && first + child < 256; ++child) {
    const uint16_t value = view.u16(at + 4 + 2ull * child);
    const Code code = prefix.with(first + child);
    if (code.length == length)
      add_decode(codeset, code, value);
    else
      add_node(view, codeset, code, value, length);
  }
}

Code multi_byte_code(const View& view, uint32_t unit) {
  const uint64_t at = view.page(unit) + 4ull * (unit & 0xFF);
  const uint16_t prefix = view.u16(at), value = view.u16(at + 2);
  if (value < 0x100) return single(value);
  if (prefix == kUnmapped) return {};
  const uint64_t record = 16ull * prefix;
  const unsigned length = view.u16(record + kPrefixLength);
  if (length > Code::kMaxLength - 2) return {};
  const auto* bytes = reinterpret_cast<const char*>(view.at(record));
  return code_from_bytes({bytes, length}).with(value >> 8).with(value & 0xFF);
}

void read_multi_byte(const View& view, Codeset& codeset) {
  for (unsigned byte = 0x80; byte < 256; ++byte) {
    const unsigned length = view.byte_class(static_cast<uint8_t>(byte));
    const uint16_t entry = view.byte_entry(static_cast<uint8_t>(byte));
    if (length == 1) add_decode(codeset, single(byte), entry);
    if (length < 2 || length > Code::kMaxLength) continue;
    codeset.leads.set(byte);
    add_node(view, codeset, single(byte), entry, length);
  }
  add_encodings(codeset, [&](uint32_t unit) { return multi_byte_code(view, unit); });
}

// What one direction of the GB18030 structure makes of each key.
std::vector<uint16_t> gb_values(const uint8_t* image, uint32_t direction) {
  const uint8_t* structure = image + load<uint16_t>(image + kGbStructure);
  const auto list = [&](uint32_t field) {
    return structure + kGbArray + 2ull * load<uint32_t>(structure + direction + field);
  };
  std::vector<uint16_t> values(0x10000, kUnmapped);
  const uint8_t* at = list(kGbEntries) + sizeof(GbEntry) * load<uint16_t>(list(kGbBlocks));
  for (;; at += sizeof(GbEntry)) {
    const auto range = load<GbEntry>(at);
    for (uint32_t key = range.start; key <= range.end; ++key) {
      const uint32_t value = range.value + key - range.start;
      if (range.type == 1) values[key] = load<uint16_t>(list(kGbValues) + 2ull * value);
      if (range.type == 2 && value < kUnmapped) values[key] = static_cast<uint16_t>(value);
    }
    if ((direction == kGbFrom ? range.end : range.start) == 0xFFFF) return values;
  }
}

void read_gb18030(const View& view, Codeset& codeset) {
  const uint8_t* image = view.image();
  codeset.min_run = load<uint32_t>(image + load<uint16_t>(image + kGbStructure) + kGbMinRun);
  const std::vector<uint16_t> units = gb_values(image, kGbTo), indices = gb_values(image, kGbFrom);
  for (unsigned index = 1; index <= kMaxGbIndex; ++index) add_decode(codeset, gb_code(index), units[index]);
  add_encodings(codeset, [&](uint32_t unit) {
    const unsigned index = indices[unit];
    return index == 0 || index == kUnmapped ? Code{} : gb_code(index);
  });
}

}  // namespace

Codeset read_table(const TableImage& image) {
  if (!image.is_sound()) throw Failure(kBadInput, image.path() + ": " + kNotSound);
  Codeset codeset;
  codeset.kind = image.kind();
  codeset.name = image.text(kName, name_field_size(codeset.kind));
  codeset.note = image.text(kNoteOffset, kNoteSize);
  const View view = image.view();
  codeset.sub = view.substitute_byte();
  codeset.sub_source = view.substitute_source();
  switch (codeset.kind) {
    case kSingleByte:
    case kEbcdicSingle:
      read_single_byte(view, codeset);
      break;
    case kDoubleByte:
    case kEbcdicMixed:
      read_double_byte(view, codeset);
      break;
    case kMultiByte:
      read_multi_byte(view, codeset);
      break;
    case kGb18030:
      read_gb18030(view, codeset);
      break;
  }
  return codeset;
}

}  // namespace ucvtab
