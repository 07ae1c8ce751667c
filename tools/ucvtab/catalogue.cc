#include "tools/ucvtab/catalogue.h"

#include <algorithm>
#include <charconv>
#include <set>
#include <sstream>

#include "tools/ucvtab/failure.h"
#include "tools/ucvtab/files.h"

namespace ucvtab {
namespace {

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
  for (std::string word; words >> word;) row.policy_text += (row.policy_text.empty() ? "" : " ") + word;
  row.policy = parse_policy(row.policy_text, where);
  return row;
}

}  // namespace

Policy parse_policy(const std::string& words, const std::string& where) {
  Policy policy;
  std::istringstream in(words);
  for (std::string word; in >> word;) {
    const std::string::size_type equals = word.find('=');
    const std::string key = word.substr(0, equals);
    auto number = [&] {
      return parse_number(equals == std::string::npos ? "" : word.substr(equals + 1), where);
    };
    if (word == "keep")
      policy.one_way = OneWay::kKeep;
    else if (word == "safe")
      policy.one_way = OneWay::kSafe;
    else if (word == "strict")
      policy.one_way = OneWay::kStrict;
    else if (word == "no-private-use")
      policy.no_private_use = true;
    else if (word == "no-c1")
      policy.no_c1 = true;
    else if (word == "no-sub")
      policy.no_sub = true;
    else if (word == "round-trip")
      policy.round_trip = true;
    else if (key == "ascii")
      policy.ascii_conflicts = number();
    else if (key == "invariant")
      policy.invariant_conflicts = number();
    else if (key == "min-run")
      policy.min_run = number();
    else if (key == "edition")
      policy.gb_edition = number();
    else
      throw Failure(kBadInput, where + ": unknown policy: " + word);
  }
  return policy;
}

std::vector<CatalogueRow> read_catalogue(const std::string& path) {
  std::vector<CatalogueRow> rows;
  std::set<std::string> names;
  for (const auto& [line, where] : read_lines(path)) {
    if (line.empty()) continue;
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
  if (found == rows.end()) throw Failure(kBadInput, name + " is not in the catalogue");
  return *found;
}

}  // namespace ucvtab
