#include "tools/ucvtab/table_image.h"

#include <openssl/sha.h>

#include <algorithm>
#include <cstring>
#include <set>

#include "charset/table.h"
#include "tools/ucvtab/failure.h"

namespace mar::ucvtab {
namespace {

using namespace table_layout;

constexpr auto kOtherOrder =
    std::endian::native == std::endian::little ? std::endian::big : std::endian::little;

// Both pass over what lies outside the image.
void swap16(Bytes& image, size_t first, size_t end) {
  for (size_t at = first; at + 2 <= std::min(end, image.size()); at += 2) std::swap(image[at], image[at + 1]);
}

void swap32(Bytes& image, size_t at) {
  if (at + 4 <= image.size()) std::reverse(image.data() + at, image.data() + at + 4);
}

void swap_header(Bytes& image, Kind kind) {
  swap32(image, kDataOffset);
  for (uint32_t field : {kKind, kScheme, kHdr56, kSubstituteSource, kHdr62}) swap16(image, field, field + 2);
  if (kind == kGb18030) swap16(image, kGbStructure, kGbStructure + 2);
  swap16(image, kPageIndex, kByteClasses);
}

// Offsets of the prefix records that the pages of a multi-byte table name.
std::set<size_t> prefix_records(const Bytes& image, size_t data) {
  std::set<size_t> records;
  for (uint32_t unit = 0; unit < 0x10000; ++unit) {
    const size_t high = unit >> 8, low = unit & 0xFF;
    const size_t page = data + size_t{kPositionUnit} * load<uint16_t>(image.data() + kPageIndex + 2 * high);
    const size_t entry = page + 4 * low;
    if (entry + 4 > image.size() || load<uint16_t>(image.data() + entry + 2) < 0x100) continue;
    records.insert(data + size_t{kPrefixRecordBytes} * load<uint16_t>(image.data() + entry));
  }
  return records;
}

// The header must be in host order.
void swap_data(Bytes& image, Kind kind, bool is_host_order) {
  const size_t data = load<uint32_t>(image.data() + kDataOffset);
  if (kind == kGb18030) {
    const size_t structure = load<uint16_t>(image.data() + kGbStructure);
    for (size_t at = 0; at < kGbArray; at += 4) swap32(image, structure + at);
    swap16(image, structure + kGbArray, image.size());
  } else if (kind == kMultiByte) {
    std::set<size_t> records;
    if (is_host_order) records = prefix_records(image, data);
    swap16(image, data, image.size());
    if (!is_host_order) records = prefix_records(image, data);
    for (size_t record : records) swap16(image, record, record + kMaxPrefix);  // back: a prefix is bytes
  } else if (max_code_length(kind) == 2) {
    swap16(image, data, image.size());
  }
}

}  // namespace

bool is_table(const Bytes& bytes) {
  return bytes.size() >= kMinSize && std::memcmp(bytes.data() + kMagic, "ucv", 3) == 0;
}

void swap_byte_order(Bytes& image, Kind kind, bool is_host_order) {
  if (is_host_order) swap_data(image, kind, true);
  swap_header(image, kind);
  if (!is_host_order) swap_data(image, kind, false);
}

Bytes stamp_of(Bytes file) {
  std::fill_n(file.begin() + kHdr64, kStampSize, uint8_t{0});
  Bytes sum(SHA256_DIGEST_LENGTH);
  SHA256(file.data(), file.size(), sum.data());
  sum.resize(kStampSize);
  return sum;
}

TableImage::TableImage(Bytes file, std::string path)
    : file_(std::move(file)), image_(file_), path_(std::move(path)) {
  if (!is_table(file_) || file_.size() > kMaxTableSize) {
    throw Failure(kBadInput, path_ + ": not a codeset table");
  }
  unsigned kind = header16(kKind);
  unsigned scheme = header16(kScheme);
  if (!is_known_kind(kind)) {  // no kind reads as another one with its bytes reversed
    order_ = kOtherOrder;
    kind = (kind & 0xFF) << 8 | kind >> 8;
    scheme = (scheme & 0xFF) << 8 | scheme >> 8;
  }
  if (scheme == kSchemeEbcdicSbcs) kind = kEbcdicSingle;
  if (!is_known_kind(kind)) {
    throw Failure(kBadInput,
                  path_ + ": a table of kind " + std::to_string(kind) + ", which has no converters");
  }
  kind_ = static_cast<Kind>(kind);
  if (order_ == kOtherOrder) swap_byte_order(image_, kind_, false);
  is_sound_ = verify_table(as_codeset());
}

xcs_cs_t TableImage::as_codeset() const {
  xcs_cs_t codeset{};
  codeset.table = image_.data();
  codeset.table_size = static_cast<uint32_t>(image_.size());
  codeset.kind = kind_;
  return codeset;
}

std::string TableImage::header_text(size_t offset, size_t size) const {
  const auto* start = reinterpret_cast<const char*>(image_.data()) + offset;
  return {start, strnlen(start, size)};
}

}  // namespace mar::ucvtab
