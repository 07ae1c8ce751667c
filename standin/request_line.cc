#include "standin/request_line.h"

#include <cstdio>
#include <ctime>
#include <nlohmann/json.hpp>
#include <utility>

#include "standin/messages.h"
#include "standin/recording.h"

namespace mar::standin {

namespace {

std::string time_text(Time time) {
  const auto milliseconds = std::chrono::floor<std::chrono::milliseconds>(time.time_since_epoch()).count();
  const auto seconds = static_cast<time_t>(milliseconds / 1000);
  tm parts{};
  gmtime_r(&seconds, &parts);
  char text[80];
  std::snprintf(text, sizeof text, "%04d-%02d-%02dT%02d:%02d:%02d.%03dZ", parts.tm_year + 1900,
                parts.tm_mon + 1, parts.tm_mday, parts.tm_hour, parts.tm_min, parts.tm_sec,
                static_cast<int>(milliseconds % 1000));
  return text;
}

// Bytes that are not UTF-8 become the replacement character, and characters that are not ASCII become
// escapes, so this cannot fail.
std::string compact(const Json& value) {
  return value.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
}

std::string plain(const Json& fields) {
  std::string text;
  for (const auto& [name, value] : fields.items()) text += ' ' + name + '=' + compact(value);
  return text;
}

// The payload's fields or, where they cannot be decoded, what the record says about itself.
Json fields_of(const Message* message, const TCLIMessage& request) {
  if (message != nullptr && is_well_formed(*message, request)) return message->describe(request);
  return {{"length", request.length}, {"kind", request.kind}};
}

std::string name_of(const Message* message, uint32_t code) {
  return message != nullptr ? message->name : "unknown-" + std::to_string(code);
}

Json request_object(const ServedRequest& served) {
  const TCLIMessage& request = served.record;
  const uint32_t code = message_code(request);
  const Message* message = find_message(code);
  Json object = {{"event", "request"},
                 {"time", time_text(served.time)},
                 {"number", served.number},
                 {"process", request.sender.process_id},
                 {"thread", request.sender.thread_id},
                 {"message", name_of(message, code)},
                 {"code", code},
                 {"length", request.length},
                 {"payload", fields_of(message, request)},
                 {"result", served.result}};
  if (!served.remark.empty()) object["remark"] = served.remark;
  return object;
}

}  // namespace

std::string request_line(LineForm form, const ServedRequest& served) {
  if (form == LineForm::kJson) return compact(request_object(served));
  const TCLIMessage& request = served.record;
  const uint32_t code = message_code(request);
  const Message* message = find_message(code);
  return time_text(served.time) + " request " + std::to_string(served.number) + " from " +
         std::to_string(request.sender.process_id) + '/' + std::to_string(request.sender.thread_id) + ": " +
         name_of(message, code) + plain(fields_of(message, request)) + " -> " +
         std::to_string(served.result) + (served.remark.empty() ? "" : " (" + served.remark + ')');
}

std::string recording_line(const ServedRequest& served) {
  Json line = request_object(served);
  line["kind"] = served.record.kind;
  line["data"] = recorded_data(served.record);
  if (!served.effects.empty()) line["effects"] = served.effects;
  return compact(line);
}

std::string state_line(LineForm form, Time time, const EngineState& state) {
  Json policies = Json::array();
  for (const auto& [id, policy] : state.policies) policies.push_back(id);
  Json thresholds = Json::array();
  for (const auto& [key, threshold] : state.thresholds) {
    thresholds.push_back({{"policy", std::get<0>(key)}, {"number", std::get<2>(key)}});
  }
  const Json fields = {{"policies", std::move(policies)},
                       {"thresholds", std::move(thresholds)},
                       {"violation_reports", state.violation_reports},
                       {"upload_start_hour", state.upload_start_hour},
                       {"upload_interval", state.upload_interval},
                       {"realtime_send_interval", state.realtime_send_interval},
                       {"log_level", state.log_level},
                       {"listeners", state.listeners},
                       {"listener_filter", state.listener_filter},
                       {"correlator_suffix", state.correlator_suffix}};
  if (form == LineForm::kPlain) return time_text(time) + " state" + plain(fields);
  return compact(Json{{"event", "state"}, {"time", time_text(time)}, {"state", fields}});
}

std::string notice_line(LineForm form, Time time, const std::string& event, const std::string& text) {
  return (form == LineForm::kPlain ? time_text(time) + ' ' : "") + start_line(form, time, event, text);
}

std::string start_line(LineForm form, Time time, const std::string& event, const std::string& text) {
  if (form == LineForm::kJson)
    return compact(Json{{"event", event}, {"time", time_text(time)}, {"text", text}});
  return text.empty() ? event : event + ": " + text;
}

}  // namespace mar::standin
