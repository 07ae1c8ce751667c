// verify: every code and every character of a source, against what the product's converters make of the table
// in both directions and both forms of Unicode. Each difference must follow from a rule.
#include <cstdio>
#include <filesystem>
#include <map>
#include <tuple>

#include "charset/table_layout.h"
#include "tools/ucvtab/commands.h"
#include "tools/ucvtab/compile.h"
#include "tools/ucvtab/gb18030.h"
#include "tools/ucvtab/product_source.h"
#include "tools/ucvtab/progress.h"

namespace mar::ucvtab {
namespace {

// Codeset, "decode" or "encode", rule.
using Differences = std::map<std::tuple<std::string, std::string, std::string>, unsigned>;

// No rule explains these two. Both forms of Unicode must lead to the same result, and a codeset that claims
// all of Unicode must have it, whatever its source says.
constexpr const char* kDisagree = "ucs2-utf8-disagree";
constexpr const char* kHole = "hole";

class Verifier {
 public:
  Verifier(const CatalogueRow& row, const std::string& table, Source& source, Differences& differences,
           bool list)
      : row_(row),
        kind_(row.kind),
        source_(source),
        product_(table),
        differences_(differences),
        list_(list) {}

  void run() {
    for_each_code(source_, kind_, [this](const Code& code, const Decoded& decoded) {
      if (!is_shift(code.length == 1 ? code.bytes[0] : 0u)) verify_code(code, decoded);
    });
    for (char32_t point = 0; point <= 0x10FFFF; ++point) {
      if (!is_surrogate(point) && !is_shift(point)) verify_point(point);
    }
  }

 private:
  // In mixed EBCDIC the shifts are no characters, and what text with them becomes does
  // not depend on the table.
  [[nodiscard]] bool is_shift(uint32_t value) const {
    return kind_ == kEbcdicMixed && (value == kShiftOut || value == kShiftIn);
  }

  void count(const char* direction, const char* rule, const std::string& what) {
    ++differences_[{row_.name, direction, rule}];
    if (list_) std::printf("%s\t%s\t%s\t%s\n", row_.name.c_str(), direction, rule, what.c_str());
  }

  void verify_code(const Code& code, const Decoded& decoded) {
    const Decoded got = product_.decode(code);
    if (!product_.utf8_agrees()) count("decode", kDisagree, to_hex(code));
    if (got == decoded) {
      const bool is_hole = kind_ == kGb18030 && got.outcome != Decoded::kMapped && gb_is_bmp_code(code);
      if (is_hole) count("decode", kHole, to_hex(code));
      return;
    }
    const Rule rule = decode_rule(kind_, row_.policy, code, decoded);
    if (rule == Rule::kNone && shape_alone_decides(code, decoded, got)) {
      return count("decode", "shape", to_hex(code));
    }
    Decoded expected;
    if (rule == Rule::kNone) expected = decoded;
    if (rule == Rule::kFixed) expected = {Decoded::kMapped, {*fixed_decode(kind_, code.bytes[0])}};
    count("decode", rule_name(got == expected ? rule : Rule::kNone), to_hex(code));
  }

  // The converters take the length of a code from its lead byte (in GB18030, from its first two bytes) and
  // look no closer at a trail byte than to find it in the table. A code that the source refuses early is
  // refused whole, or in GB18030 read whole.
  [[nodiscard]] bool shape_alone_decides(const Code& code, const Decoded& decoded, const Decoded& got) const {
    if (decoded.outcome != Decoded::kInvalid || code.length < 2) return false;
    return kind_ == kGb18030 || (kind_ == kMultiByte && got.outcome == Decoded::kIncomplete);
  }

  void verify_point(char32_t point) {
    const Code code = source_.encode(point);
    const Code got = product_.encode(point);
    if (!product_.utf8_agrees()) count("encode", kDisagree, to_text(point));
    // U+FFFF can only be written: decoding, it is the tables' mark for "unmapped".
    const bool is_hole =
        kind_ == kGb18030 && point != kUnmapped && product_.decode(got).text != std::u32string(1, point);
    if (is_hole) count("encode", kHole, to_text(point));
    if (got == code) return;
    Rule rule = encode_rule(kind_, row_.policy, point, code, decoded_back(code));
    Code expected;
    if (rule == Rule::kNone) expected = code;
    if (rule == Rule::kFixed) expected = single(*fixed_encode(kind_, point));
    if (rule == Rule::kSupplementary && kind_ == kGb18030) expected = gb_supplementary_code(point);
    if (row_.policy.round_trip && decoded_back(got) == point) expected = got, rule = Rule::kPolicy;
    count("encode", rule_name(got == expected ? rule : Rule::kNone), to_text(point));
  }

  std::optional<char16_t> decoded_back(const Code& code) {
    if (code.empty() || code.length > max_code_length(kind_)) return std::nullopt;
    const Decoded decoded = product_.decode(code);
    if (decoded.text.size() != 1 || decoded.text[0] > 0xFFFF) return std::nullopt;
    return static_cast<char16_t>(decoded.text[0]);
  }

  const CatalogueRow& row_;
  Kind kind_;
  Source& source_;
  ProductSource product_;
  Differences& differences_;
  bool list_;
};

}  // namespace

ExitCode run_verify(const VerifyOptions& options) {
  std::vector<CatalogueRow> rows = read_catalogue(options.catalogue);
  if (!options.names.empty()) {
    std::vector<CatalogueRow> chosen;
    for (const std::string& name : options.names) chosen.push_back(find_row(rows, name));
    rows = std::move(chosen);
  }
  const std::string beside = std::filesystem::path(options.catalogue).parent_path().string();
  Differences differences;
  Progress progress(rows.size(), options.list);
  for (const CatalogueRow& row : rows) {
    progress.step(row.name);
    const std::unique_ptr<Source> source = open_source(row, beside);
    Verifier(row, options.directory + "/" + row.name, *source, differences, options.list).run();
  }
  ExitCode result = kDone;
  for (const auto& [key, number] : differences) {
    const auto& [name, direction, rule] = key;
    std::printf("%s\t%s\t%s\t%u\n", name.c_str(), direction.c_str(), rule.c_str(), number);
    if (rule == rule_name(Rule::kNone) || rule == kDisagree || rule == kHole) result = kDiffers;
  }
  return result;
}

}  // namespace mar::ucvtab
