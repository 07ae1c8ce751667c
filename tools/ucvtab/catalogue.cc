#include "tools/ucvtab/catalogue.h"

#include <algorithm>
#include <set>
#include <sstream>

#include "tools/ucvtab/failure.h"
#include "tools/ucvtab/files.h"

namespace mar::ucvtab {
namespace {

const std::map<std::string, OneWay> kOneWays = {
    {"keep", OneWay::kKeep}, {"safe", OneWay::kSafe}, {"strict", OneWay::kStrict}};
const std::map<std::string, bool Policy::*> kFlags = {{"no-private-use", &Policy::no_private_use},
                                                      {"no-c1", &Policy::no_c1},
                                                      {"no-sub", &Policy::no_sub},
                                                      {"round-trip", &Policy::round_trip}};
const std::map<std::string, unsigned Policy::*> kNumbers = {{"ascii", &Policy::ascii_conflicts},
                                                            {"invariant", &Policy::invariant_conflicts},
                                                            {"min-run", &Policy::min_run}};

// One line of the catalogue.
class RowReader {
 public:
  explicit RowReader(const Line& line) : where_(line.where), words_(line.text) {}

  CatalogueRow read_row() {
    CatalogueRow row;
    row.where = where_;
    std::string kind;
    require(!!(words_ >> row.name >> kind >> row.source), "a row needs a name, a kind and a source");
    const unsigned number = parse_number(kind);
    require(is_known_kind(number), "no tables of kind " + kind);
    row.kind = static_cast<Kind>(number);
    const std::string fault = name_fault(row.name, row.kind);
    require(fault.empty(), fault);
    for (std::string word; words_ >> word;) {
      row.policy_text.append(row.policy_text.empty() ? "" : " ").append(word);
      read_policy(word, row.policy);
    }
    return row;
  }

  void read_correction(CatalogueRow& row) {
    std::string plus, digits, character, extra;
    words_ >> plus >> digits >> character >> extra;
    const auto code = code_from_hex(digits);
    const auto point = point_from_text(character);
    require(plus == "+" && code && point && extra.empty(), "a correction is \"+\", a code and its character");
    require(!row.source.starts_with("text:"), row.source + " needs no corrections: change the file");
    require(row.corrections.emplace(*code, *point).second, digits + " is corrected twice");
  }

  void require(bool holds, const std::string& message) const {
    if (!holds) throw Failure(kBadInput, where_ + ": " + message);
  }

 private:
  [[nodiscard]] unsigned parse_number(const std::string& digits) const {
    const auto number = number_from_text(digits);
    require(number.has_value(), "not a number: " + digits);
    return *number;
  }

  void read_policy(const std::string& word, Policy& policy) const {
    const auto equals = std::min(word.find('='), word.size());
    const auto one_way = kOneWays.find(word);
    const auto flag = kFlags.find(word);
    const auto number = kNumbers.find(word.substr(0, equals));
    if (one_way != kOneWays.end())
      policy.one_way = one_way->second;
    else if (flag != kFlags.end())
      policy.*flag->second = true;
    else if (number != kNumbers.end() && equals < word.size())
      policy.*number->second = parse_number(word.substr(equals + 1));
    else
      require(false, "unknown policy: " + word);
  }

  std::string where_;
  std::istringstream words_;
};

}  // namespace

std::vector<CatalogueRow> read_catalogue(const std::string& path) {
  std::vector<CatalogueRow> rows;
  std::set<std::string> names;
  for (const Line& line : read_lines(path)) {
    if (line.text.empty()) continue;
    RowReader reader(line);
    if (line.text.starts_with('+')) {
      reader.require(!rows.empty(), "a correction without a codeset above it");
      reader.read_correction(rows.back());
    } else {
      rows.push_back(reader.read_row());
      reader.require(names.insert(rows.back().name).second, rows.back().name + " is listed twice");
    }
  }
  return rows;
}

const CatalogueRow& find_row(const std::vector<CatalogueRow>& rows, const std::string& name) {
  const auto found =
      std::find_if(rows.begin(), rows.end(), [&](const auto& row) { return row.name == name; });
  if (found == rows.end()) throw Failure(kUnknownSource, name + " is not in the catalogue");
  return *found;
}

}  // namespace mar::ucvtab
