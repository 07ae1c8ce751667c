#include "tools/ucvtab/source.h"

#include "charset/table_layout.h"
#include "tools/ucvtab/gb18030.h"

namespace mar::ucvtab {
namespace {

class CodesetSource : public Source {
 public:
  explicit CodesetSource(Codeset codeset) : codeset_(std::move(codeset)) {}

  Decoded decode(const Code& code) override {
    if (const auto unit = codeset_.character(code)) return {Decoded::kMapped, {*unit}};
    if (codeset_.kind == kGb18030) return decode_gb18030(code);
    return {starts_longer(code) ? Decoded::kIncomplete : Decoded::kInvalid, {}};
  }

  Code encode(char32_t point) override {
    if (point < 0x10000) return codeset_.code(static_cast<char16_t>(point));
    return codeset_.kind == kGb18030 ? gb_supplementary_code(point) : Code{};
  }

 private:
  [[nodiscard]] bool starts_longer(const Code& code) const {
    if (codeset_.kind == kEbcdicMixed) return false;
    if (code.length == 1 && codeset_.leads[code.bytes[0]]) return true;
    // Longer codes sort after all shorter ones, so each greater length is looked at.
    for (Code first = code; first.length < max_code_length(codeset_.kind);) {
      ++first.length;
      const auto found = codeset_.decode.lower_bound(first);
      if (found != codeset_.decode.end() && found->first.view().starts_with(code.view())) return true;
    }
    return false;
  }

  // The bytes alone tell where a code continues. Supplementary characters follow from their codes.
  static Decoded decode_gb18030(const Code& code) {
    const auto& b = code.bytes;
    if (code.length == 4) {
      const char32_t point = gb_supplementary_point(code);
      return point == 0 ? Decoded{} : Decoded{Decoded::kMapped, {point}};
    }
    const auto is_lead = [](uint8_t byte) { return byte >= 0x81 && byte <= 0xFE; };
    const bool second_fits = code.length < 2 || (b[1] >= 0x30 && b[1] <= 0x39);
    const bool third_fits = code.length < 3 || is_lead(b[2]);
    return {is_lead(b[0]) && second_fits && third_fits ? Decoded::kIncomplete : Decoded::kInvalid, {}};
  }

  Codeset codeset_;
};

class CorrectedSource : public Source {
 public:
  CorrectedSource(std::unique_ptr<Source> source, std::map<Code, char32_t> corrections)
      : source_(std::move(source)), characters_(std::move(corrections)) {
    for (const auto& [code, point] : characters_) codes_[point] = code;
  }

  Decoded decode(const Code& code) override {
    const auto found = characters_.find(code);
    if (found == characters_.end()) return source_->decode(code);
    return {Decoded::kMapped, {found->second}};
  }

  Code encode(char32_t point) override {
    const auto found = codes_.find(point);
    return found == codes_.end() ? source_->encode(point) : found->second;
  }

 private:
  std::unique_ptr<Source> source_;
  std::map<Code, char32_t> characters_;
  std::map<char32_t, Code> codes_;
};

void extend(Source& source, Kind kind, const Code& code, const CodeVisitor& visit) {
  const Decoded decoded = source.decode(code);
  visit(code, decoded);
  if (decoded.outcome != Decoded::kIncomplete || code.length == max_code_length(kind)) return;
  // GB18030 has 40 million sequences whose fourth byte is no digit. One on each side of the digits is enough.
  const bool digits_only = kind == kGb18030 && code.length == 3;
  const unsigned first = digits_only ? '0' - 1 : 0, last = digits_only ? '9' + 1 : 255;
  for (unsigned next = first; next <= last; ++next) extend(source, kind, code.with(next), visit);
}

}  // namespace

std::unique_ptr<Source> open_codeset(Codeset codeset) {
  return std::make_unique<CodesetSource>(std::move(codeset));
}

std::unique_ptr<Source> open_corrected(std::unique_ptr<Source> source, std::map<Code, char32_t> corrections) {
  return std::make_unique<CorrectedSource>(std::move(source), std::move(corrections));
}

void for_each_code(Source& source, Kind kind, const CodeVisitor& visit) {
  const bool mixed = kind == kEbcdicMixed;
  const auto visit_one = [&](const Code& code) { visit(code, source.decode(code)); };
  for (unsigned byte = 0; byte < 256; ++byte) {
    mixed ? visit_one(single(byte)) : extend(source, kind, single(byte), visit);
  }
  for (unsigned lead = 0; mixed && lead < 256; ++lead) {
    for (unsigned trail = 0; table_layout::is_mixed_lead(static_cast<uint8_t>(lead)) && trail < 256; ++trail)
      visit_one(pair(lead, trail));
  }
}

void for_each_table_code(Source& source, Kind kind, const CodeVisitor& visit) {
  if (kind != kGb18030) return for_each_code(source, kind, visit);
  for (uint32_t index = 1; index <= kMaxGbIndex; ++index) {
    const Code code = gb_code(index);
    visit(code, source.decode(code));
  }
}

}  // namespace mar::ucvtab
