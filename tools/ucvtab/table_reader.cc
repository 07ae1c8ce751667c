#include <algorithm>

#include "charset/table_walk.h"
#include "tools/ucvtab/failure.h"
#include "tools/ucvtab/gb18030.h"
#include "tools/ucvtab/table_image.h"

namespace mar::ucvtab {
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
    return view.u16(view.row(static_cast<uint8_t>(row)) + 2ull * byte);
  };
  for (unsigned byte = 0; byte < 256; ++byte) {
    const unsigned byte_class = view.byte_class(static_cast<uint8_t>(byte));
    if (mixed || byte_class == kClassSingle) add_decode(codeset, single(byte), character(0, byte));
    if (mixed ? !is_mixed_lead(static_cast<uint8_t>(byte)) : byte < 0x80 || byte_class != kClassLead)
      continue;
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

Code multi_byte_code(const View& view, uint32_t unit) {
  const uint64_t at = view.page(unit) + 4ull * (unit & 0xFF);
  const uint16_t prefix = view.u16(at), value = view.u16(at + 2);
  if (value < 0x100) return single(value);
  if (prefix == kUnmapped) return {};
  const uint64_t record = view.prefix_record(prefix);
  const unsigned length = view.u16(record + kPrefixLength);
  if (length > Code::kMaxLength - 2) return {};
  const auto* bytes = reinterpret_cast<const char*>(view.at(record));
  return code_from_bytes({bytes, length}).with(value >> 8).with(value & 0xFF);
}

void read_multi_byte(const View& view, Codeset& codeset) {
  for (unsigned byte = 0x80; byte < 256; ++byte) {
    const unsigned length = view.byte_class(static_cast<uint8_t>(byte));
    if (length == kClassSingle)
      add_decode(codeset, single(byte), view.byte_entry(static_cast<uint8_t>(byte)));
    else if (length > 1 && length <= Code::kMaxLength)
      codeset.leads.set(byte);
  }
  walk_tries(view, Code::kMaxLength, Code(),
             [&](const Code& prefix, const TrieNode<View>& node, bool is_last) {
               for (unsigned child = 0; is_last && child < node.size(); ++child) {
                 add_decode(codeset, prefix.with(node.base() + child), node.child(node.base() + child));
               }
               return true;
             });
  add_encodings(codeset, [&](uint32_t unit) { return multi_byte_code(view, unit); });
}

void read_gb18030(const View& view, Codeset& codeset) {
  codeset.min_run = view.file().u32(view.file().u16(kGbStructure) + kGbMinRun);
  const auto value_of = [](const GbRanges<true>& ranges, uint32_t key) {
    return static_cast<uint16_t>(std::min<uint32_t>(ranges.result(ranges.find(key), key), kUnmapped));
  };
  const GbRanges<true> to_unicode(view, kGbTo), from_unicode(view, kGbFrom);
  for (unsigned index = 1; index <= kMaxGbIndex; ++index) {
    add_decode(codeset, gb_code(index), value_of(to_unicode, index));
  }
  add_encodings(codeset, [&](uint32_t unit) {
    const uint16_t index = value_of(from_unicode, unit);
    return index == 0 || index == kUnmapped ? Code{} : gb_code(index);
  });
}

}  // namespace

Codeset read_table(const TableImage& image) {
  if (!image.is_sound()) throw Failure(kBadInput, image.path() + ": " + kNotSound);
  Codeset codeset;
  codeset.kind = image.kind();
  codeset.name = image.header_text(kName, name_field_size(codeset.kind));
  codeset.note = image.header_text(kNoteOffset, kNoteSize);
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

}  // namespace mar::ucvtab
