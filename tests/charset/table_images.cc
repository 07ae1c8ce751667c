#include "tests/charset/table_images.h"

#include <gtest/gtest.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>
#include <filesystem>

namespace {

// The layout of the file in numbers of its own, so that a slip in the product's constants shows.
constexpr size_t kHeaderSize = 1760, kName = 16, kGbStructure = 38, kKind = 48, kSubstitute = 58,
                 kPages = 224;
constexpr size_t kByteEntries = 736, kClasses = 1248;

template <class T>
Bytes raw(T value) {
  return Bytes(reinterpret_cast<const char*>(&value), sizeof value);
}

Bytes raw_array(const std::vector<uint16_t>& values) {
  Bytes all;
  for (const uint16_t value : values) all += raw(value);
  return all;
}

uint8_t first_byte(const Bytes& bytes) { return static_cast<uint8_t>(bytes[0]); }
uint16_t big_endian(const Bytes& two) {
  return static_cast<uint16_t>(first_byte(two) << 8 | first_byte(two.substr(1)));
}

}  // namespace

TableImage::TableImage(uint16_t kind, const char* name, const CodeMap& codes) : bytes(kHeaderSize, '\0') {
  set(0, static_cast<uint32_t>(kHeaderSize));
  bytes.replace(8, 3, "ucv");
  bytes.replace(kName, std::strlen(name), name);
  set(kKind, kind);
  const bool ebcdic = kind == XCS_KIND_EBCDIC_SBCS || kind == XCS_KIND_EBCDIC_DBCS;
  set(kSubstitute, uint16_t{0x1A});
  set(kSubstitute + 2, uint8_t{ebcdic ? uint8_t{0x3F} : uint8_t{0x1A}});
  switch (kind) {
    case XCS_KIND_ASCII_SBCS:
    case XCS_KIND_EBCDIC_SBCS:
      add_pages(1, codes);
      for (size_t byte = 0; byte < 256; ++byte) set(kByteEntries + 2 * byte, uint16_t{0xFFFF});
      for (const auto& [code, unit] : codes) set(kByteEntries + 2u * first_byte(code), unit);
      break;
    case XCS_KIND_ASCII_DBCS:
    case XCS_KIND_EBCDIC_DBCS:
      add_pages(2, codes);
      add_rows(codes, 2);
      break;
    case XCS_KIND_ASCII_MBCS:
      add_pages(4, codes);
      for (size_t byte = 0; byte < 256; ++byte)
        set(kByteEntries + 2 * byte, add_trie(codes, Bytes(1, static_cast<char>(byte))));
      break;
    default:
      break;
  }
}

uint16_t TableImage::append(const Bytes& block) {
  const size_t position = (bytes.size() - kHeaderSize) / 4;
  bytes += block;
  bytes.resize((bytes.size() + 3) / 4 * 4);
  return static_cast<uint16_t>(position);
}

// From-Unicode pages; one empty page serves all high bytes without characters.
void TableImage::add_pages(size_t entry_size, const CodeMap& codes) {
  const char unmapped = entry_size == 1 ? bytes[kSubstitute + 2] : '\xFF';
  const uint16_t empty = append(Bytes(256 * entry_size, unmapped));
  std::map<Bytes, uint16_t> prefixes;  // records count in units of 16 bytes
  for (size_t high = 0; high < 256; ++high) {
    Bytes page(256 * entry_size, unmapped);
    bool used = false;
    for (const auto& [code, unit] : codes) {
      if (unit >> 8 != high) continue;
      used = true;
      Bytes entry = code;
      if (entry_size == 2) entry = raw(code.size() == 1 ? uint16_t{first_byte(code)} : big_endian(code));
      if (entry_size == 4 && code.size() == 1)
        entry = raw(uint16_t{0xFFFF}) + raw(uint16_t{first_byte(code)});
      if (entry_size == 4 && code.size() > 1) {
        const Bytes prefix = code.substr(0, code.size() - 2);
        if (!prefixes.contains(prefix)) {
          bytes.resize(kHeaderSize + (bytes.size() - kHeaderSize + 15) / 16 * 16);
          Bytes record = prefix;
          record.resize(14);
          const uint16_t position = append(record + raw(static_cast<uint16_t>(prefix.size())));
          prefixes[prefix] = static_cast<uint16_t>(position / 4);
        }
        entry = raw(prefixes[prefix]) + raw(big_endian(code.substr(code.size() - 2)));
      }
      page.replace((unit & 0xFF) * entry_size, entry_size, entry);
    }
    set(kPages + 2 * high, used ? append(page) : empty);
  }
}

void TableImage::add_rows(const CodeMap& codes, uint8_t lead_class) {
  const uint16_t empty = append(Bytes(512, '\xFF'));
  std::map<uint8_t, Bytes> rows = {{0, Bytes(512, '\xFF')}};  // of single bytes
  for (size_t byte = 0; byte < 256; ++byte) set(kByteEntries + 2 * byte, empty);
  for (const auto& [code, unit] : codes) {
    const bool single = code.size() == 1;
    set(kClasses + first_byte(code), single ? uint8_t{1} : lead_class);
    Bytes& row = rows.try_emplace(single ? uint8_t{0} : first_byte(code), 512, '\xFF').first->second;
    row.replace(2 * first_byte(code.substr(code.size() - 1)), 2, raw(unit));
  }
  for (const auto& [byte, row] : rows) set(kByteEntries + 2u * byte, append(row));
}

uint16_t TableImage::add_trie(const CodeMap& codes, const Bytes& prefix) {
  if (codes.contains(prefix)) {
    if (prefix.size() == 1) set(kClasses + first_byte(prefix), uint8_t{1});
    return codes.at(prefix);
  }
  std::map<uint8_t, uint16_t> children;
  for (const auto& [code, unit] : codes) {
    if (code.size() <= prefix.size() || !code.starts_with(prefix)) continue;
    set(kClasses + first_byte(prefix), static_cast<uint8_t>(code.size()));
    const uint8_t next = first_byte(code.substr(prefix.size()));
    if (!children.contains(next)) children[next] = add_trie(codes, code.substr(0, prefix.size() + 1));
  }
  if (children.empty()) {
    if (prefix.size() == 1) set(kClasses + first_byte(prefix), uint8_t{255});
    return 0xFFFF;
  }
  const uint8_t base = children.begin()->first;
  std::vector<uint16_t> node = {static_cast<uint16_t>(children.rbegin()->first - base + 1), base};
  node.resize(2u + node[0], 0xFFFF);
  for (const auto& [byte, child] : children) node[2u + byte - base] = child;
  return append(raw_array(node));
}

TableImage::TableImage(std::vector<GbRange> from, std::vector<uint16_t> from_values, std::vector<GbRange> to,
                       std::vector<uint16_t> to_values)
    : TableImage(XCS_KIND_GB18030, "GB18030") {
  set(kGbStructure, static_cast<uint16_t>(kHeaderSize));
  bytes.resize(kHeaderSize + 32);
  add_gb_direction(kHeaderSize, std::move(from), from_values);
  add_gb_direction(kHeaderSize + 16, std::move(to), to_values);
}

void TableImage::add_gb_direction(size_t header, std::vector<GbRange> ranges,
                                  const std::vector<uint16_t>& values) {
  ranges.push_back({0xFFFF, 0xFFFF, 2, 0xFFFF});
  const auto position = [&] { return static_cast<uint32_t>((bytes.size() - kHeaderSize - 32) / 2); };
  set(header, position());
  for (const GbRange& range : ranges) bytes += raw(range);
  set(header + 4, position());
  for (uint32_t block = 0; block < 128; ++block) {
    uint16_t first = 0;
    while (ranges[first].end < block * 512) ++first;
    bytes += raw(first);
  }
  set(header + 8, position());
  bytes += raw_array(values);
}

ScratchDirectory::ScratchDirectory()
    : path([] {
        char name[] = "/tmp/charset-test-XXXXXX";
        return std::string(mkdtemp(name));
      }()) {
  EXPECT_EQ(chdir(path.c_str()), 0);
}

ScratchDirectory::~ScratchDirectory() {
  EXPECT_EQ(chdir("/"), 0);
  std::filesystem::remove_all(path);
}

void ScratchDirectory::write(const std::string& name, const Bytes& content) const {
  const std::filesystem::path file = std::filesystem::path(path) / name;
  std::filesystem::create_directories(file.parent_path());
  FILE* stream = std::fopen(file.c_str(), "wb");
  ASSERT_NE(stream, nullptr);
  EXPECT_EQ(std::fwrite(content.data(), 1, content.size(), stream), content.size());
  std::fclose(stream);
}

Codeset load_image(const Bytes& image) {
  const ScratchDirectory directory;
  directory.write("table", image);
  return Codeset(xcs_cs_new((directory.path + "/table").c_str()));
}

Codeset Family::codeset() const { return image.empty() ? Codeset(xcs_cs_new("UTF8")) : load_image(image); }

namespace {

Family table_family(const char* name, uint16_t kind, const CodeMap& codes, const CodeMap& built_in) {
  Family family{name, TableImage(kind, name, codes).bytes, {}};
  for (const auto* map : {&codes, &built_in}) {
    for (const auto& [bytes, unit] : *map) family.characters.push_back({bytes, Units(1, unit)});
  }
  return family;
}

Family gb18030() {
  const TableImage image(
      {{0x80, 0x80, 0, 0x80}, {0xA5, 0xA8, 2, 24103}, {0x4E02, 0x4E05, 1, 0}}, {1, 0xFFFF, 2, 24066},
      {{1, 2, 1, 0}, {24066, 24066, 2, 0x4E05}, {24103, 24106, 2, 0xA5}}, {0x4E02, 0x4E04});
  return {"GB18030",
          image.bytes,
          {{"A", units(u"A")},
           {"\x81\x40", units(u"\u4E02")},
           {"\x81\x41", units(u"\u4E04")},
           {"\xFE\xFE", units(u"\u4E05")},
           {"\x81\x30\x84\x36", units(u"\u00A5")},
           {"\x81\x30\x84\x39", units(u"\u00A8")},
           {"\x90\x30\x81\x30", units(u"\U00010000")},
           {"\xE3\x32\x9A\x35", units(u"\U0010FFFF")}}};
}

}  // namespace

const std::vector<Family>& families() {
  static const std::vector<Family> all = [] {
    const CodeMap ascii = {{"A", u'A'}, {"~", u'~'}, {"\x7F", u'\x7F'}};
    const CodeMap invariant = {{"\xC1", u'A'}, {"\x81", u'a'}, {"\x6F", u'?'}, {"\x15", u'\n'}};
    std::vector<Family> list;
    list.push_back(table_family("ASCIISBCS", XCS_KIND_ASCII_SBCS,
                                {{"\x80", u'\u20AC'}, {"\xE9", u'\u00E9'}, {"\xFF", u'\u0401'}}, ascii));
    list.push_back(table_family("ASCIIDBCS", XCS_KIND_ASCII_DBCS,
                                {{"\xA1", u'\uFF61'},
                                 {"\xE9", u'\u00E9'},
                                 {"\x81\x40", u'\u3000'},
                                 {"\x81\xFC", u'\u25EF'},
                                 {"\xFC\x4B", u'\u9ED1'}},
                                ascii));
    list.push_back(table_family("ASCIIMBCS", XCS_KIND_ASCII_MBCS,
                                {{"\x8E\xA1", u'\uFF61'},
                                 {"\xA4\xA2", u'\u3042'},
                                 {"\xA4\xFE", u'\u3043'},
                                 {"\x8F\xB0\xA1", u'\u4E02'},
                                 {"\x8F\xB1\xA2", u'\u00E9'},
                                 {"\x8D\xA2\xA1\xA3", u'\u4E5A'},
                                 {"\x80", u'\u0401'}},
                                ascii));
    list.push_back(table_family(
        "EBCDICSBCS", XCS_KIND_EBCDIC_SBCS,
        {{"\x5A", u'!'}, {"\x51", u'\u00E9'}, {"\x9F", u'\u20AC'}, {"\xFF", u'\u009F'}}, invariant));
    list.push_back(table_family("EBCDICDBCS", XCS_KIND_EBCDIC_DBCS,
                                {{"\x5A", u'!'},
                                 {"\x51", u'\u00E9'},
                                 {"\x41\x41", u'\u4E00'},
                                 {"\x44\x8F", u'\u3041'},
                                 {"\xFE\x60", u'\u00D7'}},
                                invariant));
    list.push_back(gb18030());
    list.push_back({"UTF8",
                    "",
                    {{"A", units(u"A")},
                     {"\x7F", units(u"\x7F")},
                     {"\xC2\x80", units(u"\u0080")},
                     {"\xDF\xBF", units(u"\u07FF")},
                     {"\xE0\xA0\x80", units(u"\u0800")},
                     {"\xEF\xBF\xBF", units(u"\uFFFF")},
                     {"\xF0\x90\x80\x80", units(u"\U00010000")},
                     {"\xF4\x8F\xBF\xBF", units(u"\U0010FFFF")}}});
    return list;
  }();
  return all;
}

template <class Unit>
GuardedBuffer<Unit>::GuardedBuffer(size_t size) : size_(size) {
  const auto page = static_cast<size_t>(sysconf(_SC_PAGESIZE));
  const size_t usable = (size * sizeof(Unit) + page - 1) / page * page;
  map_size_ = usable + page;
  map_ = mmap(nullptr, map_size_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
  EXPECT_NE(map_, MAP_FAILED);
  char* const guard = static_cast<char*>(map_) + usable;
  EXPECT_EQ(mprotect(guard, page, PROT_NONE), 0);
  begin_ = reinterpret_cast<Unit*>(guard) - size;
}

template <class Unit>
GuardedBuffer<Unit>::~GuardedBuffer() {
  munmap(map_, map_size_);
}

template class GuardedBuffer<char>;
template class GuardedBuffer<uint16_t>;
