#include "standin/request_line.h"

#include <nlohmann/json.hpp>
#include <utility>

#include "standin/messages.h"

namespace mar::standin {

namespace {

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

}  // namespace

std::string request_line(LineForm form, uint64_t number, const TCLIMessage& request, int32_t result,
                         const std::string& remark) {
  const uint32_t code = message_code(request);
  const Message* message = find_message(code);
  Json fields = fields_of(message, request);
  const std::string name = message != nullptr ? message->name : "unknown-" + std::to_string(code);
  if (form == LineForm::kPlain) {
    return "request " + std::to_string(number) + " from " + std::to_string(request.sender.process_id) + '/' +
           std::to_string(request.sender.thread_id) + ": " + name + plain(fields) + " -> " +
           std::to_string(result) + (remark.empty() ? "" : " (" + remark + ')');
  }
  Json line = {{"event", "request"},
               {"number", number},
               {"process", request.sender.process_id},
               {"thread", request.sender.thread_id},
               {"message", name},
               {"code", code},
               {"length", request.length},
               {"payload", std::move(fields)},
               {"result", result}};
  if (!remark.empty()) line["remark"] = remark;
  return compact(line);
}

std::string state_line(LineForm form, const EngineState& state) {
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
  if (form == LineForm::kPlain) return "state" + plain(fields);
  return compact(Json{{"event", "state"}, {"state", fields}});
}

std::string notice_line(LineForm form, const std::string& event, const std::string& text) {
  if (form == LineForm::kJson) return compact(Json{{"event", event}, {"text", text}});
  return text.empty() ? event : event + ": " + text;
}

}  // namespace mar::standin
