#include "tests/charset/table_images.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <fstream>

namespace mar {

namespace {

// The layout of the file in numbers of its own, so that a slip in the product's constants shows.
constexpr size_t kHeaderSize = 1760, kName = 16, kGbStructure = 38, kKind = 48, kSource = 58,
                 kSubstitute = 60;
constexpr size_t kPages = 224, kByteEntries = 736, kClasses = 1248;

uint8_t byte_at(const Bytes& bytes, size_t index) { return static_cast<uint8_t>(bytes[index]); }
uint16_t last_two(const Bytes& bytes) {
  return static_cast<uint16_t>(byte_at(bytes, bytes.size() - 2) << 8 | byte_at(bytes, bytes.size() - 1));
}

}  // namespace

TableImage::TableImage(uint16_t kind, const char* name, const CodeMap& codes) : bytes(kHeaderSize, '\0') {
  const bool ebcdic = kind == XCS_KIND_EBCDIC_SBCS || kind == XCS_KIND_EBCDIC_DBCS;
  set(0, static_cast<uint32_t>(kHeaderSize));
  bytes.replace(8, 3, "ucv");
  bytes.replace(kName, std::strlen(name), name);
  set(kKind, kind);
  set(kSource, uint16_t{0x1A});
  set(kSubstitute, ebcdic ? '\x3F' : '\x1A');
  if (kind == XCS_KIND_ASCII_SBCS || kind == XCS_KIND_EBCDIC_SBCS) {
    add_pages(1, codes);
    bytes.replace(kByteEntries, 512, 512, '\xFF');
    for (const auto& [code, unit] : codes) set(kByteEntries + 2u * byte_at(code, 0), unit);
  } else if (kind == XCS_KIND_ASCII_DBCS || kind == XCS_KIND_EBCDIC_DBCS) {
    add_pages(2, codes);
    add_rows(codes);
  } else if (kind == XCS_KIND_ASCII_MBCS) {
    add_pages(4, codes);
    for (size_t lead = 0; lead < 256; ++lead) {
      const uint16_t node = add_trie(codes, Bytes(1, static_cast<char>(lead)));
      set(kByteEntries + 2 * lead, node);
      if (node == 0xFFFF) set(kClasses + lead, '\xFF');
    }
  }
}

uint16_t TableImage::append(const Bytes& block) {
  const size_t position = (bytes.size() - kHeaderSize) / 4;
  bytes += block;
  bytes.resize((bytes.size() + 3) / 4 * 4);
  return static_cast<uint16_t>(position);
}

Bytes TableImage::page_entry(size_t entry_size, const Bytes& code) {
  if (entry_size == 1) return code;
  if (entry_size == 2) return raw({code.size() == 1 ? uint16_t{byte_at(code, 0)} : last_two(code)});
  if (code.size() == 1) return raw<uint16_t>({0xFFFF, byte_at(code, 0)});
  const auto length = static_cast<uint16_t>(code.size() - 2);
  Bytes record = code.substr(0, length);
  record.resize(14);
  bytes.resize(kHeaderSize + (bytes.size() - kHeaderSize + 15) / 16 * 16);
  return raw({static_cast<uint16_t>(append(record + raw({length})) / 4), last_two(code)});
}

// From-Unicode pages; one empty page serves all high bytes without characters.
void TableImage::add_pages(size_t entry_size, const CodeMap& codes) {
  const Bytes unmapped(256 * entry_size, entry_size == 1 ? bytes[kSubstitute] : '\xFF');
  std::map<size_t, Bytes> pages;
  for (const auto& [code, unit] : codes) {
    Bytes& page = pages.try_emplace(unit >> 8, unmapped).first->second;
    page.replace((unit & 0xFF) * entry_size, entry_size, page_entry(entry_size, code));
  }
  const uint16_t empty = append(unmapped);
  for (size_t high = 0; high < 256; ++high) set(kPages + 2 * high, empty);
  for (const auto& [high, page] : pages) set(kPages + 2 * high, append(page));
}

void TableImage::add_rows(const CodeMap& codes) {
  const Bytes unmapped(512, '\xFF');
  std::map<uint8_t, Bytes> rows = {{0, unmapped}};  // row 0 is that of single bytes
  for (const auto& [code, unit] : codes) {
    const bool single = code.size() == 1;
    set(kClasses + byte_at(code, 0), single ? '\1' : '\2');
    Bytes& row = rows.try_emplace(single ? uint8_t{0} : byte_at(code, 0), unmapped).first->second;
    row.replace(2u * byte_at(code, code.size() - 1), 2, raw({unit}));
  }
  const uint16_t empty = append(unmapped);
  for (size_t byte = 0; byte < 256; ++byte) set(kByteEntries + 2 * byte, empty);
  for (const auto& [byte, row] : rows) set(kByteEntries + 2u * byte, append(row));
}

// The value of a whole sequence, or the node of a prefix, 0xFFFF without sequences.
uint16_t TableImage::add_trie(const CodeMap& codes, const Bytes& prefix) {
  std::map<uint8_t, uint16_t> children;
  for (auto code = codes.lower_bound(prefix); code != codes.end() && code->first.starts_with(prefix);
       ++code) {
    set(kClasses + byte_at(prefix, 0), static_cast<uint8_t>(code->first.size()));
    if (code->first == prefix) return code->second;
    const Bytes longer = code->first.substr(0, prefix.size() + 1);
    if (!children.contains(byte_at(longer, prefix.size())))
      children[byte_at(longer, prefix.size())] = add_trie(codes, longer);
  }
  if (children.empty()) return 0xFFFF;
  const uint16_t base = children.begin()->first;
  const auto count = static_cast<uint16_t>(children.rbegin()->first - base + 1);
  Bytes node = raw({count, base}) + Bytes(2u * count, '\xFF');
  for (const auto& [byte, child] : children) node.replace(4 + 2u * (byte - base), 2, raw({child}));
  return append(node);
}

TableImage::TableImage(std::vector<GbRange> from, const std::vector<uint16_t>& from_values,
                       std::vector<GbRange> to, const std::vector<uint16_t>& to_values)
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
  for (const GbRange& range : ranges) bytes += raw({range});
  set(header + 4, position());
  for (uint32_t block = 0, first = 0; block < 128; ++block) {
    while (ranges[first].end < block * 512) ++first;
    bytes += raw({static_cast<uint16_t>(first)});
  }
  set(header + 8, position());
  for (const uint16_t value : values) bytes += raw({value});
}

ScratchDirectory::ScratchDirectory() : path(mkdtemp(std::string("/tmp/charset-test-XXXXXX").data())) {
  std::filesystem::current_path(path);
}

ScratchDirectory::~ScratchDirectory() {
  std::filesystem::current_path("/");
  std::filesystem::remove_all(path);
}

void ScratchDirectory::write(const std::string& name, const Bytes& content) const {
  const std::filesystem::path file = std::filesystem::path(path) / name;
  std::filesystem::create_directories(file.parent_path());
  std::ofstream(file, std::ios::binary) << content;
}

Codeset load_image(const Bytes& image) {
  const ScratchDirectory directory;
  directory.write("table", image);
  return Codeset(xcs_cs_new((directory.path + "/table").c_str()));
}

namespace {

Family table_family(const char* name, uint16_t kind, const CodeMap& codes, const CodeMap& built_in) {
  Family family{name, TableImage(kind, name, codes).bytes, {}};
  for (const auto* map : {&codes, &built_in}) {
    for (const auto& [bytes, unit] : *map) family.characters.push_back({bytes, Units(1, unit)});
  }
  return family;
}

std::vector<Family> make_families() {
  const CodeMap ascii = {{"A", 'A'}, {"~", '~'}, {"\x7F", 0x7F}};
  const CodeMap invariant = {{"\xC1", 'A'}, {"\x81", 'a'}, {"\x6F", '?'}, {"\x15", '\n'}};
  const CodeMap sbcs = {{"\x80", 0x20AC}, {"\xE9", 0xE9}, {"\xFF", 0x401}};
  const CodeMap dbcs = {{"\xA1", 0xFF61},     {"\xE9", 0xE9},       {"\x81\x40", 0x3000},
                        {"\x81\xFC", 0x25EF}, {"\xFC\x4B", 0x9ED1}, {{'\xFC', '\0'}, 0x3001}};
  const CodeMap mbcs = {
      {"\x80", 0x401},          {"\x8E\xA1", 0xFF61},   {"\xA4\xA2", 0x3042},        {"\xA4\xFE", 0x3043},
      {"\x8F\xB0\xA1", 0x4E02}, {"\x8F\xB1\xA2", 0xE9}, {"\x8D\xA2\xA1\xA3", 0x4E5A}};
  const CodeMap ebcdic = {{"\x5A", '!'}, {"\x51", 0xE9}, {"\x9F", 0x20AC}, {"\xFF", 0x9F}};
  const CodeMap mixed = {
      {"\x5A", '!'}, {"\x51", 0xE9}, {"\x41\x41", 0x4E00}, {"\x44\x8F", 0x3041}, {"\xFE\x60", 0xD7}};
  const TableImage gb18030({{0x80, 0x80, 0, 0x80},
                            {0xA5, 0xA8, 2, 24103},
                            {0x900, 0xDFF, 2, 30000},
                            {0x4E02, 0x4E05, 1, 0},
                            {0xE000, 0xEFFF, 2, 61000}},
                           {1, 0xFFFF, 2, 24066},
                           {{1, 2, 1, 0},
                            {24066, 24066, 2, 0x4E05},
                            {24103, 24106, 2, 0xA5},
                            {30000, 31279, 2, 0x900},
                            {61000, 65095, 2, 0xE000}},
                           {0x4E02, 0x4E04});
  return {table_family("ASCIISBCS", XCS_KIND_ASCII_SBCS, sbcs, ascii),
          table_family("ASCIIDBCS", XCS_KIND_ASCII_DBCS, dbcs, ascii),
          table_family("ASCIIMBCS", XCS_KIND_ASCII_MBCS, mbcs, ascii),
          table_family("EBCDICSBCS", XCS_KIND_EBCDIC_SBCS, ebcdic, invariant),
          table_family("EBCDICDBCS", XCS_KIND_EBCDIC_DBCS, mixed, invariant),
          {"GB18030",
           gb18030.bytes,
           {{"A", {'A'}},
            {"\x81\x40", {0x4E02}},
            {"\x81\x41", {0x4E04}},
            {"\xFE\xFE", {0x4E05}},
            {"\x81\x30\x84\x36", {0xA5}},
            {"\x81\x30\x84\x39", {0xA8}},
            {"\x90\x30\x81\x30", {0xD800, 0xDC00}},
            {"\xE3\x32\x9A\x35", {0xDBFF, 0xDFFF}}}},
          {"UTF8",
           "",
           {{"A", {'A'}},
            {"\x7F", {0x7F}},
            {"\xC2\x80", {0x80}},
            {"\xDF\xBF", {0x7FF}},
            {"\xE0\xA0\x80", {0x800}},
            {"\xEF\xBF\xBF", {0xFFFF}},
            {"\xF0\x90\x80\x80", {0xD800, 0xDC00}},
            {"\xF4\x8F\xBF\xBF", {0xDBFF, 0xDFFF}}}}};
}

}  // namespace

const std::vector<Family>& families() {
  static const std::vector<Family> all = make_families();
  return all;
}

const Family& family(std::string_view name) {
  return *std::find_if(families().begin(), families().end(),
                       [&](const Family& each) { return each.name == name; });
}

}  // namespace mar
