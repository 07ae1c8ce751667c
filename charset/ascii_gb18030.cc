// GB18030: one and two bytes for the common part of the BMP, four bytes for the rest of Unicode. Codes are
// looked up by their index (gb18030.h) in lists of ranges; supplementary characters are computed.
#include <algorithm>

#include "charset/convert.h"
#include "charset/flat_tables.h"
#include "charset/gb18030.h"
#include "charset/table_view.h"
#include "charset/table_walk.h"
#include "charset/unicode_text.h"

namespace mar::charset {
namespace {

// In a verified table the ranges are disjoint, so the latest answer also serves every other key that it
// covers. Text seldom leaves a range from one character to the next.
template <bool kVerified, uint32_t kDirection>
class Ranges {
 public:
  explicit Ranges(const xcs_cs_t& codeset) : ranges_(TableView<kVerified>(codeset), kDirection) {}

  table_layout::GbRange find(uint32_t key) {
    if (kVerified && latest_.start <= key && key <= latest_.end) return latest_;
    return latest_ = ranges_.find(key);
  }

  uint32_t result(const table_layout::GbRange& range, uint32_t key) const {
    return ranges_.result(range, key);
  }

 private:
  GbRanges<kVerified> ranges_;
  table_layout::GbRange latest_ = {1, 0, UINT16_MAX, 0};  // covers no key
};

template <bool kVerified>
class Gb18030Decoder : public ConverterSide<uint8_t, 4, true> {
 public:
  static constexpr bool kSupplementary = true;

  explicit Gb18030Decoder(const xcs_cs_t& codeset) : ranges_(codeset) {}

  // The linear number of a code of four bytes; above all of them for anything else.
  static uint32_t four_byte_number(const uint8_t* in) {
    const bool is_code = in[0] - 0x81u < 0x7E && is_gb_digit(in[1]);
    return is_code ? four_byte_index(in) - kGbFirstFourByte : kGbNoNumber;
  }

  template <bool kWhole>
  Character next(const uint8_t* in, const uint8_t* end) {
    const uint32_t lead = in[0];
    if (lead < 0x80) return {lead, 1};
    if (lead == 0x80 || lead == 0xFF) return {'?', 1};
    if (!kWhole && end - in < 2) return kCutCharacter;
    if (is_gb_digit(in[1])) {
      if (!kWhole && end - in < 4) return kCutCharacter;
      return {four_bytes(four_byte_index(in)), 4};
    }
    // The index would be below 0 after lead 0x81 with a trail below 0x30. Unsigned, it lies above all others.
    const uint32_t index = lead * kGbTrails + in[1] - 24702;
    return {index < UINT16_MAX ? looked_up(index) : '?', 2};
  }

 private:
  static uint32_t four_byte_index(const uint8_t* in) {
    return (((in[0] & 0x7Fu) * 10 + in[1]) * 126 + in[2]) * 10 + in[3] - 50351;
  }

  uint32_t four_bytes(uint32_t index) {
    if (index < UINT16_MAX) return looked_up(index);
    const uint32_t character = gb_supplementary(index - kGbFirstFourByte);
    return character != 0 ? character : '?';
  }

  uint32_t looked_up(uint32_t index) {
    const uint32_t value = ranges_.result(ranges_.find(index), index);
    return value == kUnmapped ? '?' : value;
  }

  Ranges<kVerified, table_layout::kGbTo> ranges_;
};

template <bool kVerified>
class Gb18030Encoder : public ConverterSide<uint8_t, 4, true> {
 public:
  static constexpr bool kSupplementary = true;

  explicit Gb18030Encoder(const xcs_cs_t& codeset) : ranges_(codeset) {}

  template <bool kRoomy>
  uint8_t* put(uint8_t* out, const uint8_t* end, uint32_t code_point, const void*) {
    if (code_point < 0x80) return put_byte(out, code_point);
    if (code_point >= 0x10000) return put_four<kRoomy>(out, end, code_point + kGbSupplementary);
    const table_layout::GbRange range = ranges_.find(code_point);
    const uint32_t single_byte = range.value + (code_point - range.start);
    if (range.type == table_layout::kSingleByteRange) return put_byte(out, single_byte);
    const uint32_t index = ranges_.result(range, code_point);
    if (index == kUnmapped) return put_byte(out, '?');
    if (index == 0) return put_byte(out, single_byte);
    if (index >= kGbFirstFourByte) return put_four<kRoomy>(out, end, index - kGbFirstFourByte);
    if (!kRoomy && end - out < 2) return nullptr;
    // Two stores are measurably faster here than a copy of the array.
    const auto code = gb_two_bytes(index);
    out[0] = code[0];
    out[1] = code[1];
    return out + 2;
  }

  template <bool kRoomy>
  static uint8_t* put_four(uint8_t* out, const uint8_t* end, uint32_t linear) {
    if (!kRoomy && end - out < 4) return nullptr;
    const auto code = gb_four_bytes(linear);
    return std::copy(code.begin(), code.end(), out);
  }

 private:
  static uint8_t* put_byte(uint8_t* out, uint32_t value) {
    *out = static_cast<uint8_t>(value);
    return out + 1;
  }

  Ranges<kVerified, table_layout::kGbFrom> ranges_;
};

}  // namespace
}  // namespace mar::charset

using namespace mar::charset;

int ascii_gb18030_to_ucs2_r(xcs_cs_t* codeset, const char** in, const char* in_end, uint16_t** out,
                            uint16_t* out_end) {
  return to_unicode_flat<Gb18030Decoder>(codeset, in, in_end, out, out_end);
}

int ascii_gb18030_to_utf8_r(xcs_cs_t* codeset, const char** in, const char* in_end, char** out,
                            char* out_end) {
  return to_unicode_flat<Gb18030Decoder>(codeset, in, in_end, out, out_end);
}

int ascii_gb18030_from_ucs2_r(xcs_cs_t* codeset, const uint16_t** in, const uint16_t* in_end, char** out,
                              char* out_end) {
  return from_unicode_flat<Gb18030Encoder>(codeset, in, in_end, out, out_end);
}

int ascii_gb18030_from_utf8_r(xcs_cs_t* codeset, const char** in, const char* in_end, char** out,
                              char* out_end) {
  return from_unicode_flat<Gb18030Encoder>(codeset, in, in_end, out, out_end);
}
