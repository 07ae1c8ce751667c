#include "tools/ucvtab/text_format.h"

#include <sstream>

#include "charset/table_layout.h"
#include "tools/ucvtab/failure.h"
#include "tools/ucvtab/files.h"

namespace mar::ucvtab {
namespace {

class Reader {
 public:
  Reader(std::string name, std::optional<Kind> kind) : has_kind_(kind.has_value()) {
    codeset_.name = std::move(name);
    if (kind) codeset_.kind = *kind;
  }

  Codeset read(const std::string& path) {
    for (const Line& line : read_lines(path)) {
      where_ = line.where;
      if (!line.text.empty()) read_line(line.text);
    }
    // A mapping's own line, where a byte has one, says more than the directive's.
    for (const auto& [code, where] : directives_) codeset_.lines.emplace(code, where);
    where_ = lead_where_;
    const bool has_leads = codeset_.kind == kDoubleByte || codeset_.kind == kMultiByte;
    require(where_.empty() || has_leads, "lead is for kinds 2 and 3");
    where_ = min_run_where_;
    require(where_.empty() || codeset_.kind == kGb18030, "min-run is for kind 10");
    codeset_.where = where_ = path;
    require(!codeset_.name.empty(), "no codeset line");
    require(has_kind_, "no kind line");
    const std::string fault = name_fault(codeset_.name, codeset_.kind);
    require(fault.empty(), fault);
    return std::move(codeset_);
  }

 private:
  void require(bool holds, const std::string& message) const {
    if (!holds) throw Failure(kBadInput, where_ + ": " + message);
  }

  [[nodiscard]] unsigned number(const std::string& digits) const {
    const auto value = number_from_text(digits);
    require(value.has_value(), "not a number: " + digits);
    return *value;
  }

  // A byte that a directive names; keeps its line.
  uint8_t byte(const std::string& digits) {
    const auto code = code_from_hex(digits);
    require(code && code->length == 1, "not a byte: " + digits);
    directives_[*code] = where_;
    return code->bytes[0];
  }

  [[nodiscard]] char32_t point(const std::string& text) const {
    const auto value = point_from_text(text);
    require(value.has_value(), "not a code point: " + text);
    return *value;
  }

  void read_line(const std::string& text) {
    std::istringstream words(text);
    std::string key, word, second, extra;
    words >> key;
    if (key == "note") {
      std::getline(words >> std::ws, codeset_.note);
      return require(codeset_.note == printable(codeset_.note), "a note has no control characters");
    }
    if (key == "lead") {
      lead_where_ = where_;
      while (words >> word) codeset_.leads.set(byte(word));
      return;
    }
    words >> word >> second >> extra;
    require(!word.empty() && extra.empty(), "expected a directive, or a code and a character");
    if (key == "sub") {
      codeset_.sub = byte(word);
      const char32_t source = second.empty() ? 0x1A : point(second);
      require(source < kUnmapped, "the substitution source lies outside UCS-2");
      codeset_.sub_source = static_cast<uint16_t>(source);
    } else if (key == "codeset" || key == "kind" || key == "min-run") {
      require(second.empty(), key + " takes one word");
      read_setting(key, word);
    } else {
      read_mapping(key, word, second.empty() ? "=" : second);
    }
  }

  void read_setting(const std::string& key, const std::string& word) {
    if (key == "codeset") {
      require(codeset_.name.empty() || codeset_.name == word, "the codeset is " + codeset_.name);
      codeset_.name = word;
    } else if (key == "min-run") {
      codeset_.min_run = number(word);
      min_run_where_ = where_;
    } else {
      const unsigned kind = number(word);
      require(is_known_kind(kind), "no tables of kind " + word);
      require(!has_kind_ || codeset_.kind == kind, "the kind is " + std::to_string(codeset_.kind));
      codeset_.kind = static_cast<Kind>(kind);
      has_kind_ = true;
    }
  }

  void read_mapping(const std::string& digits, const std::string& character, const std::string& direction) {
    require(has_kind_, "the kind line must come before the first code");
    const auto code = code_from_hex(digits);
    require(code.has_value(), "neither a directive nor a code: " + digits);
    require(code->length <= max_code_length(codeset_.kind), "the code is too long for the kind");
    const char32_t unit = point(character);
    require(direction == "=" || direction == "<" || direction == ">", "a direction is =, < or >");
    const bool is_mark = unit == kUnmapped && !(codeset_.kind == kGb18030 && direction == "<");
    require(unit <= 0xFFFF && !is_surrogate(unit) && !is_mark, "tables cannot hold " + to_text(unit));
    codeset_.lines[*code] = where_;
    if (direction != "<") add_decode(*code, static_cast<char16_t>(unit));
    if (direction != ">") add_encode(unit, *code);
  }

  void add_decode(const Code& code, char16_t unit) {
    const auto fixed = code.length == 1 ? fixed_decode(codeset_.kind, code.bytes[0]) : std::nullopt;
    if (fixed) return require(*fixed == unit, to_hex(code) + " is always " + to_text(*fixed));
    require(codeset_.decode.emplace(code, unit).second, to_hex(code) + " is decoded twice");
  }

  void add_encode(char32_t unit, const Code& code) {
    if (const auto fixed = fixed_encode(codeset_.kind, unit)) {
      // Two EBCDIC bytes decode to line feed. Only one of them is ever written.
      const bool same = code.length == 1 && fixed_decode(codeset_.kind, code.bytes[0]) == unit;
      return require(same, to_text(unit) + " is always " + to_hex(single(*fixed)));
    }
    require(codeset_.encode[unit].empty(), to_text(unit) + " is encoded twice");
    codeset_.encode[unit] = code;
  }

  Codeset codeset_;
  bool has_kind_;
  std::string where_, lead_where_, min_run_where_;
  std::map<Code, std::string> directives_;  // lines of the bytes that sub and lead name
};

}  // namespace

Codeset read_text(const std::string& path) { return Reader("", std::nullopt).read(path); }

Codeset read_text_row(const CatalogueRow& row, const std::string& directory) {
  const std::string file = row.source.substr(row.source.find(':') + 1);
  if (!row.policy_text.empty()) {
    throw Failure(kBadInput, row.where + ": a text file says everything itself and takes no policy");
  }
  const bool is_absolute = file.starts_with('/') || directory.empty();
  Codeset codeset;
  try {
    codeset = Reader(row.name, row.kind).read(is_absolute ? file : directory + "/" + file);
  } catch (const Failure& failure) {
    if (failure.code != kFileError) throw;
    throw Failure(kFileError, row.where + ": " + failure.what());
  }
  if (codeset.note.empty()) codeset.note = row.source;
  return codeset;
}

std::string write_text(const Codeset& codeset) {
  std::ostringstream out;
  out << "codeset " << printable(codeset.name) << "\nkind " << codeset.kind << '\n';
  if (codeset.sub)
    out << "sub " << to_hex(single(*codeset.sub)) << ' ' << to_text(codeset.sub_source) << '\n';
  if (codeset.kind == kGb18030) out << "min-run " << codeset.min_run << '\n';
  if (!codeset.note.empty()) out << "note " << printable(codeset.note) << '\n';
  std::bitset<256> silent_leads = codeset.leads;  // those that no code shows to be one
  for (const auto& [code, unit] : codeset.decode) {
    if (code.length > 1) silent_leads.reset(code.bytes[0]);
  }
  if (silent_leads.any()) out << "lead";
  for (unsigned byte = 0; byte < 256; ++byte) {
    if (silent_leads[byte]) out << ' ' << to_hex(single(byte));
  }
  if (silent_leads.any()) out << '\n';
  for (const auto& [code, unit] : codeset.decode) {
    out << to_hex(code) << ' ' << to_text(unit) << (codeset.encode[unit] == code ? "\n" : " >\n");
  }
  for (char32_t unit = 0; unit < 0x10000; ++unit) {
    const Code& code = codeset.encode[unit];
    const auto found = codeset.decode.find(code);
    const bool is_listed = found != codeset.decode.end() && found->second == unit;
    if (!code.empty() && !is_listed) out << to_hex(code) << ' ' << to_text(unit) << " <\n";
  }
  return out.str();
}

}  // namespace mar::ucvtab
