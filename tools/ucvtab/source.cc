#include "tools/ucvtab/source.h"

#include "tools/ucvtab/gb18030.h"

namespace ucvtab {
namespace {

class CodesetSource : public Source {
 public:
  explicit CodesetSource(Codeset codeset) : codeset_(std::move(codeset)) {}

  Decoded decode(const Code& code) override {
    if (code.length == 1) {
      if (auto fixed = fixed_decode(codeset_.kind, code.bytes[0])) return mapped(*fixed);
    }
    if (auto found = codeset_.decode.find(code); found != codeset_.decode.end()) return mapped(found->second);
    if (codeset_.kind == kGb18030) return decode_gb18030(code);
    return {starts_longer(code) ? Decoded::kIncomplete : Decoded::kInvalid, {}};
  }

  Code encode(char32_t point) override {
    if (auto fixed = fixed_encode(codeset_.kind, point)) return single(*fixed);
    if (point < 0x10000) return codeset_.encode[point];
    return codeset_.kind == kGb18030 ? gb_supplementary_code(point) : Code{};
  }

 private:
  static Decoded mapped(char32_t point) { return {Decoded::kMapped, {point}}; }

  [[nodiscard]] bool starts_longer(const Code& code) const {
    if (codeset_.kind == kEbcdicMixed) return false;
    if (code.length == 1 && codeset_.leads[code.bytes[0]]) return true;
    // A longer code sorts after all shorter ones, so look in each greater length.
    for (unsigned length = code.length + 1u; length <= max_code_length(codeset_.kind); ++length) {
      Code first = code;
      first.length = static_cast<uint8_t>(length);
      auto found = codeset_.decode.lower_bound(first);
      if (found != codeset_.decode.end() && found->first.view().starts_with(code.view())) return true;
    }
    return false;
  }

  // The shape alone tells where a code goes on, and supplementary characters follow from their code.
  static Decoded decode_gb18030(const Code& code) {
    const uint8_t* b = code.bytes.data();
    auto digit = [](uint8_t byte) { return byte >= 0x30 && byte <= 0x39; };
    auto lead = [](uint8_t byte) { return byte >= 0x81 && byte <= 0xFE; };
    if (!lead(b[0])) return {};
    if (code.length == 1) return {Decoded::kIncomplete, {}};
    if (!digit(b[1])) return {};
    if (code.length == 2 || (code.length == 3 && lead(b[2]))) return {Decoded::kIncomplete, {}};
    if (code.length != 4 || !lead(b[2]) || !digit(b[3]) || b[0] < 0x90) return {};
    const char32_t linear =
        ((b[0] - 0x90u) * 10 + (b[1] - 0x30u)) * 1260 + (b[2] - 0x81u) * 10 + (b[3] - 0x30u);
    return linear <= 0xFFFFF ? mapped(0x10000 + linear) : Decoded{};
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
  if (kind != kEbcdicMixed) {
    for (unsigned byte = 0; byte < 256; ++byte) extend(source, kind, single(byte), visit);
    return;
  }
  for (unsigned byte = 0; byte < 256; ++byte) visit(single(byte), source.decode(single(byte)));
  for (unsigned lead = 0x40; lead <= 0xFE; ++lead) {
    for (unsigned trail = 0; trail < 256; ++trail) {
      const Code code = pair(lead, trail);
      visit(code, source.decode(code));
    }
  }
}

void for_each_table_code(Source& source, Kind kind, const CodeVisitor& visit) {
  if (kind != kGb18030) return for_each_code(source, kind, visit);
  for (uint32_t index = 1; index <= kMaxGbIndex; ++index) {
    const Code code = gb_code(index);
    visit(code, source.decode(code));
  }
}

}  // namespace ucvtab
