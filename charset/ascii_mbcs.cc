// ASCII-based multi-byte codesets: a trie of byte sequences one way, prefix records the other.
#include <algorithm>

#include "charset/convert.h"
#include "charset/table.h"
#include "charset/unicode_text.h"

namespace {

using namespace table_layout;

template <bool kVerified>
class MbcsDecoder : public Side<uint8_t, 254, true> {
 public:
  explicit MbcsDecoder(const xcs_cs_t& codeset) : view_(codeset), longest_(codeset.longest) {}

  ptrdiff_t longest() const { return longest_; }

  template <bool kWhole>
  Character next(const uint8_t* in, const uint8_t* end) const {
    const uint8_t lead = in[0];
    if (lead < 0x80) return {lead, 1};
    const uint8_t length = view_.byte_class(lead);
    if (length == kInvalidLead || length == 0) return {'?', 1};  // 0 would consume nothing, for ever
    if (!kWhole && end - in < length) return kCut;
    uint16_t node = view_.byte_entry(lead);
    switch (length) {  // those in use without a loop
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
  // A node is its count of children, the byte of the first, and the children. From an unmapped one nothing
  // leads on.
  uint16_t child(uint16_t node, uint8_t byte) const {
    if (node == kUnmapped) return kUnmapped;
    const uint64_t start = 4ull * node;
    const uint32_t count = view_.holds(start, 4) ? view_.u16(start) : 0u;
    const uint32_t base = count != 0 ? view_.u16(start + 2) : 0u;
    // A byte below the base wraps to far above any count.
    return byte - base < count ? view_.u16(start + 4 + 2 * (byte - base)) : kUnmapped;
  }

  TableView<kVerified> view_;
  ptrdiff_t longest_;
};

template <bool kVerified>
class MbcsEncoder : public Side<uint8_t, kMaxPrefix + 2, true> {
 public:
  explicit MbcsEncoder(const xcs_cs_t& codeset) : view_(codeset) {}

  template <bool kRoomy>
  uint8_t* put(uint8_t* out, const uint8_t* end, uint32_t unit, const void*) const {
    if (unit < 0x80) return put_byte(out, unit);
    const uint64_t entry = view_.page(unit) + 4 * (unit & 0xFF);
    if (!view_.holds(entry, 4)) return put_byte(out, '?');
    const uint16_t value = view_.u16(entry + 2);
    if (value < 0x100) return put_byte(out, value);
    const uint16_t prefix = view_.u16(entry);
    const uint64_t record = 16ull * prefix;
    if (prefix == kUnmapped || !view_.holds(record, 16)) return put_byte(out, '?');
    const uint32_t length = view_.u16(record + kPrefixLength);
    if (length > kMaxPrefix) return put_byte(out, '?');
    if (!kRoomy && end - out < static_cast<ptrdiff_t>(length) + 2) return nullptr;
    const uint8_t* const bytes = view_.at(record);
    if (length <= 2) {
      // Nearly all. Texts mix the lengths, so no branch: the first two bytes by length, then the last two,
      // which may be the same.
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

  TableView<kVerified> view_;
};

}  // namespace

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
