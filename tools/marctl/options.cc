#include "tools/marctl/options.h"

#include <CLI/CLI.hpp>
#include <algorithm>

#include "tools/marctl/json_input.h"

namespace mar::ctl {

namespace {

const char* type_name(Kind kind) {
  switch (kind) {
    case Kind::kNumber:
      return "NUMBER";
    case Kind::kNumbers:
      return "NUMBER,...";
    case Kind::kHex:
      return "HEX";
    case Kind::kHexes:
      return "HEX,...";
    case Kind::kText:
    case Kind::kBytes:
      break;
  }
  return "TEXT";
}

std::string help_of(const Field& field) {
  std::string help = field.help;
  if (field.kind == Kind::kHex) help += ", " + allowed(field);
  const size_t items = field.kind == Kind::kNumbers ? field.ranges.size() : field.count;
  if (items > 0) help += ", " + std::to_string(items) + " separated by commas";
  if (field.kind == Kind::kText) help += " (default: .*)";
  if (field.preset != nullptr && field.kind != Kind::kText) help += " (default: zeros)";
  return help;
}

Outcome<Json> fields_of_file(const Command& command, const std::string& path) {
  const std::string name = input_name(path);
  const auto text = read_input(path);
  if (!text) return Failure{name + ": " + text.reason()};
  auto fields = parse_json(*text);
  if (!fields) return Failure{name + ": " + fields.reason()};
  const auto checked = check_fields(command.fields, *fields, {});
  if (!checked) return Failure{name + ": " + checked.reason()};
  return fields;
}

}  // namespace

void add_field_options(CLI::App& app, const Command& command, FieldTexts& texts) {
  for (const Field& field : command.fields) {
    const auto keep = [&texts, &field](const std::string& text) { texts[field.name] = text; };
    app.add_option_function<std::string>(option_name(field), keep, help_of(field))
        ->type_name(type_name(field.kind));
  }
}

Outcome<FieldTexts> parse_field_options(const Command& command, std::vector<std::string> words) {
  CLI::App app("", command.name);
  app.set_help_flag();
  FieldTexts texts;
  add_field_options(app, command, texts);
  std::reverse(words.begin(), words.end());  // as the parser wants them
  try {
    app.parse(std::move(words));
  } catch (const CLI::ParseError& error) {
    return Failure{error.what()};
  }
  return texts;
}

Outcome<Request> request_of_options(const Command& command, const FieldTexts& texts,
                                    const std::string& file) {
  Json fields = Json::object();
  if (!file.empty()) {
    auto read = fields_of_file(command, file);
    if (!read) return Failure{read.reason()};
    fields = std::move(*read);
  }
  for (const Field& field : command.fields) {
    const auto text = texts.find(field.name);
    if (text == texts.end()) continue;
    fields[field.name] = value_of_text(field, text->second);
    const auto checked = check_value(field, fields[field.name], {option_name(field), true});
    if (!checked) return Failure{checked.reason()};
  }
  if (file.empty()) return make_request(command, fields, {command.name, true});
  auto request = make_request(command, fields, {});
  if (!request) return Failure{input_name(file) + ": " + request.reason()};
  return request;
}

}  // namespace mar::ctl
