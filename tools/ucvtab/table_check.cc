#include <algorithm>

#include "tools/ucvtab/table_image.h"

namespace mar::ucvtab {
namespace {

using namespace table_layout;

class Checker {
 public:
  explicit Checker(const TableImage& image)
      : image_(image), view_(image.view()), codeset_(read_table(image)) {}

  std::vector<Fault> run() {
    check_header();
    for (unsigned byte = 0; byte < 256; ++byte) check_byte(byte);
    for (char32_t unit = 0; unit < kUnmapped; ++unit) check_encoding(unit);  // nothing decodes to U+FFFF
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
    const uint32_t data = view_.file().u32(kDataOffset);
    require(data >= kMinSize && data % 4 == 0, "the data region starts at a bad offset");
    require(image_.header16(kHdr62) == kLayoutRevision, "unknown layout revision");
    const auto stamp = image_.file().begin() + kHdr64;
    const Bytes expected = stamp_of(image_.file()), none(kStampSize);
    require(
        std::equal(none.begin(), none.end(), stamp) || std::equal(expected.begin(), expected.end(), stamp),
        "the content does not match its stamp");
  }

  void check_byte(unsigned number) {
    const auto byte = static_cast<uint8_t>(number);
    const std::string name = "byte " + to_hex(single(byte));
    const unsigned byte_class = view_.byte_class(byte);
    const Kind kind = codeset_.kind;
    if (kind == kDoubleByte) require(byte_class <= kClassLead, name + " has a class above 2");
    if (kind == kMultiByte && byte >= 0x80) {
      const bool is_length = byte_class >= 1 && byte_class <= Code::kMaxLength;
      require(is_length || byte_class == kClassInvalid, name + " has a bad class");
    }
    // The converters never look these up, but a table that says otherwise was made for something else.
    const auto fixed = fixed_decode(kind, byte);
    if (!fixed || kind == kGb18030) return;
    const uint16_t held =
        max_code_length(kind) == 2 ? view_.u16(view_.row(0) + 2ull * byte) : view_.byte_entry(byte);
    require(held == *fixed, name + " is not " + to_text(*fixed));
  }

  void check_encoding(char32_t unit) {
    const Code& code = codeset_.encode[unit];
    if (code.empty()) return;
    // Combining characters are written as codes that are read one by one.
    require(codeset_.character(code) || reads_as_singles(code),
            to_text(unit) + " encodes to " + to_hex(code) + ", which nothing decodes", code);
    const bool shifted = codeset_.kind == kEbcdicMixed && code.length == 2;
    require(code.length + (shifted ? 2u : 0u) <= 2 * utf8_length(unit),
            to_text(unit) + " grows to more than twice its UTF-8 length", code);
  }

  bool reads_as_singles(const Code& code) {
    const auto is_single = [&](char c) {
      return codeset_.character(single(static_cast<uint8_t>(c))).has_value();
    };
    return codeset_.kind != kEbcdicMixed && std::all_of(code.view().begin(), code.view().end(), is_single);
  }

  // Only the substitution byte stands for characters without a code. A wrong one hides the encoding of its
  // own character and gives every other character a code.
  void check_substitute() {
    const auto own = codeset_.decode.find(single(*codeset_.sub));
    if (own != codeset_.decode.end() && codeset_.encode[own->second].empty()) {
      require(*view_.at(view_.page(own->second) + (own->second & 0xFF)) != codeset_.sub,
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

  const TableImage& image_;
  TableView<true> view_;
  Codeset codeset_;
  std::vector<Fault> faults_;
};

}  // namespace

std::vector<Fault> check_table(const TableImage& image) {
  if (!image.is_sound()) return {{kNotSound, {}}};
  return Checker(image).run();
}

}  // namespace mar::ucvtab
