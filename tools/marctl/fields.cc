#include "tools/marctl/fields.h"

#include <algorithm>
#include <charconv>

namespace mar::ctl {

namespace {

constexpr size_t kQuotedMax = 60;
// mar-standin prints this character in place of bytes that are not UTF-8.
constexpr char kReplacement[] = "\xEF\xBF\xBD";

std::string allowed_number(const Range& range) {
  return "a number from " + std::to_string(range.min) + " to " + std::to_string(range.max);
}

std::string allowed_hex(const Field& field) { return std::to_string(2 * field.size_bytes) + " hex digits"; }

// A number with a fraction, and one beyond 64 bits, is floating for the parser and so never in range.
bool is_in(const Range& range, const Json& value) {
  if (!value.is_number_integer()) return false;
  if (value.is_number_unsigned() && value.get<uint64_t>() > static_cast<uint64_t>(INT64_MAX)) return false;
  const auto number = value.get<int64_t>();
  return number >= range.min && number <= range.max;
}

bool is_hex(const Json& value, size_t size_bytes) {
  if (!value.is_string()) return false;
  const auto& text = value.get_ref<const std::string&>();
  return text.size() == 2 * size_bytes &&
         text.find_first_not_of("0123456789abcdefABCDEF") == std::string::npos;
}

std::string shown(const Json& value) {
  if (value.is_string()) return quoted(value.get<std::string>());
  if (value.is_number()) return value.dump();
  return value.is_array() ? "an array of " + std::to_string(value.size()) : value.type_name();
}

Failure wrong(const Json& value, const std::string& wanted, const Place& place) {
  return place.failure(shown(value) + " is not " + wanted);
}

Outcome<> check_text(const Field& field, const Json& value, const Place& place) {
  if (!value.is_string()) return wrong(value, allowed(field), place);
  const auto& text = value.get_ref<const std::string&>();
  if (text.size() > field.size_bytes)
    return place.failure("a text of " + std::to_string(text.size()) + " bytes is not " + allowed(field));
  if (field.kind == Kind::kText && text.find('\0') != std::string::npos)
    return place.failure("the text contains a NUL, which would end it");
  if (!place.is_option && text.find(kReplacement) != std::string::npos)
    return place.failure("the text contains U+FFFD, which stands for bytes that a recording has lost");
  return {};
}

// Checks that `value` is an array of `count` and, by `check_item`, each of its items.
template <typename CheckItem>
Outcome<> check_items(const Field& field, const Json& value, size_t count, const Place& place,
                      CheckItem check_item) {
  if (!value.is_array() || value.size() != count)
    return wrong(value, allowed(field) + (place.is_option ? ", separated by commas" : ""), place);
  for (size_t i = 0; i < count; ++i) {
    if (auto checked = check_item(i, value[i], place.item(std::to_string(i))); !checked) return checked;
  }
  return {};
}

Json number_of_text(const std::string& text) {
  int64_t number = 0;
  const char* const end = text.data() + text.size();
  const auto [rest, error] = std::from_chars(text.data(), end, number);
  return error == std::errc() && rest == end ? Json(number) : Json(text);
}

Json items_of_text(const std::string& text, Json (*item_of_text)(const std::string&)) {
  Json items = Json::array();
  for (size_t begin = 0; begin <= text.size();) {
    const size_t end = std::min(text.find(',', begin), text.size());
    items.push_back(item_of_text(text.substr(begin, end - begin)));
    begin = end + 1;
  }
  return items;
}

std::string names_of(std::span<const Field> fields) {
  if (fields.empty()) return "there are none";
  std::string names = "the fields are";
  for (const Field& field : fields) names += std::string(" ") + field.name;
  return names;
}

}  // namespace

Place Place::item(std::string_view key) const {
  return is_option ? *this : Place{name + '/' + std::string(key)};
}

std::string option_name(const Field& field) {
  std::string name = std::string("--") + field.name;
  std::replace(name.begin(), name.end(), '_', '-');
  return name;
}

std::string allowed(const Field& field) {
  switch (field.kind) {
    case Kind::kNumber:
      return allowed_number(field.ranges[0]);
    case Kind::kNumbers:
      return "an array of " + std::to_string(field.ranges.size()) + " numbers";
    case Kind::kHex:
      return allowed_hex(field);
    case Kind::kHexes:
      return "an array of " + std::to_string(field.count) + " texts of " + allowed_hex(field);
    case Kind::kText:
    case Kind::kBytes:
      break;
  }
  return "a text of at most " + std::to_string(field.size_bytes) + " bytes";
}

Outcome<> check_value(const Field& field, const Json& value, const Place& place) {
  switch (field.kind) {
    case Kind::kNumber:
      if (!is_in(field.ranges[0], value)) return wrong(value, allowed(field), place);
      return {};
    case Kind::kNumbers:
      return check_items(field, value, field.ranges.size(), place,
                         [&](size_t i, const Json& item, const Place& at) -> Outcome<> {
                           if (!is_in(field.ranges[i], item))
                             return wrong(item, allowed_number(field.ranges[i]), at);
                           return {};
                         });
    case Kind::kHex:
      if (!is_hex(value, field.size_bytes)) return wrong(value, allowed(field), place);
      return {};
    case Kind::kHexes:
      return check_items(field, value, field.count, place,
                         [&](size_t, const Json& item, const Place& at) -> Outcome<> {
                           if (!is_hex(item, field.size_bytes)) return wrong(item, allowed_hex(field), at);
                           return {};
                         });
    case Kind::kText:
    case Kind::kBytes:
      break;
  }
  return check_text(field, value, place);
}

Json value_of_text(const Field& field, const std::string& text) {
  switch (field.kind) {
    case Kind::kNumber:
      return number_of_text(text);
    case Kind::kNumbers:
      return items_of_text(text, number_of_text);
    case Kind::kHexes:
      return items_of_text(text, [](const std::string& item) { return Json(item); });
    case Kind::kHex:
    case Kind::kText:
    case Kind::kBytes:
      break;
  }
  return text;
}

Outcome<> check_fields(std::span<const Field> fields, const Json& given, const Place& place) {
  if (!given.is_object()) return wrong(given, "an object of fields", place);
  for (const auto& [name, value] : given.items()) {
    const auto field = std::find_if(fields.begin(), fields.end(),
                                    [&name = name](const Field& known) { return name == known.name; });
    if (field == fields.end())
      return place.failure("there is no field " + quoted(name) + "; " + names_of(fields));
    if (auto checked = check_value(*field, value, place.item(name)); !checked) return checked;
  }
  return {};
}

Outcome<Json> complete(std::span<const Field> fields, const Json& given, const Place& place) {
  Json values = given;
  for (const Field& field : fields) {
    if (given.contains(field.name)) continue;
    if (field.required) {
      const std::string name = place.is_option ? option_name(field) : "the field " + quoted(field.name);
      return place.failure(name + " is missing: " + allowed(field));
    }
    if (field.preset != nullptr) values[field.name] = Json::parse(field.preset);
  }
  return values;
}

std::string quoted(const std::string& outside) {
  const bool is_long = outside.size() > kQuotedMax;
  return Json(outside.substr(0, kQuotedMax)).dump(-1, ' ', true, Json::error_handler_t::replace) +
         (is_long ? "..." : "");
}

}  // namespace mar::ctl
