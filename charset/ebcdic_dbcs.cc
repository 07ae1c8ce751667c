// Mixed EBCDIC codesets: single bytes and pairs, with shift-out and shift-in between them. Code page 1047
// decides for the invariant set, the table for the rest.
#include "charset/convert.h"
#include "charset/ebcdic_1047.h"
#include "charset/single_byte.h"
#include "charset/table_view.h"
#include "charset/unicode_text.h"

namespace mar::charset {
namespace {

constexpr uint8_t kShiftOut = 0x0E;  // the same in EBCDIC and UCS-2
constexpr uint8_t kShiftIn = 0x0F;
enum Mode : uint8_t { kSingle = 0, kDouble = 1 };

template <bool kVerified>
class MixedDecoder : public ConverterSide<uint8_t, 2, false> {
 public:
  static constexpr bool kShifts = true;

  explicit MixedDecoder(const xcs_cs_t& codeset)
      : table_(codeset), single_bytes_(codeset.rows->to_unicode), mode_(codeset.to_state) {}

  uint8_t state() const { return mode_; }

  template <bool kWhole>
  Character next(const uint8_t* in, const uint8_t* end) {
    const uint8_t byte = in[0];
    if (mode_ == kSingle) {
      if (byte != kShiftOut) return {single_bytes_[byte], 1};
      mode_ = kDouble;
      return {kNoCharacter, 1};
    }
    if (byte == kShiftIn) {
      mode_ = kSingle;
      return {kNoCharacter, 1};
    }
    if (!table_layout::is_mixed_lead(byte)) return {def_eb_to_ucs[byte], 1};
    if (!kWhole && end - in < 2) return kCutCharacter;
    return {mapped(table_.u16(table_.row(byte) + 2ull * in[1])), 2};
  }

 private:
  TableView<kVerified> table_;
  const uint16_t* single_bytes_;
  uint8_t mode_;
};

template <bool kVerified>
class MixedEncoder : public ConverterSide<uint8_t, 3, false> {
 public:
  static constexpr bool kShifts = true;

  explicit MixedEncoder(const xcs_cs_t& codeset) : table_(codeset), mode_(codeset.from_state) {}

  uint8_t state() const { return mode_; }

  // When an invariant character ends double-byte mode, this reads the unit at `after`, even at the end of the
  // input.
  template <bool kRoomy, class InUnit>
  uint8_t* put(uint8_t* out, const uint8_t* end, uint32_t unit, const InUnit* after) {
    const ptrdiff_t room = kRoomy ? kLongest : end - out;
    if (unit < 0x100 && invar_ucs_to_eb[unit]) return put_invariant(out, room, unit, after);
    uint16_t code = table_.u16(table_.page(unit) + 2 * (unit & 0xFF));
    if (code == kUnmapped) code = kEbcdicQuestionMark;
    if (code <= 0xFF) {
      if (mode_ == kDouble) {
        if (room < 2) return nullptr;
        *out++ = kShiftIn;
        mode_ = kSingle;
      }
      *out = static_cast<uint8_t>(code);
      return out + 1;
    }
    if (room < (mode_ == kDouble ? 2 : 3)) return nullptr;
    if (mode_ == kSingle) *out++ = kShiftOut;
    mode_ = kDouble;
    out[0] = static_cast<uint8_t>(code >> 8);
    out[1] = static_cast<uint8_t>(code);
    return out + 2;
  }

 private:
  template <class InUnit>
  uint8_t* put_invariant(uint8_t* out, ptrdiff_t room, uint32_t unit, const InUnit* after) {
    if (mode_ == kDouble) {
      if (room < 2) return nullptr;
      *out++ = kShiftIn;
      // Kept as is: before a shift-out character the mode stays double although a shift-in was written. That
      // character then brings a shift-in of its own.
      if (*after != kShiftOut) mode_ = kSingle;
    } else if (unit == kShiftOut) {
      mode_ = kDouble;
    }
    *out = def_ucs_to_eb[unit];
    return out + 1;
  }

  TableView<kVerified> table_;
  uint8_t mode_;
};

// Ends a text: closes an open run of pairs.
int flush(xcs_cs_t* codeset, char** out, const char* out_end) {
  if (codeset->from_state != kSingle) {
    if (out == nullptr || *out == nullptr || *out >= out_end) return XCS_OUTPUT_FULL;
    *(*out)++ = kShiftIn;
    codeset->from_state = kSingle;
  }
  return XCS_CONVERTED;
}

template <class InChar>
int from_unicode_or_flush(xcs_cs_t* codeset, const InChar** in, const InChar* in_end, char** out,
                          char* out_end) {
  if (is_reset(in)) return flush(codeset, out, out_end);
  return from_unicode<MixedEncoder>(codeset, in, in_end, out, out_end);
}

}  // namespace
}  // namespace mar::charset

using namespace mar::charset;

int ebcdic_dbcs_to_ucs2_r(xcs_cs_t* codeset, const char** in, const char* in_end, uint16_t** out,
                          uint16_t* out_end) {
  return to_unicode<MixedDecoder>(codeset, in, in_end, out, out_end);
}

int ebcdic_dbcs_to_utf8_r(xcs_cs_t* codeset, const char** in, const char* in_end, char** out, char* out_end) {
  return to_unicode<MixedDecoder>(codeset, in, in_end, out, out_end);
}

int ebcdic_dbcs_from_ucs2_r(xcs_cs_t* codeset, const uint16_t** in, const uint16_t* in_end, char** out,
                            char* out_end) {
  return from_unicode_or_flush(codeset, in, in_end, out, out_end);
}

int ebcdic_dbcs_from_utf8_r(xcs_cs_t* codeset, const char** in, const char* in_end, char** out,
                            char* out_end) {
  return from_unicode_or_flush(codeset, in, in_end, out, out_end);
}
