// ASCII-based multi-byte codesets: a trie of byte sequences one way, prefix records the other.
#include <algorithm>

#include "charset/convert.h"
#include "charset/table_view.h"
#include "charset/table_walk.h"
#include "charset/unicode_text.h"

namespace mar::charset {
namespace {

using namespace table_layout;

template <bool kVerified>
class MbcsDecoder : public ConverterSide<uint8_t, 254, true> {
 public:
  explicit MbcsDecoder(const xcs_cs_t& codeset) : table_(codeset), longest_(codeset.longest) {}

  ptrdiff_t longest() const { return longest_; }

  template <bool kWhole>
  Character next(const uint8_t* in, const uint8_t* end) const {
    const uint8_t lead = in[0];
    if (lead < 0x80) return {lead, 1};
    const uint8_t length = table_.byte_class(lead);
    if (length == kClassInvalid || length == 0) return {'?', 1};  // 0 would consume nothing and never end
    if (!kWhole && end - in < length) return kCutCharacter;
    uint16_t node = table_.byte_entry(lead);
    switch (length) {  // the shipped tables have these; no loop for them
      case 2:
        return {mapped(child(node, in[1])), 2};
      case 3:
        return {mapped(child(child(node, in[1]), in[2])), 3};
      case 4:
        return {mapped(child(child(child(node, in[1]), in[2]), in[3])), 4};
      default:
        for (int i = 1; i < length; ++i) node = child(node, in[i]);
        return {mapped(node), length};
    }
  }

 private:
  uint16_t child(uint16_t node, uint8_t byte) const {
    return node == kUnmapped ? kUnmapped : TrieNode(table_, node).child(byte);
  }

  TableView<kVerified> table_;
  ptrdiff_t longest_;
};

template <bool kVerified>
class MbcsEncoder : public ConverterSide<uint8_t, kMaxPrefix + 2, true> {
 public:
  explicit MbcsEncoder(const xcs_cs_t& codeset) : table_(codeset) {}

  template <bool kRoomy>
  uint8_t* put(uint8_t* out, const uint8_t* end, uint32_t unit, const void*) const {
    if (unit < 0x80) return put_byte(out, unit);
    const uint64_t entry = table_.page(unit) + 4 * (unit & 0xFF);
    if (!table_.holds(entry, 4)) return put_byte(out, '?');
    const uint16_t value = table_.u16(entry + 2);
    if (value < 0x100) return put_byte(out, value);
    const uint16_t prefix = table_.u16(entry);
    const uint64_t record = table_.prefix_record(prefix);
    if (prefix == kUnmapped || !table_.holds(record, kPrefixRecordBytes)) return put_byte(out, '?');
    const uint32_t length = table_.u16(record + kPrefixLength);
    if (length > kMaxPrefix) return put_byte(out, '?');
    if (!kRoomy && end - out < static_cast<ptrdiff_t>(length) + 2) return nullptr;
    const uint8_t* const bytes = table_.at(record);
    if (length <= 2) {
      // Nearly all codes. Text mixes their lengths, and a branch on the length would often be mispredicted.
      // So the first two bytes are chosen by length and stored, and then the last two, which may be the same.
      const uint32_t fronts[] = {value, uint32_t{bytes[0]} << 8 | value >> 8,
                                 uint32_t{bytes[0]} << 8 | bytes[1]};
      put_pair(out, fronts[length]);
    } else {
      std::copy_n(bytes, length, out);
    }
    return put_pair(out + length, value);
  }

 private:
  static uint8_t* put_byte(uint8_t* out, uint32_t value) {
    *out = static_cast<uint8_t>(value);
    return out + 1;
  }

  static uint8_t* put_pair(uint8_t* out, uint32_t value) {
    out[0] = static_cast<uint8_t>(value >> 8);
    out[1] = static_cast<uint8_t>(value);
    return out + 2;
  }

  TableView<kVerified> table_;
};

}  // namespace
}  // namespace mar::charset

using namespace mar::charset;

int ascii_mbcs_to_ucs2_r(xcs_cs_t* codeset, const char** in, const char* in_end, uint16_t** out,
                         uint16_t* out_end) {
  return to_unicode<MbcsDecoder>(codeset, in, in_end, out, out_end);
}

int ascii_mbcs_to_utf8_r(xcs_cs_t* codeset, const char** in, const char* in_end, char** out, char* out_end) {
  return to_unicode<MbcsDecoder>(codeset, in, in_end, out, out_end);
}

int ascii_mbcs_from_ucs2_r(xcs_cs_t* codeset, const uint16_t** in, const uint16_t* in_end, char** out,
                           char* out_end) {
  return from_unicode<MbcsEncoder>(codeset, in, in_end, out, out_end);
}

int ascii_mbcs_from_utf8_r(xcs_cs_t* codeset, const char** in, const char* in_end, char** out,
                           char* out_end) {
  return from_unicode<MbcsEncoder>(codeset, in, in_end, out, out_end);
}
