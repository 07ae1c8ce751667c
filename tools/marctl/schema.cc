#include "tools/marctl/schema.h"

namespace mar::ctl {

namespace {

constexpr char kDialect[] = "https://json-schema.org/draft/2020-12/schema";

Json number_schema(const Range& range) {
  return {{"type", "integer"}, {"minimum", range.min}, {"maximum", range.max}};
}

Json hex_schema(const Field& field) {
  return {{"type", "string"}, {"pattern", "^[0-9a-fA-F]{" + std::to_string(2 * field.size_bytes) + "}$"}};
}

Json array_schema(Json items) {
  const size_t count = items.size();
  return {{"type", "array"}, {"prefixItems", std::move(items)}, {"minItems", count}, {"maxItems", count}};
}

Json value_schema(const Field& field) {
  Json items = Json::array();
  switch (field.kind) {
    case Kind::kNumber:
      return number_schema(field.ranges[0]);
    case Kind::kNumbers:
      for (const Range& range : field.ranges) items.push_back(number_schema(range));
      return array_schema(std::move(items));
    case Kind::kHex:
      return hex_schema(field);
    case Kind::kHexes:
      for (size_t i = 0; i < field.count; ++i) items.push_back(hex_schema(field));
      return array_schema(std::move(items));
    case Kind::kText:
    case Kind::kBytes:
      break;
  }
  return {{"type", "string"}, {"maxLength", field.size_bytes}};  // in bytes, which a schema cannot say
}

Json fields_schema(const Command& command) {
  Json properties = Json::object();
  Json required = Json::array();
  for (const Field& field : command.fields) {
    Json schema = value_schema(field);
    schema["description"] = field.help;
    if (field.preset != nullptr) schema["default"] = Json::parse(field.preset);
    if (field.required) required.push_back(field.name);
    properties[field.name] = std::move(schema);
  }
  return {{"type", "object"},
          {"properties", std::move(properties)},
          {"required", std::move(required)},
          {"additionalProperties", false}};
}

// A command that needs no field needs no payload either.
Json line_schema(const Command& command) {
  Json payload = fields_schema(command);
  Json required = {"message"};
  if (!payload["required"].empty()) required.push_back("payload");
  return {{"type", "object"},
          {"properties", {{"message", {{"const", command.name}}}, {"payload", std::move(payload)}}},
          {"required", std::move(required)}};
}

}  // namespace

Json schema_of(const Command* command) {
  Json schema = {{"$schema", kDialect}};
  if (command != nullptr) {
    schema["title"] = command->name;
    schema["description"] = command->help;
    schema.update(fields_schema(*command));
    return schema;
  }
  schema["title"] = "a line of marctl batch";
  for (const Command& each : commands()) schema["oneOf"].push_back(line_schema(each));
  return schema;
}

}  // namespace mar::ctl
