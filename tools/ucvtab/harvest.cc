#include "tools/ucvtab/harvest.h"

#include "charset/table_layout.h"
#include "tools/ucvtab/failure.h"
#include "tools/ucvtab/text_format.h"

namespace ucvtab {
namespace {

constexpr char32_t kSubControl = 0x1A;

bool is_private_use(char32_t point) { return point >= 0xE000 && point <= 0xF8FF; }
bool is_c1(char32_t point) { return point >= 0x80 && point < 0xA0; }

bool dropped_by_policy(const Policy& policy, char32_t point) {
  return (policy.no_private_use && is_private_use(point)) || (policy.no_c1 && is_c1(point));
}

// Printable ASCII, or the whole invariant set, that the source gives another meaning. Controls do not count:
// sources disagree about them freely and nobody means a letter by them.
void check_fixed_part(Source& source, const CatalogueRow& row) {
  const bool ebcdic = is_ebcdic(row.kind);
  const unsigned allowed = ebcdic ? row.policy.invariant_conflicts : row.policy.ascii_conflicts;
  unsigned conflicts = 0;
  std::string list;
  for (unsigned byte = 0; byte < 256; ++byte) {
    const auto fixed = fixed_decode(row.kind, static_cast<uint8_t>(byte));
    if (!fixed || *fixed < 0x20 || *fixed > 0x7E) continue;
    const Decoded decoded = source.decode(single(byte));
    if (decoded.outcome != Decoded::kMapped || decoded.text == std::u32string(1, *fixed)) continue;
    ++conflicts;
    list += " " + to_hex(single(byte));
  }
  if (conflicts <= allowed) return;
  throw Failure(kDoesNotFit, row.where + ": " + row.source + " defines " + std::to_string(conflicts) +
                                 (ebcdic ? " invariant bytes otherwise, " : " ASCII bytes otherwise, ") +
                                 std::to_string(allowed) + " allowed:" + list);
}

// A source whose codes are longer than the kind's would lose them one and all.
[[noreturn]] void refuse_codes(const CatalogueRow& row, const std::string& which) {
  throw Failure(kDoesNotFit, row.where + ": " + row.source + " " + which + std::to_string(row.kind));
}

// `start` is what the source calls incomplete. The converters never look at an ASCII or invariant byte.
void check_start(const CatalogueRow& row, const Code& start) {
  const std::string which = "has codes that start with " + to_hex(start);
  if (start.length == max_code_length(row.kind)) refuse_codes(row, which + ", too long for kind ");
  if (start.length == 1 && fixed_decode(row.kind, start.bytes[0])) {
    refuse_codes(row, which + ", a character of its own in kind ");
  }
}

std::optional<char16_t> final_decode(const Codeset& codeset, const Code& code) {
  if (code.length == 1) {
    if (auto fixed = fixed_decode(codeset.kind, code.bytes[0])) return fixed;
  }
  auto found = codeset.decode.find(code);
  if (found == codeset.decode.end()) return std::nullopt;
  return found->second;
}

// Characters that `round-trip` sends to the first code that gives them back.
void prefer_round_trips(Codeset& codeset) {
  for (const auto& [code, unit] : codeset.decode) {
    Code& chosen = codeset.encode[unit];
    if (!chosen.empty() && final_decode(codeset, chosen) != unit) chosen = code;
  }
}

}  // namespace

const char* rule_name(Rule rule) {
  switch (rule) {
    case Rule::kNone:
      return "unexplained";
    case Rule::kFixed:
      return "fixed";
    case Rule::kSequence:
      return "sequence";
    case Rule::kSupplementary:
      return "supplementary";
    case Rule::kUnmappedMark:
      return "unmapped-mark";
    case Rule::kTooLong:
      return "too-long";
    case Rule::kOneWay:
      return "one-way";
    case Rule::kPolicy:
      return "policy";
  }
  return "";
}

Rule decode_rule(Kind kind, const Policy& policy, const Code& code, const Decoded& decoded) {
  if (code.length == 1 && fixed_decode(kind, code.bytes[0])) return Rule::kFixed;
  if (decoded.outcome != Decoded::kMapped) return Rule::kNone;
  if (decoded.text.size() != 1) return Rule::kSequence;
  const char32_t point = decoded.text[0];
  if (point > 0xFFFF && (kind != kGb18030 || code.length != 4)) return Rule::kSupplementary;
  if (point == kUnmapped) return Rule::kUnmappedMark;
  if (dropped_by_policy(policy, point) || (policy.no_sub && point == kSubControl)) return Rule::kPolicy;
  return Rule::kNone;
}

Rule encode_rule(Kind kind, const Policy& policy, char32_t point, const Code& code,
                 std::optional<char16_t> back) {
  if (fixed_encode(kind, point)) return Rule::kFixed;
  if (point > 0xFFFF) return kind == kGb18030 && code.length == 4 ? Rule::kNone : Rule::kSupplementary;
  if (point == kUnmapped && kind != kGb18030) return Rule::kUnmappedMark;
  if (dropped_by_policy(policy, point)) return Rule::kPolicy;
  if (code.length > max_code_length(kind)) return Rule::kTooLong;
  if (back == point || policy.one_way == OneWay::kKeep) return Rule::kNone;
  const bool harmful = back && (*back < 0x80 || is_c1(*back));
  return policy.one_way == OneWay::kStrict || harmful ? Rule::kOneWay : Rule::kNone;
}

Codeset harvest(Source& source, const CatalogueRow& row) {
  check_fixed_part(source, row);
  Codeset codeset;
  codeset.name = row.name;
  codeset.where = row.where;
  codeset.kind = row.kind;
  codeset.min_run = row.policy.min_run;
  for_each_table_code(source, row.kind, [&](const Code& code, const Decoded& decoded) {
    if (decoded.outcome == Decoded::kIncomplete) check_start(row, code);
    if (decoded.outcome == Decoded::kIncomplete && code.length == 1) codeset.leads.set(code.bytes[0]);
    if (decoded.outcome != Decoded::kMapped) return;
    if (decode_rule(row.kind, row.policy, code, decoded) != Rule::kNone || decoded.text[0] > 0xFFFF) return;
    codeset.decode[code] = static_cast<char16_t>(decoded.text[0]);
  });
  for (char32_t point = 0; point < 0x10000; ++point) {
    if (is_surrogate(point) || fixed_encode(row.kind, point)) continue;
    const Code code = codeset.encode[point] = source.encode(point);
    if (code.length > max_code_length(row.kind)) {
      refuse_codes(row, "encodes " + to_text(point) + " as " + to_hex(code) + ", too long for kind ");
    }
  }
  if (row.policy.round_trip) prefer_round_trips(codeset);
  for (char32_t point = 0; point < 0x10000; ++point) {
    Code& code = codeset.encode[point];
    if (code.empty()) continue;
    const Rule rule = encode_rule(row.kind, row.policy, point, code, final_decode(codeset, code));
    if (rule != Rule::kNone) code = {};
  }
  return codeset;
}

namespace {

std::unique_ptr<Source> open_uncorrected(const CatalogueRow& row, const std::string& directory) {
  const std::string::size_type colon = row.source.find(':');
  const std::string type = row.source.substr(0, colon);
  const std::string name = colon == std::string::npos ? "" : row.source.substr(colon + 1);
  if (type == "iconv" || type == "icu") {
    // No name means the locale's charset to both libraries, and a suffix behind "//" changes what iconv
    // answers.
    const bool plain = !name.empty() && name.find("//") == std::string::npos;
    if (!plain) throw Failure(kBadInput, row.where + ": not a plain name of a charset: " + row.source);
  }
  try {
    if (type == "iconv") return open_iconv(name, row.kind);
    if (type == "icu") return open_icu(name, row.kind);
  } catch (const Failure& failure) {
    throw Failure(failure.code, row.where + ": " + failure.what());
  }
  if (type == "text") return open_codeset(read_text_row(row, directory));
  throw Failure(kBadInput, row.where + ": a source is iconv:NAME, icu:NAME or text:FILE, not " + row.source);
}

}  // namespace

std::unique_ptr<Source> open_source(const CatalogueRow& row, const std::string& directory) {
  std::unique_ptr<Source> source = open_uncorrected(row, directory);
  return row.corrections.empty() ? std::move(source) : open_corrected(std::move(source), row.corrections);
}

Codeset compile(const CatalogueRow& row, const std::string& directory) {
  if (row.source.starts_with("text:")) return read_text_row(row, directory);
  const std::unique_ptr<Source> source = open_source(row, directory);
  Codeset codeset = harvest(*source, row);
  codeset.note = row.source + (row.policy_text.empty() ? "" : " ") + row.policy_text;
  if (!row.corrections.empty()) codeset.note += " corrected";
  return codeset;
}

}  // namespace ucvtab
