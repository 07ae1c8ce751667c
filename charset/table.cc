#include "charset/table.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>

#include "charset/ascii.h"

namespace {

using namespace table_layout;

constexpr size_t kPathSize = 256;
constexpr int kMaxRedirects = 4;

// The whole regular file in a fresh block of at least one byte, or null. A FIFO would block an open for
// reading, hence O_NONBLOCK; it means nothing to a regular file.
uint8_t* read_file(const char* path, uint32_t* size) {
  const int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file == -1) return nullptr;
  uint8_t* bytes = nullptr;
  struct stat status;
  if (fstat(file, &status) == 0 && S_ISREG(status.st_mode) && status.st_size <= UINT32_MAX) {
    const auto wanted = static_cast<size_t>(status.st_size);
    bytes = static_cast<uint8_t*>(std::malloc(wanted + 1));
    ssize_t got = -1;
    while (bytes != nullptr && (got = read(file, bytes, wanted)) == -1 && errno == EINTR) {
    }
    if (got != status.st_size) {
      std::free(bytes);
      bytes = nullptr;
    }
    *size = static_cast<uint32_t>(wanted);
  }
  close(file);
  return bytes;
}

bool is_table(const uint8_t* bytes, uint32_t size) {
  return size >= kMinSize && std::memcmp(bytes + kMagic, "ucv", 3) == 0;
}

// What a redirect file says, less control and white-space characters, cut to `room` - 1 characters.
void take_redirect(const uint8_t* bytes, uint32_t size, char* name, size_t room) {
  size_t length = 0;
  for (uint32_t i = 0; i < size && length + 1 < room; ++i) {
    const char c = static_cast<char>(bytes[i]);
    if (!ascii_control(c) && !ascii_space(c)) name[length++] = c;
  }
  name[length] = '\0';
}

using Image = TableView<false>;

bool pages_inside(const Image& image, uint64_t page_bytes) {
  for (uint32_t high = 0; high < 256; ++high) {
    if (!image.holds(image.page(high << 8), page_bytes)) return false;
  }
  return true;
}

bool row_inside(const Image& image, uint8_t byte) { return image.holds(4ull * image.byte_entry(byte), 512); }

bool verify_dbcs(const Image& image) {
  if (!pages_inside(image, 512) || !row_inside(image, 0)) return false;
  for (uint32_t byte = 0x80; byte < 256; ++byte) {
    const auto lead = static_cast<uint8_t>(byte);
    if (image.byte_class(lead) == 2 && !row_inside(image, lead)) return false;
  }
  return true;
}

bool verify_ebcdic_dbcs(const Image& image) {
  if (!pages_inside(image, 512) || !row_inside(image, 0)) return false;
  for (uint8_t lead = 0x40; lead <= 0xFE; ++lead) {
    if (!row_inside(image, lead)) return false;
  }
  return true;
}

// Follows a trie of `depth` more bytes. `budget` bounds the steps: nodes may be shared, even in ways that
// make the number of paths explode.
bool verify_trie(const Image& image, uint16_t node, uint32_t depth, uint32_t& budget) {
  if (node == kUnmapped) return true;  // the walk ends here
  const uint64_t start = 4ull * node;
  if (budget == 0 || !image.holds(start, 4)) return false;
  --budget;
  const uint32_t count = load<uint16_t>(image.at(start));
  if (!image.holds(start + 4, 2ull * count)) return false;
  if (count > budget) return false;
  budget -= count;
  if (depth == 1) return true;  // the children are values
  for (uint32_t child = 0; child < count; ++child) {
    if (!verify_trie(image, load<uint16_t>(image.at(start + 4 + 2 * child)), depth - 1, budget)) return false;
  }
  return true;
}

bool verify_mbcs(const Image& image) {
  if (!pages_inside(image, 1024)) return false;
  for (uint32_t unit = 0x80; unit < 0x10000; ++unit) {
    const uint8_t* entry = image.at(image.page(unit) + 4 * (unit & 0xFF));
    const uint16_t prefix = load<uint16_t>(entry);
    if (load<uint16_t>(entry + 2) < 0x100 || prefix == kUnmapped) continue;
    const uint64_t record = 16ull * prefix;
    if (!image.holds(record, 16) || load<uint16_t>(image.at(record + kPrefixLength)) > kMaxPrefix)
      return false;
  }
  uint32_t budget = kTrieBudget;
  for (uint32_t byte = 0x80; byte < 256; ++byte) {
    const auto lead = static_cast<uint8_t>(byte);
    const uint32_t length = image.byte_class(lead);
    if (length < 2 || length == kInvalidLead) continue;
    if (!verify_trie(image, image.byte_entry(lead), length - 1, budget)) return false;
  }
  return true;
}

// One direction of the GB18030 structure. The lists have no count: a list ends where no walk can pass.
// Towards the codeset that is a range that reaches 0xFFFF, as the first covering entry is taken; away from
// it, where the last one is, a start above every key.
bool verify_gb_direction(const Image& image, uint64_t structure, uint32_t direction) {
  const uint8_t* header = image.image() + structure + direction;
  const uint64_t array = structure + kGbArray;
  const uint64_t entries = array + 2ull * load<uint32_t>(header + kGbEntries);
  const uint64_t blocks = array + 2ull * load<uint32_t>(header + kGbBlocks);
  const uint64_t values = array + 2ull * load<uint32_t>(header + kGbValues);
  constexpr uint32_t kBlockCount = 0x10000 >> kGbBlockShift;
  if (blocks + 2ull * kBlockCount > image.size_bytes()) return false;
  const auto entry_at = [&](uint32_t index) {
    return load<GbEntry>(image.image() + entries + sizeof(GbEntry) * index);
  };
  const auto first_of_block = [&](uint32_t block) {
    return load<uint16_t>(image.image() + blocks + 2ull * block);
  };
  uint32_t first = UINT16_MAX;
  for (uint32_t block = 0; block < kBlockCount; ++block)
    first = std::min<uint32_t>(first, first_of_block(block));

  uint32_t index = first;
  for (uint32_t next_start = 0;; ++index) {
    if (entries + sizeof(GbEntry) * (index + 1ull) > image.size_bytes()) return false;
    const GbEntry entry = entry_at(index);
    if (entry.start < next_start) return false;
    const uint64_t last_value = uint64_t{entry.value} + entry.end - entry.start;
    if (entry.type == 1 && entry.end >= entry.start && values + 2 * last_value + 2 > image.size_bytes())
      return false;
    if ((direction == kGbFrom ? entry.end : entry.start) == 0xFFFF) break;
    if (entry.end < entry.start) return false;
    next_start = entry.end + 1u;
  }
  for (uint32_t block = 0; block < kBlockCount; ++block) {
    const uint32_t start = first_of_block(block);
    if (start > index || (start > first && entry_at(start - 1).end >= block << kGbBlockShift)) return false;
    const uint32_t last_key = ((block + 1) << kGbBlockShift) - 1;
    for (uint32_t walked = 0; start + walked <= index && entry_at(start + walked).start <= last_key; ++walked)
      if (walked == kMaxGbWalk) return false;
  }
  return true;
}

bool verify_gb18030(const Image& image) {
  const uint64_t structure = load<uint16_t>(image.image() + kGbStructure);
  return structure + kGbArray <= image.size_bytes() && verify_gb_direction(image, structure, kGbFrom) &&
         verify_gb_direction(image, structure, kGbTo);
}

}  // namespace

bool verify_table(const xcs_cs_t& codeset) {
  const Image image(codeset);
  switch (codeset.kind) {
    case XCS_KIND_ASCII_SBCS:
    case XCS_KIND_EBCDIC_SBCS:
      return pages_inside(image, 256);
    case XCS_KIND_ASCII_DBCS:
      return verify_dbcs(image);
    case XCS_KIND_ASCII_MBCS:
      return verify_mbcs(image);
    case XCS_KIND_EBCDIC_DBCS:
      return verify_ebcdic_dbcs(image);
    case XCS_KIND_GB18030:
      return verify_gb18030(image);
    default:
      return true;  // converts without its table
  }
}

void* load_table(const char* prefix, const char* name, uint32_t* size) {
  uint32_t ignored = 0;
  if (size == nullptr) size = &ignored;
  *size = 0;
  if (prefix == nullptr || name == nullptr) return nullptr;
  const size_t prefix_length = std::strlen(prefix);
  const size_t name_length = std::strlen(name);
  if (prefix_length + name_length + 2 > kPathSize) return nullptr;
  char path[kPathSize];
  std::memcpy(path, prefix, prefix_length);
  std::memcpy(path + prefix_length, name, name_length + 1);

  for (int redirects = 0; redirects <= kMaxRedirects; ++redirects) {
    uint32_t bytes_read = 0;
    uint8_t* bytes = read_file(path, &bytes_read);
    if (bytes == nullptr) return nullptr;
    if (is_table(bytes, bytes_read)) {
      *size = bytes_read;
      return bytes;
    }
    take_redirect(bytes, bytes_read, path + prefix_length, kPathSize - prefix_length);
    std::free(bytes);
  }
  return nullptr;
}
