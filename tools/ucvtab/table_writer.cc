#include "tools/ucvtab/table_writer.h"

#include <openssl/sha.h>

#include <algorithm>

#include "charset/table.h"

namespace ucvtab {
namespace {

using namespace table_layout;

// Shortest and longest code in bytes, the fixed single bytes included.
unsigned code_lengths(const Codeset& codeset) {
  unsigned longest = 1;
  for (const auto& [code, unit] : codeset.decode) longest = std::max<unsigned>(longest, code.length);
  for (const Code& code : codeset.encode) longest = std::max<unsigned>(longest, code.length);
  return longest << 8 | 1;
}

}  // namespace

TableWriter::TableWriter(const Codeset& codeset, std::endian order)
    : codeset_(codeset), order_(order), image_(kMinSize) {
  if (std::string fault = name_fault(codeset.name, codeset.kind); !fault.empty()) refuse(codeset, fault);
  Bytes number;
  append32(number, kMinSize);
  std::copy(number.begin(), number.end(), image_.begin() + kDataOffset);
  for (unsigned i = 0; i < 3; ++i) image_[kMagic + i] = static_cast<uint8_t>("ucv"[i]);
  std::copy(codeset.name.begin(), codeset.name.end(), image_.begin() + kName);
  put16(kKind, codeset.kind);
  put16(kScheme, codeset.kind == kEbcdicSingle ? kSchemeEbcdicSbcs : 0);
  put16(kHdr56, code_lengths(codeset));
  put16(kHdr62, kLayoutRevision);
  const std::string note = codeset.note.substr(0, kNoteSize - 1);
  std::copy(note.begin(), note.end(), image_.begin() + kNoteOffset);
  set_substitute();
}

void TableWriter::set_page(unsigned high_byte, unsigned position) {
  put16(kPageIndex + 2 * high_byte, position);
}
void TableWriter::set_byte_entry(unsigned byte, unsigned value) { put16(kByteEntries + 2 * byte, value); }
void TableWriter::set_byte_class(unsigned byte, unsigned value) {
  image_[kByteClasses + byte] = static_cast<uint8_t>(value);
}
uint8_t TableWriter::substitute() const { return image_[kSubstituteByte]; }

void TableWriter::set_substitute() {
  unsigned sources[256] = {};
  char32_t source_of[256] = {};
  for (char32_t unit = 0; unit < 0x10000; ++unit) {
    const Code& code = codeset_.encode[unit];
    if (code.length != 1) continue;
    ++sources[code.bytes[0]];
    source_of[code.bytes[0]] = unit;
  }
  const bool wanted = codeset_.sub.has_value();
  unsigned byte = wanted ? *codeset_.sub : is_ebcdic(codeset_.kind) ? 0x3F : 0x1A;
  const bool single_byte = max_code_length(codeset_.kind) == 1;  // the others never compare with it
  for (unsigned tried = 0; single_byte && sources[byte] > 1; ++tried) {
    if (wanted) {
      const Code code = single(byte);
      refuse(codeset_, "several characters map to the substitution byte " + to_hex(code), code);
    }
    if (tried == 256) refuse(codeset_, "no byte can be the substitution byte");
    byte = tried;
  }
  // A byte that no looked-up character maps to needs no source; U+001A is as good as any fixed character.
  uint16_t source = sources[byte] == 1 ? static_cast<uint16_t>(source_of[byte]) : uint16_t{0x1A};
  if (wanted && sources[byte] == 0) source = codeset_.sub_source;
  image_[kSubstituteByte] = static_cast<uint8_t>(byte);
  put16(kSubstituteSource, source);
}

unsigned TableWriter::add_block(Bytes block) {
  auto [found, is_new] = blocks_.try_emplace(std::move(block), 0);
  if (is_new) {
    align(4);
    const size_t position = (image_.size() - kMinSize) / 4;
    // 0xFFFF itself marks "unmapped" where the converters read a position.
    if (position >= kUnmapped) refuse(codeset_, "more than 256 KB of pages, rows and nodes");
    found->second = static_cast<unsigned>(position);
    append(found->first);
  }
  return found->second;
}

unsigned TableWriter::add_block16(const std::vector<uint16_t>& block) {
  Bytes bytes;
  bytes.reserve(2 * block.size());
  for (uint16_t value : block) append16(bytes, value);
  return add_block(std::move(bytes));
}

void TableWriter::append16(Bytes& out, unsigned value) const {
  const auto low = static_cast<uint8_t>(value);
  const auto high = static_cast<uint8_t>(value >> 8);
  out.push_back(order_ == std::endian::big ? high : low);
  out.push_back(order_ == std::endian::big ? low : high);
}

void TableWriter::append32(Bytes& out, uint32_t value) const {
  const bool big = order_ == std::endian::big;
  append16(out, big ? value >> 16 : value & 0xFFFF);
  append16(out, big ? value & 0xFFFF : value >> 16);
}

void TableWriter::put16(size_t offset, unsigned value) {
  Bytes number;
  append16(number, value);
  std::copy(number.begin(), number.end(), image_.begin() + static_cast<std::ptrdiff_t>(offset));
}

void TableWriter::align(unsigned multiple) {
  image_.resize((image_.size() + multiple - 1) / multiple * multiple);
}

Bytes TableWriter::finish() {
  align(4);
  const Bytes stamp = stamp_of(image_);
  std::copy(stamp.begin(), stamp.end(), image_.begin() + kHdr64);
  return std::move(image_);
}

Bytes stamp_of(Bytes file) {
  std::fill_n(file.begin() + kHdr64, kStampSize, uint8_t{0});
  Bytes sum(SHA256_DIGEST_LENGTH);
  SHA256(file.data(), file.size(), sum.data());
  sum.resize(kStampSize);
  return sum;
}

Bytes build_table(const Codeset& codeset, std::endian order) {
  TableWriter writer(codeset, order);
  switch (codeset.kind) {
    case kSingleByte:
    case kEbcdicSingle:
      build_single_byte(writer);
      break;
    case kDoubleByte:
    case kEbcdicMixed:
      build_double_byte(writer);
      break;
    case kMultiByte:
      build_multi_byte(writer);
      break;
    case kGb18030:
      build_gb18030(writer);
      break;
  }
  return writer.finish();
}

}  // namespace ucvtab
