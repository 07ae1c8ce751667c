#include "tools/ucvtab/compile.h"

#include "charset/table_layout.h"
#include "tools/ucvtab/failure.h"
#include "tools/ucvtab/text_format.h"

namespace mar::ucvtab {
namespace {

constexpr char32_t kSubControl = 0x1A;

bool is_c1(char32_t point) { return point >= 0x80 && point < 0xA0; }

bool dropped_by_policy(const Policy& policy, char32_t point) {
  const bool private_use = point >= 0xE000 && point <= 0xF8FF;
  return (policy.no_private_use && private_use) || (policy.no_c1 && is_c1(point));
}

[[noreturn]] void refuse_source(const CatalogueRow& row, const std::string& why) {
  throw Failure(kDoesNotFit, row.where + ": " + row.source + " " + why);
}

// Counts printable ASCII, or the printable invariant set, with another meaning in the source. Controls do not
// count: sources disagree about them, and no text depends on them.
void check_fixed_part(Source& source, const CatalogueRow& row) {
  const bool ebcdic = is_ebcdic(row.kind);
  const unsigned allowed = ebcdic ? row.policy.invariant_conflicts : row.policy.ascii_conflicts;
  unsigned conflicts = 0;
  std::string list;
  for (unsigned byte = 0; byte < 256; ++byte) {
    const auto fixed = fixed_decode(row.kind, byte);
    if (!fixed || *fixed < 0x20 || *fixed > 0x7E) continue;
    const Decoded decoded = source.decode(single(byte));
    if (decoded.outcome != Decoded::kMapped || decoded.text == std::u32string(1, *fixed)) continue;
    ++conflicts;
    list += " " + to_hex(single(byte));
  }
  if (conflicts <= allowed) return;
  refuse_source(row, "gives another meaning to " + std::to_string(conflicts) +
                         (ebcdic ? " invariant bytes, " : " ASCII bytes, ") + std::to_string(allowed) +
                         " allowed:" + list);
}

// `start` is what the source calls incomplete. A kind whose codes are shorter would lose them all, and the
// converters never look up an ASCII or invariant byte.
void check_start(const CatalogueRow& row, const Code& start) {
  const std::string which = "has codes that start with " + to_hex(start);
  const std::string kind = " kind " + std::to_string(row.kind);
  if (start.length == max_code_length(row.kind)) refuse_source(row, which + ", too long for" + kind);
  if (start.length == 1 && fixed_decode(row.kind, start.bytes[0])) {
    refuse_source(row, which + ", a character of its own in" + kind);
  }
}

// Characters that `round-trip` sends to the first code that decodes back.
void prefer_round_trips(Codeset& codeset) {
  for (const auto& [code, unit] : codeset.decode) {
    Code& chosen = codeset.encode[unit];
    if (!chosen.empty() && codeset.character(chosen) != unit) chosen = code;
  }
}

Codeset compile_source(Source& source, const CatalogueRow& row) {
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
    if (code.length <= max_code_length(row.kind)) continue;
    refuse_source(row, "encodes " + to_text(point) + " as " + to_hex(code) + ", too long for kind " +
                           std::to_string(row.kind));
  }
  if (row.policy.round_trip) prefer_round_trips(codeset);
  for (char32_t point = 0; point < 0x10000; ++point) {
    Code& code = codeset.encode[point];
    if (code.empty()) continue;
    if (encode_rule(row.kind, row.policy, point, code, codeset.character(code)) != Rule::kNone) code = {};
  }
  return codeset;
}

std::unique_ptr<Source> open_uncorrected(const CatalogueRow& row, const std::string& directory) {
  const std::string::size_type colon = row.source.find(':');
  const std::string type = row.source.substr(0, colon);
  const std::string name = colon == std::string::npos ? "" : row.source.substr(colon + 1);
  if (type == "text") return open_codeset(read_text_row(row, directory));
  if (type != "iconv" && type != "icu") {
    throw Failure(kBadInput,
                  row.where + ": a source is iconv:NAME, icu:NAME or text:FILE, not " + row.source);
  }
  // No name means the locale's charset to both libraries. A suffix after "//" changes what iconv answers.
  if (name.empty() || name.find("//") != std::string::npos) {
    throw Failure(kBadInput, row.where + ": not a plain name of a charset: " + row.source);
  }
  try {
    return type == "icu" ? open_icu(name, row.kind) : open_iconv(name, row.kind);
  } catch (const Failure& failure) {
    throw Failure(failure.code, row.where + ": " + failure.what());
  }
}

}  // namespace

const char* rule_name(Rule rule) {
  constexpr const char* kNames[] = {"unexplained",   "fixed",    "sequence", "supplementary",
                                    "unmapped-mark", "too-long", "one-way",  "policy"};
  return kNames[static_cast<size_t>(rule)];
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

std::unique_ptr<Source> open_source(const CatalogueRow& row, const std::string& directory) {
  std::unique_ptr<Source> source = open_uncorrected(row, directory);
  return row.corrections.empty() ? std::move(source) : open_corrected(std::move(source), row.corrections);
}

Codeset compile(const CatalogueRow& row, const std::string& directory) {
  if (row.source.starts_with("text:")) return read_text_row(row, directory);
  const std::unique_ptr<Source> source = open_source(row, directory);
  Codeset codeset = compile_source(*source, row);
  codeset.note = row.source + (row.policy_text.empty() ? "" : " ") + row.policy_text;
  if (!row.corrections.empty()) codeset.note += " corrected";
  return codeset;
}

}  // namespace mar::ucvtab
