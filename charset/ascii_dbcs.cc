// ASCII-based double-byte codesets.
#include "charset/convert.h"
#include "charset/flat_tables.h"
#include "charset/table_view.h"
#include "charset/unicode_text.h"

namespace mar::charset {
namespace {

template <bool kVerified>
class DbcsDecoder : public ConverterSide<uint8_t, 2, true> {
 public:
  explicit DbcsDecoder(const xcs_cs_t& codeset) : table_(codeset), single_bytes_(table_.row(0)) {}

  template <bool kWhole>
  Character next(const uint8_t* in, const uint8_t* end) const {
    const uint8_t lead = in[0];
    if (lead < 0x80) return {lead, 1};
    const uint8_t byte_class = table_.byte_class(lead);
    if (byte_class == table_layout::kClassLead) {
      if (!kWhole && end - in < 2) return kCutCharacter;
      return {mapped(table_.u16(table_.row(lead) + 2ull * in[1])), 2};
    }
    const bool is_single = byte_class == table_layout::kClassSingle;
    return {mapped(is_single ? table_.u16(single_bytes_ + 2ull * lead) : kUnmapped), 1};
  }

 private:
  TableView<kVerified> table_;
  uint64_t single_bytes_;  // offset of their row
};

template <bool kVerified>
class DbcsEncoder : public ConverterSide<uint8_t, 2, true> {
 public:
  explicit DbcsEncoder(const xcs_cs_t& codeset) : table_(codeset) {}

  template <bool kRoomy>
  uint8_t* put(uint8_t* out, const uint8_t* end, uint32_t value, const void*) const {
    if (value >= 0x80) {
      value = table_.u16(table_.page(value) + 2 * (value & 0xFF));
      if (value == kUnmapped) value = '?';
    }
    if (value <= 0xFF) {
      *out = static_cast<uint8_t>(value);
      return out + 1;
    }
    if (!kRoomy && end - out < 2) return nullptr;
    out[0] = static_cast<uint8_t>(value >> 8);
    out[1] = static_cast<uint8_t>(value);
    return out + 2;
  }

 private:
  TableView<kVerified> table_;
};

}  // namespace
}  // namespace mar::charset

using namespace mar::charset;

int ascii_dbcs_to_ucs2_r(xcs_cs_t* codeset, const char** in, const char* in_end, uint16_t** out,
                         uint16_t* out_end) {
  return to_unicode_flat<DbcsDecoder>(codeset, in, in_end, out, out_end);
}

int ascii_dbcs_to_utf8_r(xcs_cs_t* codeset, const char** in, const char* in_end, char** out, char* out_end) {
  return to_unicode_flat<DbcsDecoder>(codeset, in, in_end, out, out_end);
}

int ascii_dbcs_from_ucs2_r(xcs_cs_t* codeset, const uint16_t** in, const uint16_t* in_end, char** out,
                           char* out_end) {
  return from_unicode_flat<DbcsEncoder>(codeset, in, in_end, out, out_end);
}

int ascii_dbcs_from_utf8_r(xcs_cs_t* codeset, const char** in, const char* in_end, char** out,
                           char* out_end) {
  return from_unicode_flat<DbcsEncoder>(codeset, in, in_end, out, out_end);
}
