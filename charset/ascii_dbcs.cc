// ASCII-based double-byte codesets.
#include "charset/convert.h"
#include "charset/table.h"
#include "charset/unicode_text.h"

namespace {

template <bool kVerified>
class DbcsDecoder : public Side<uint8_t, 2, true> {
 public:
  explicit DbcsDecoder(const xcs_cs_t& codeset) : view_(codeset), singles_(4ull * view_.byte_entry(0)) {}

  template <bool kWhole>
  Character next(const uint8_t* in, const uint8_t* end) const {
    const uint8_t lead = in[0];
    if (lead < 0x80) return {lead, 1};
    const uint8_t byte_class = view_.byte_class(lead);
    if (byte_class == 2) {
      if (!kWhole && end - in < 2) return kCut;
      return {mapped(view_.u16(4ull * view_.byte_entry(lead) + 2ull * in[1])), 2};
    }
    return {mapped(byte_class == 1 ? view_.u16(singles_ + 2ull * lead) : kUnmapped), 1};
  }

 private:
  TableView<kVerified> view_;
  uint64_t singles_;  // offset of the row of single bytes
};

template <bool kVerified>
class DbcsEncoder : public Side<uint8_t, 2, true> {
 public:
  explicit DbcsEncoder(const xcs_cs_t& codeset) : view_(codeset) {}

  template <bool kRoomy>
  uint8_t* put(uint8_t* out, const uint8_t* end, uint32_t value, const void*) const {
    if (value >= 0x80) {
      value = view_.u16(view_.page(value) + 2 * (value & 0xFF));
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
  TableView<kVerified> view_;
};

}  // namespace

int ascii_dbcs_to_ucs2_r(xcs_cs_t* codeset, const char** in, const char* in_end, uint16_t** out,
                         uint16_t* out_end) {
  return to_unicode<DbcsDecoder>(codeset, in, in_end, out, out_end);
}

int ascii_dbcs_to_utf8_r(xcs_cs_t* codeset, const char** in, const char* in_end, char** out, char* out_end) {
  return to_unicode<DbcsDecoder>(codeset, in, in_end, out, out_end);
}

int ascii_dbcs_from_ucs2_r(xcs_cs_t* codeset, const uint16_t** in, const uint16_t* in_end, char** out,
                           char* out_end) {
  return from_unicode<DbcsEncoder>(codeset, in, in_end, out, out_end);
}

int ascii_dbcs_from_utf8_r(xcs_cs_t* codeset, const char** in, const char* in_end, char** out,
                           char* out_end) {
  return from_unicode<DbcsEncoder>(codeset, in, in_end, out, out_end);
}
