#include "tools/marctl/batch_line.h"

#include <vector>

#include "tools/marctl/json_input.h"
#include "tools/marctl/options.h"

namespace mar::ctl {

namespace {

constexpr char kBlanks[] = " \t";

// Splits as a shell does: blanks separate; quotes and backslashes keep what they enclose.
Outcome<std::vector<std::string>> words_of(const std::string& line) {
  std::vector<std::string> words;
  bool in_word = false;
  char quote = 0;
  for (size_t i = 0; i < line.size(); ++i) {
    const char byte = line[i];
    if (quote == 0 && std::string(kBlanks).find(byte) != std::string::npos) {
      in_word = false;
      continue;
    }
    if (!in_word) words.emplace_back();
    in_word = true;
    if (byte == quote) {
      quote = 0;
    } else if (quote == 0 && (byte == '\'' || byte == '"')) {
      quote = byte;
    } else if (byte == '\\' && quote != '\'' && i + 1 < line.size()) {
      words.back() += line[++i];
    } else {
      words.back() += byte;
    }
  }
  if (quote != 0) return Failure{std::string("the quote ") + quote + " is not closed"};
  return words;
}

Failure no_such_command(const std::string& name) {
  return {"there is no command " + quoted(name) + " that can be sent; marctl --help lists them"};
}

Outcome<Request> request_of_words(std::vector<std::string> words) {
  const Command* const command = find_command(words.front());
  if (command == nullptr) return no_such_command(words.front());
  words.erase(words.begin());
  const auto texts = parse_field_options(*command, std::move(words));
  if (!texts) return Failure{texts.reason()};
  return request_of_options(*command, *texts, "");
}

// A line of a recording of the stand-in engine's.
bool is_recorded(const Json& line) { return line.contains("event"); }

Outcome<Request> request_of_json(const Json& line) {
  static constexpr char kWanted[] = "; a line has the members message and payload";
  for (const auto& [name, value] : line.items()) {
    if (!is_recorded(line) && name != "message" && name != "payload")
      return Failure{"there is no member " + quoted(name) + kWanted};
  }
  if (!line.contains("message") || !line["message"].is_string())
    return Failure{std::string("/message: the name of a command is missing") + kWanted};
  const auto& name = line["message"].get_ref<const std::string&>();
  const Command* const command = find_command(name);
  if (command == nullptr) return Failure{"/message: " + no_such_command(name).reason};
  const Json payload = line.value("payload", Json::object());
  const auto checked = check_fields(command->fields, payload, {"/payload"});
  if (!checked) return Failure{checked.reason()};
  return make_request(*command, payload, {"/payload"});
}

Outcome<std::optional<Request>> optional_of(Outcome<Request> request) {
  if (!request) return Failure{request.reason()};
  return std::optional(std::move(*request));
}

}  // namespace

Outcome<std::optional<Request>> parse_batch_line(const std::string& line) {
  const size_t begin = line.find_first_not_of(kBlanks);
  if (begin == std::string::npos || line[begin] == '#') return std::optional<Request>();
  if (line[begin] == '{') {
    const auto json = parse_json(line);
    if (!json) return Failure{json.reason()};
    if (is_recorded(*json) && (*json)["event"] != "request") return std::optional<Request>();
    return optional_of(request_of_json(*json));
  }
  auto words = words_of(line);
  if (!words) return Failure{words.reason()};
  return optional_of(request_of_words(std::move(*words)));
}

}  // namespace mar::ctl
