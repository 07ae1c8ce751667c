#include "tools/ucvtab/table_check.h"

#include <algorithm>

#include "charset/table.h"
#include "tools/ucvtab/gb18030.h"
#include "tools/ucvtab/table_writer.h"

namespace ucvtab {
namespace {

using namespace table_layout;

class Checker {
 public:
  explicit Checker(const TableImage& image) : image_(image), codeset_(read_table(image)) {}

  std::vector<Fault> run() {
    check_header();
    if (codeset_.kind == kGb18030)
      check_gb18030();
    else
      check_pages_and_rows();
    if (codeset_.kind == kMultiByte) check_multi_byte();
    check_fixed_part();
    check_encodings();
    if (max_code_length(codeset_.kind) == 1) check_substitute();
    return std::move(faults_);
  }

 private:
  void require(bool holds, const std::string& fault, const Code& code = {}) {
    if (!holds) faults_.push_back({fault, code});
  }

  void check_header() {
    const std::string fault = name_fault(codeset_.name, codeset_.kind);
    require(fault.empty(), fault);
    require(image_.data() >= kMinSize && image_.data() % 4 == 0, "the data region starts at a bad offset");
    require(image_.u16(kHdr62) == kLayoutRevision, "unknown layout revision");
    const auto stamp = image_.bytes().begin() + kHdr64;
    const Bytes expected = stamp_of(image_.bytes()), none(kStampSize);
    require(
        std::equal(none.begin(), none.end(), stamp) || std::equal(expected.begin(), expected.end(), stamp),
        "the content does not match its stamp");
  }

  void check_pages_and_rows() {
    const bool single_byte = max_code_length(codeset_.kind) == 1;
    const unsigned page_size = single_byte ? 256 : codeset_.kind == kMultiByte ? 1024 : 512;
    for (unsigned high = 0; high < 256; ++high) {
      require(image_.holds(image_.page(high), page_size), "page " + to_hex(single(high)) + " lies outside");
    }
    if (codeset_.kind != kDoubleByte && codeset_.kind != kEbcdicMixed) return;
    for (unsigned byte = 0; byte < 256; ++byte) {
      require(image_.holds(image_.row(byte), 512), "row " + to_hex(single(byte)) + " lies outside");
      require(image_.byte_class(byte) <= 2, "byte " + to_hex(single(byte)) + " has a class above 2");
    }
  }

  void check_multi_byte() {
    for (unsigned byte = 0x80; byte < 256; ++byte) {
      const unsigned length = image_.byte_class(byte);
      const std::string name = "byte " + to_hex(single(byte));
      require(length == 255 || (length >= 1 && length <= Code::kMaxLength), name + " has a bad class");
      if (length < 2 || length > Code::kMaxLength) continue;
      require(nodes_lie_inside(image_.byte_entry(byte), length - 1), name + " leads to a bad node");
    }
    for (unsigned unit = 0x80; unit < 0x10000; ++unit) {
      const uint64_t at = image_.page(unit >> 8) + 4ull * (unit & 0xFF);
      if (image_.u16(at) == kUnmapped || image_.u16(at + 2) < 0x100) continue;
      const uint64_t record = image_.data() + 16ull * image_.u16(at);
      require(image_.holds(record, 16) && image_.u16(record + 14) <= Code::kMaxLength - 2,
              "the prefix record of " + to_text(unit) + " is bad");
    }
  }

  // reading_fault has bounded the walk.
  [[nodiscard]] bool nodes_lie_inside(unsigned node, unsigned depth) const {
    const uint64_t at = image_.data() + 4ull * node;
    const unsigned count = image_.u16(at), base = image_.u16(at + 2);
    if (!image_.holds(at, 4) || count + base > 256 || !image_.holds(at + 4, 2ull * count)) return false;
    for (unsigned child = 0; depth > 1 && child < count; ++child) {
      const unsigned next = image_.u16(at + 4 + 2ull * child);
      if (next != kUnmapped && !nodes_lie_inside(next, depth - 1)) return false;
    }
    return true;
  }

  // The converters never look these up, but a table that says otherwise was made for something else.
  void check_fixed_part() {
    if (codeset_.kind == kGb18030) return;
    const bool rows = codeset_.kind == kDoubleByte || codeset_.kind == kEbcdicMixed;
    for (unsigned byte = 0; byte < 256; ++byte) {
      const auto fixed = fixed_decode(codeset_.kind, static_cast<uint8_t>(byte));
      if (!fixed) continue;
      const unsigned held = rows ? image_.u16(image_.row(0) + 2ull * byte) : image_.byte_entry(byte);
      require(held == *fixed, "byte " + to_hex(single(byte)) + " is not " + to_text(*fixed));
    }
  }

  void check_encodings() {
    for (char32_t unit = 0; unit < kUnmapped; ++unit) {  // nothing can decode to U+FFFF
      const Code& code = codeset_.encode[unit];
      if (code.empty()) continue;
      const bool fixed = code.length == 1 && fixed_decode(codeset_.kind, code.bytes[0]);
      // Combining characters are written as codes that are read one by one.
      const bool known = fixed || codeset_.decode.contains(code) || reads_as_singles(code);
      require(known, to_text(unit) + " encodes to " + to_hex(code) + ", which nothing decodes", code);
      const bool shifted = codeset_.kind == kEbcdicMixed && code.length == 2;
      require(code.length + (shifted ? 2u : 0u) <= 2 * utf8_length(unit),
              to_text(unit) + " grows to more than twice its UTF-8 length", code);
    }
  }

  // Only the substitution byte stands for characters without a code. A wrong one takes the encoding of the
  // byte's own character, and gives all others a code.
  void check_substitute() {
    const auto own = codeset_.decode.find(single(*codeset_.sub));
    if (own != codeset_.decode.end() && codeset_.encode[own->second].empty()) {
      const uint64_t at = image_.page(own->second >> 8) + (own->second & 0xFF);
      require(!image_.holds(at, 1) || image_.u8(at) != codeset_.sub,
              to_text(own->second) + " is lost, as its code is the substitution byte");
    }
    unsigned one_way[256] = {};
    for (char32_t unit = 0; unit < kUnmapped; ++unit) {
      const Code& code = codeset_.encode[unit];
      const auto found = codeset_.decode.find(code);
      if (!code.empty() && (found == codeset_.decode.end() || found->second != unit))
        ++one_way[code.bytes[0]];
    }
    for (unsigned byte = 0; byte < 256; ++byte) {
      require(one_way[byte] <= 256, std::to_string(one_way[byte]) +
                                        " characters that are not its own encode to " + to_hex(single(byte)));
    }
  }

  bool reads_as_singles(const Code& code) {
    return code.length > 1 && codeset_.kind != kEbcdicMixed &&
           std::all_of(code.view().begin(), code.view().end(), [&](char c) {
             const auto byte = static_cast<uint8_t>(c);
             return fixed_decode(codeset_.kind, byte) || codeset_.decode.contains(single(byte));
           });
  }

  void check_gb18030() {
    const uint64_t structure = image_.u16(kGbStructure);
    require(image_.holds(structure, kGbArray), "the structure lies outside");
    for (unsigned direction : {kGbFrom, kGbTo}) {
      const std::string name = direction == kGbFrom ? "from-direction" : "to-direction";
      const uint64_t array = structure + kGbArray;
      uint64_t at = array + 2ull * image_.u32(structure + direction + kGbEntries);
      const uint64_t values = array + 2ull * image_.u32(structure + direction + kGbValues);
      unsigned next = 0;
      for (;; at += 8) {
        if (!image_.holds(at, 8)) {
          require(false, name + ": nothing stops a walk");
          break;
        }
        const unsigned start = image_.u16(at), end = image_.u16(at + 2), type = image_.u16(at + 4);
        const uint64_t last = uint64_t{image_.u16(at + 6)} + end - start;
        const std::string range = name + ": the range from " + to_text(start);
        if (start < next || end < start) {
          require(false, range + " is out of order");
          break;
        }
        require(type <= 2, range + " has a bad type");
        require(type != 1 || image_.holds(values + 2 * last, 2), range + " has values outside");
        require(type != 2 || last <= kUnmapped, range + " runs past U+FFFF");
        if (start == 0xFFFF || (direction == kGbFrom && end == 0xFFFF)) break;
        next = end + 1;
      }
    }
  }

  const TableImage& image_;
  Codeset codeset_;
  std::vector<Fault> faults_;
};

}  // namespace

std::vector<Fault> check_table(const TableImage& image) {
  if (std::string fault = reading_fault(image); !fault.empty()) return {{fault, {}}};
  return Checker(image).run();
}

}  // namespace ucvtab
