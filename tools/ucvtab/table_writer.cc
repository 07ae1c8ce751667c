#include "tools/ucvtab/table_writer.h"

#include <algorithm>
#include <cstring>

#include "tools/ucvtab/table_image.h"

namespace mar::ucvtab {
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

TableWriter::TableWriter(const Codeset& codeset) : codeset_(codeset), image_(kMinSize) {
  if (std::string fault = name_fault(codeset.name, codeset.kind); !fault.empty()) refuse(codeset, fault);
  std::memcpy(image_.data() + kDataOffset, &kMinSize, sizeof kMinSize);
  std::memcpy(image_.data() + kMagic, "ucv", 3);
  std::copy(codeset.name.begin(), codeset.name.end(), image_.begin() + kName);
  put16(kKind, codeset.kind);
  put16(kScheme, codeset.kind == kEbcdicSingle ? kSchemeEbcdicSbcs : 0);
  put16(kHdr56, code_lengths(codeset));
  put16(kHdr62, kLayoutRevision);
  const std::string note = codeset.note.substr(0, kNoteSize - 1);
  std::copy(note.begin(), note.end(), image_.begin() + kNoteOffset);
  set_substitute();
}

uint8_t TableWriter::substitute() const { return image_[kSubstituteByte]; }

void TableWriter::set_page(unsigned high_byte, unsigned position) {
  put16(kPageIndex + 2 * high_byte, position);
}

void TableWriter::set_byte(unsigned byte, unsigned byte_class, unsigned entry) {
  image_[kByteClasses + byte] = static_cast<uint8_t>(byte_class);
  put16(kByteEntries + 2 * byte, entry);
}

// Takes the codeset's own substitution byte, or the usual one, or the first byte to which at most one
// looked-up character maps.
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
  if (single_byte && wanted && sources[byte] > 1) {
    const Code code = single(byte);
    refuse(codeset_, "several characters map to the substitution byte " + to_hex(code), code);
  }
  for (unsigned tried = 0; single_byte && sources[byte] > 1; ++tried) {
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
    image_.resize((image_.size() + 3) / 4 * 4);
    const size_t position = (image_.size() - kMinSize) / 4;
    // 0xFFFF itself marks "unmapped" where the converters read a position.
    if (position >= kUnmapped) refuse(codeset_, "more than 256 KB of pages, rows and nodes");
    found->second = static_cast<unsigned>(position);
    append(found->first);
  }
  return found->second;
}

unsigned TableWriter::add_block(const std::vector<uint16_t>& block) {
  const auto* bytes = reinterpret_cast<const uint8_t*>(block.data());
  return add_block(Bytes(bytes, bytes + 2 * block.size()));
}

void TableWriter::put16(size_t offset, unsigned value) {
  const auto number = static_cast<uint16_t>(value);
  std::memcpy(image_.data() + offset, &number, sizeof number);
}

Bytes TableWriter::finish(std::endian order) {
  image_.resize((image_.size() + 3) / 4 * 4);
  if (order != std::endian::native) swap_byte_order(image_, codeset_.kind, true);
  const Bytes stamp = stamp_of(image_);
  std::copy(stamp.begin(), stamp.end(), image_.begin() + kHdr64);
  return std::move(image_);
}

Bytes build_table(const Codeset& codeset, std::endian order) {
  TableWriter writer(codeset);
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
  return writer.finish(order);
}

}  // namespace mar::ucvtab
