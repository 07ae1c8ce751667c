#include "standin/recording.h"

#include <cerrno>
#include <cstring>
#include <fstream>
#include <nlohmann/json.hpp>
#include <utility>

#include "standin/messages.h"
#include "standin/payload_fields.h"

namespace mar::standin {

namespace {

// The member `name` as a number of this type, or nothing if it is missing or no such number.
template <typename Number>
std::optional<Number> number_in(const Json& line, const char* name) {
  const auto member = line.find(name);
  if (member == line.end() || !member->is_number_integer()) return std::nullopt;
  if (member->is_number_unsigned() && !std::in_range<Number>(member->get<uint64_t>())) return std::nullopt;
  if (!member->is_number_unsigned() && !std::in_range<Number>(member->get<int64_t>())) return std::nullopt;
  return member->get<Number>();
}

Outcome<RecordedRequest> parse_request(const Json& line) {
  RecordedRequest request;
  const auto code = number_in<uint32_t>(line, "code");
  const auto result = number_in<int32_t>(line, "result");
  if (!code) return Failure{"\"code\" is not a message code"};
  if (!result) return Failure{"\"result\" is not a result"};
  request.code = *code;
  request.result = *result;
  if (line.contains("effects")) {
    if (!line["effects"].is_string()) return Failure{"\"effects\" is not a text"};
    const auto faults = FaultActions::parse(line["effects"].get<std::string>());
    if (!faults) return Failure{"\"effects\": " + faults.reason()};
    request.faults = *faults;
  }
  if (!line.contains("data")) return request;
  request.length = number_in<int32_t>(line, "length");
  if (!line["data"].is_string() || !request.length) return Failure{"\"data\" needs text and a \"length\""};
  request.data = line["data"].get<std::string>();
  return request;
}

Failure bad_line(const std::string& path, size_t line, const std::string& why) {
  return {path + ", line " + std::to_string(line) + ": " + why};
}

}  // namespace

std::string recorded_data(const TCLIMessage& request) {
  auto used = static_cast<size_t>(usable_length(request));
  while (used > 0 && request.data[used - 1] == 0) --used;
  return hex_of(request.data, used);
}

bool RecordedRequest::is_same(const TCLIMessage& request) const {
  return !data || (*length == request.length && *data == recorded_data(request));
}

Outcome<Recording> Recording::read(const std::string& path) {
  std::ifstream file(path);
  if (!file) return Failure{path + ": " + std::strerror(errno)};
  Recording recording;
  size_t number = 0;
  for (std::string text; std::getline(file, text);) {
    ++number;
    if (text.empty()) continue;
    const Json line = Json::parse(text, nullptr, false);
    const auto event = line.is_object() ? line.find("event") : line.end();
    if (!line.is_object() || event == line.end() || !event->is_string())
      return bad_line(path, number, "not a JSON object with an \"event\"");
    if (*event != "request") continue;
    auto request = parse_request(line);
    if (!request) return bad_line(path, number, request.reason());
    (*request).line = number;
    recording.left_[(*request).code].push_back(std::move(*request));
  }
  if (file.bad()) return Failure{path + ": cannot be read"};  // a folder, for example
  return recording;
}

const RecordedRequest* Recording::next(uint32_t code) {
  const auto found = left_.find(code);
  if (found == left_.end() || found->second.empty()) return nullptr;
  current_ = std::move(found->second.front());
  found->second.pop_front();
  return &current_;
}

}  // namespace mar::standin
