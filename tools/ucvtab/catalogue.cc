#include "tools/ucvtab/catalogue.h"

#include <algorithm>
#include <charconv>
#include <map>
#include <set>
#include <sstream>

#include "tools/ucvtab/failure.h"
#include "tools/ucvtab/files.h"

namespace ucvtab {
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

unsigned parse_number(std::string_view digits, const std::string& where) {
  unsigned value = 0;
  auto [stop, error] = std::from_chars(digits.data(), digits.data() + digits.size(), value);
  if (error != std::errc() || stop != digits.data() + digits.size()) {
    throw Failure(kBadInput, where + ": not a number: " + std::string(digits));
  }
  return value;
}

CatalogueRow parse_row(const std::string& line, const std::string& where) {
  CatalogueRow row;
  row.where = where;
  std::istringstream words(line);
  std::string kind;
  if (!(words >> row.name >> kind >> row.source)) {
    throw Failure(kBadInput, where + ": a row needs a name, a kind and a source");
  }
  unsigned number = parse_number(kind, where);
  if (!is_known_kind(number)) throw Failure(kBadInput, where + ": no tables of kind " + kind);
  row.kind = static_cast<Kind>(number);
  if (std::string fault = name_fault(row.name, row.kind); !fault.empty()) {
    throw Failure(kBadInput, where + ": " + fault);
  }
  for (std::string word; words >> word;)
    row.policy_text.append(row.policy_text.empty() ? "" : " ").append(word);
  row.policy = parse_policy(row.policy_text, where);
  return row;
}

void add_correction(CatalogueRow& row, const std::string& line, const std::string& where) {
  std::istringstream words(line);
  std::string plus, digits, character, extra;
  words >> plus >> digits >> character >> extra;
  const auto code = code_from_hex(digits);
  const auto point = point_from_text(character);
  if (plus != "+" || !code || !point || !extra.empty()) {
    throw Failure(kBadInput, where + ": a correction is \"+\", a code and its character");
  }
  if (row.source.starts_with("text:")) {
    throw Failure(kBadInput, where + ": " + row.source + " needs no corrections: change the file");
  }
  if (!row.corrections.emplace(*code, *point).second) {
    throw Failure(kBadInput, where + ": " + digits + " is corrected twice");
  }
}

}  // namespace

Policy parse_policy(const std::string& words, const std::string& where) {
  Policy policy;
  std::istringstream in(words);
  for (std::string word; in >> word;) {
    const auto equals = std::min(word.find('='), word.size());
    const auto one_way = kOneWays.find(word);
    const auto flag = kFlags.find(word);
    const auto number = kNumbers.find(word.substr(0, equals));
    if (one_way != kOneWays.end()) {
      policy.one_way = one_way->second;
    } else if (flag != kFlags.end()) {
      policy.*flag->second = true;
    } else if (number != kNumbers.end() && equals < word.size()) {
      policy.*number->second = parse_number(std::string_view(word).substr(equals + 1), where);
    } else {
      throw Failure(kBadInput, where + ": unknown policy: " + word);
    }
  }
  return policy;
}

std::vector<CatalogueRow> read_catalogue(const std::string& path) {
  std::vector<CatalogueRow> rows;
  std::set<std::string> names;
  for (const auto& [line, where] : read_lines(path)) {
    if (line.empty()) continue;
    if (line.starts_with('+')) {
      if (rows.empty()) throw Failure(kBadInput, where + ": a correction without a codeset above it");
      add_correction(rows.back(), line, where);
      continue;
    }
    rows.push_back(parse_row(line, where));
    if (!names.insert(rows.back().name).second) {
      throw Failure(kBadInput, where + ": " + rows.back().name + " is listed twice");
    }
  }
  return rows;
}

const CatalogueRow& find_row(const std::vector<CatalogueRow>& rows, const std::string& name) {
  const auto found =
      std::find_if(rows.begin(), rows.end(), [&](const CatalogueRow& row) { return row.name == name; });
  if (found == rows.end()) throw Failure(kUnknownSource, name + " is not in the catalogue");
  return *found;
}

}  // namespace ucvtab
