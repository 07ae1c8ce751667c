// GB18030: one and two bytes for the BMP's common part, four bytes for all the rest of Unicode. Codes are
// numbered by a GB index (0 a single byte, 1 to 24066 two bytes, from 24067 on four bytes in linear order),
// and lists of ranges lead from an index to UCS-2 and back; supplementary characters are computed.
#include "charset/convert.h"
#include "charset/table.h"
#include "charset/unicode_text.h"

namespace {

using namespace table_layout;

constexpr uint32_t kTrails = 191;           // two-byte codes of one lead byte
constexpr uint32_t kFirstFourByte = 24067;  // GB index
enum EntryType : uint16_t { kSingleByte = 0, kTableRange = 1, kArithmeticRange = 2 };
constexpr GbEntry kNoEntry = {1, 0, UINT16_MAX, 0};  // covers no key; its type gives kUnmapped

// One direction of the range structure. Its lists have no count, so a walk always stops at the image's end,
// too.
template <bool kVerified, uint32_t kDirection>
class Ranges {
 public:
  explicit Ranges(const xcs_cs_t& codeset) : image_(codeset.table), size_(codeset.table_size) {
    const uint64_t structure = load<uint16_t>(image_ + kGbStructure);
    if (structure + kGbArray > size_) {
      size_ = 0;  // everything lies outside then
      return;
    }
    const uint8_t* const header = image_ + structure + kDirection;
    const uint64_t array = structure + kGbArray;
    entries_ = array + 2ull * load<uint32_t>(header + kGbEntries);
    blocks_ = array + 2ull * load<uint32_t>(header + kGbBlocks);
    values_ = array + 2ull * load<uint32_t>(header + kGbValues);
  }

  // The entry that holds for `key`: towards the codeset the first that covers it, away from it the last. In a
  // verified image there is only one, so that the latest answer may be used again.
  GbEntry find(uint32_t key) {
    if (kVerified && latest_.start <= key && key <= latest_.end) return latest_;
    latest_ = kNoEntry;
    const uint64_t block = blocks_ + 2ull * (key >> kGbBlockShift);
    if (!holds(block, 2)) return latest_;
    uint64_t at = entries_ + sizeof(GbEntry) * load<uint16_t>(image_ + block);
    for (; at + sizeof(GbEntry) <= size_; at += sizeof(GbEntry)) {
      const auto entry = load<GbEntry>(image_ + at);
      if (entry.start > key) break;
      if (entry.end < key) continue;
      latest_ = entry;
      if (kVerified || kDirection == kGbFrom) break;
    }
    return latest_;
  }

  uint32_t result(const GbEntry& entry, uint32_t key) const {
    const uint32_t value = entry.value + (key - entry.start);
    if (entry.type == kArithmeticRange) return value;
    const uint64_t element = values_ + 2ull * value;
    return entry.type == kTableRange && holds(element, 2) ? load<uint16_t>(image_ + element) : kUnmapped;
  }

 private:
  bool holds(uint64_t offset, uint64_t size_bytes) const { return kVerified || offset + size_bytes <= size_; }

  const uint8_t* image_;
  uint64_t size_;
  uint64_t entries_ = 0;  // offsets in the image
  uint64_t blocks_ = 0;
  uint64_t values_ = 0;
  GbEntry latest_ = kNoEntry;
};

template <bool kVerified>
class Gb18030Decoder : public Side<uint8_t, 4, true> {
 public:
  static constexpr bool kSupplementary = true;

  explicit Gb18030Decoder(const xcs_cs_t& codeset) : ranges_(codeset) {}

  template <bool kWhole>
  Character next(const uint8_t* in, const uint8_t* end) {
    const uint32_t lead = in[0];
    if (lead < 0x80) return {lead, 1};
    if (lead == 0x80 || lead == 0xFF) return {'?', 1};
    if (!kWhole && end - in < 2) return kCut;
    if ((in[1] & 0xF0) == 0x30) {
      if (!kWhole && end - in < 4) return kCut;
      return {four_bytes((((lead & 0x7F) * 10 + in[1]) * 126 + in[2]) * 10 + in[3] - 50351), 4};
    }
    // Below 0 after lead 0x81 with a trail that no code has: as unsigned, a key above all others.
    const uint32_t key = lead * kTrails + in[1] - 24702;
    return {key < UINT16_MAX ? mapped(key) : '?', 2};
  }

 private:
  uint32_t four_bytes(uint32_t key) {
    if (key < UINT16_MAX) return mapped(key);
    return key - 213067 <= 0xFFFFF ? key - 147531 : '?';
  }

  uint32_t mapped(uint32_t key) {
    const uint32_t value = ranges_.result(ranges_.find(key), key);
    return value == kUnmapped ? '?' : value;
  }

  Ranges<kVerified, kGbTo> ranges_;
};

template <bool kVerified>
class Gb18030Encoder : public Side<uint8_t, 4, true> {
 public:
  static constexpr bool kSupplementary = true;

  explicit Gb18030Encoder(const xcs_cs_t& codeset) : ranges_(codeset) {}

  template <bool kRoomy>
  uint8_t* put(uint8_t* out, const uint8_t* end, uint32_t code_point, const void*) {
    if (code_point < 0x80) return put_byte(out, code_point);
    if (code_point >= 0x10000) return put_four<kRoomy>(out, end, code_point + 123464);
    const GbEntry entry = ranges_.find(code_point);
    const uint32_t single_byte = entry.value + (code_point - entry.start);
    if (entry.type == kSingleByte) return put_byte(out, single_byte);
    const uint32_t index = ranges_.result(entry, code_point);
    if (index == kUnmapped) return put_byte(out, '?');
    if (index == 0) return put_byte(out, single_byte);
    if (index >= kFirstFourByte) return put_four<kRoomy>(out, end, index - kFirstFourByte);
    if (!kRoomy && end - out < 2) return nullptr;
    out[0] = static_cast<uint8_t>(0x81 + (index - 1) / kTrails);
    out[1] = static_cast<uint8_t>(0x40 + (index - 1) % kTrails);
    return out + 2;
  }

 private:
  static uint8_t* put_byte(uint8_t* out, uint32_t value) {
    *out = static_cast<uint8_t>(value);
    return out + 1;
  }

  // Each byte keeps its low 8 bits: numbers past U+10FFFF, which UTF-8 of 4 bytes can bring, have no code.
  template <bool kRoomy>
  static uint8_t* put_four(uint8_t* out, const uint8_t* end, uint32_t linear) {
    if (!kRoomy && end - out < 4) return nullptr;
    out[0] = static_cast<uint8_t>(0x81 + linear / 12600);
    out[1] = static_cast<uint8_t>(0x30 + linear / 1260 % 10);
    out[2] = static_cast<uint8_t>(0x81 + linear / 10 % 126);
    out[3] = static_cast<uint8_t>(0x30 + linear % 10);
    return out + 4;
  }

  Ranges<kVerified, kGbFrom> ranges_;
};

}  // namespace

int ascii_gb18030_to_ucs2_r(xcs_cs_t* codeset, const char** in, const char* in_end, uint16_t** out,
                            uint16_t* out_end) {
  return to_unicode<Gb18030Decoder>(codeset, in, in_end, out, out_end);
}

int ascii_gb18030_to_utf8_r(xcs_cs_t* codeset, const char** in, const char* in_end, char** out,
                            char* out_end) {
  return to_unicode<Gb18030Decoder>(codeset, in, in_end, out, out_end);
}

int ascii_gb18030_from_ucs2_r(xcs_cs_t* codeset, const uint16_t** in, const uint16_t* in_end, char** out,
                              char* out_end) {
  return from_unicode<Gb18030Encoder>(codeset, in, in_end, out, out_end);
}

int ascii_gb18030_from_utf8_r(xcs_cs_t* codeset, const char** in, const char* in_end, char** out,
                              char* out_end) {
  return from_unicode<Gb18030Encoder>(codeset, in, in_end, out, out_end);
}
