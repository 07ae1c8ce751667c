// The fields of a command's payload: what each is called, which values it takes, and how a value is checked.
// Names and forms are those of the lines that mar-standin --json prints.
#pragma once

#include <cstdint>
#include <nlohmann/json.hpp>
#include <span>
#include <string>
#include <string_view>

#include "util/outcome.h"

namespace mar::ctl {

using Json = nlohmann::ordered_json;

struct Range {
  int64_t min;
  int64_t max;
};

enum class Kind {
  kNumber,   // a number in ranges[0]
  kNumbers,  // an array of numbers, one for each range
  kHex,      // hex digits, two for each of size_bytes bytes
  kHexes,    // an array of `count` such texts
  kText,     // a text of at most size_bytes bytes without a NUL
  kBytes,    // the same, but a NUL is a byte like any other
};

struct Field {
  const char* name;
  Kind kind;
  std::span<const Range> ranges;
  size_t size_bytes;
  size_t count;
  const char* preset;  // as JSON; null: none
  bool required;
  const char* help;
};

// Where a value comes from, for messages: the JSON pointer "/settings/0", or the option "--settings".
struct Place {
  std::string name;  // empty for the whole
  bool is_option = false;

  Place item(std::string_view key) const;
  Failure failure(const std::string& what) const { return {name.empty() ? what : name + ": " + what}; }
};

// "--start-hour" for the field start_hour.
std::string option_name(const Field& field);

// "a number from 0 to 255"
std::string allowed(const Field& field);

Outcome<> check_value(const Field& field, const Json& value, const Place& place);

// The value that an option's text stands for; items of an array are separated by commas. Not yet checked:
// what is no number stays a text.
Json value_of_text(const Field& field, const std::string& text);

// Checks the fields that `given`, an object, has: each must be known and its value allowed.
Outcome<> check_fields(std::span<const Field> fields, const Json& given, const Place& place);

// `given`, which is checked, with every preset filled in; or which field is missing.
Outcome<Json> complete(std::span<const Field> fields, const Json& given, const Place& place);

// Outside text for a message: quoted, printable, and not long.
std::string quoted(const std::string& outside);

}  // namespace mar::ctl
