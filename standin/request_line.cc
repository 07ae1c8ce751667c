#include "standin/request_line.h"

#include <cstring>
#include <nlohmann/json.hpp>

#include "contract/payloads.h"
#include "standin/messages.h"

namespace {

using Json = nlohmann::ordered_json;

// What is no UTF-8 becomes the replacement character, what is no ASCII an escape: nothing here can fail.
std::string compact(const Json& value) {
  return value.dump(-1, ' ', true, nlohmann::json::error_handler_t::replace);
}

template <size_t N>
std::string text_of(const char (&field)[N]) {
  return {field, strnlen(field, N)};
}

std::string hex_of(const uint8_t* bytes, size_t count) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (size_t i = 0; i < count; ++i) {
    hex += kDigits[bytes[i] >> 4];
    hex += kDigits[bytes[i] & 15];
  }
  return hex;
}

std::string hex_of(const TIdentifierBlock& block) { return hex_of(block.bytes, sizeof(block.bytes)); }

// Packed members are copied by a plus sign: a reference to one may be misaligned.
void add_definition(Json& fields, const TPolicyDefinition& definition) {
  fields["numbers"] = {+definition.numbers[0], +definition.numbers[1], +definition.numbers[2]};
  fields["identifier"] = hex_of(definition.identifier);
  fields["pattern"] = text_of(definition.pattern);
  fields["host"] = text_of(definition.host_pattern);
  fields["application"] = text_of(definition.application_pattern);
  fields["transaction"] = text_of(definition.transaction_pattern);
}

Json edge_policy_fields(const EdgePolicyPayload& policy) {
  Json fields = Json::object();
  add_definition(fields, policy.definition);
  const TEdgeKey& key = policy.key;
  fields["key"] = hex_of(key.bytes, sizeof(key.bytes));
  fields["settings"] = {+key.setting_6, +key.setting_8, +key.setting_12, +key.limit_16, +key.setting_36};
  fields["number"] = +key.number;
  return fields;
}

Json threshold_fields(const ThresholdPayload& threshold) {
  Json fields = {{"a", +threshold.a},
                 {"b", +threshold.b},
                 {"c", +threshold.c},
                 {"d", +threshold.d},
                 {"e", +threshold.e}};
  add_definition(fields, threshold.definition);
  return fields;
}

Json upload_fields(const RequestDataUploadPayload& upload) {
  Json fields = {{"request", +upload.request_id},
                 {"policy", +upload.policy_id},
                 {"start", +upload.start_time_s},
                 {"end", +upload.end_time_s},
                 {"flags", {+upload.flag_1, +upload.flag_2}}};
  for (const TIdentifierBlock& block : upload.blocks) fields["blocks"].push_back(hex_of(block));
  return fields;
}

Json suffix_fields(const SetCorrelatorSuffixPayload& suffix) {
  const size_t length = suffix.length <= sizeof(suffix.suffix) ? suffix.length : sizeof(suffix.suffix);
  return {{"suffix", std::string(suffix.suffix, suffix.suffix + length)}, {"length", +suffix.length}};
}

// Called for payloads of the right size only.
Json payload_fields(const TCLIMessage& request) {
  switch (message_code(request)) {
    case CMD_ADD_EDGE_POLICY:
    case CMD_UPDATE_EDGE_POLICY:
      return edge_policy_fields(payload_of<EdgePolicyPayload>(request));
    case CMD_REMOVE_EDGE_POLICY:
      return {{"policy", +payload_of<RemoveEdgePolicyPayload>(request).management_policy_id}};
    case CMD_ADD_THRESHOLD:
    case CMD_UPDATE_THRESHOLD:
      return threshold_fields(payload_of<ThresholdPayload>(request));
    case CMD_REMOVE_THRESHOLD: {
      const auto removal = payload_of<RemoveThresholdPayload>(request);
      return {{"a", +removal.a}, {"identifier", hex_of(removal.identifier)}, {"c", +removal.c}};
    }
    case CMD_REQUEST_DATA_UPLOAD:
      return upload_fields(payload_of<RequestDataUploadPayload>(request));
    case CMD_SET_UPLOAD_SCHEDULE: {
      const auto schedule = payload_of<SetUploadSchedulePayload>(request);
      return {{"start_hour", schedule.start_hour}, {"interval", schedule.interval}};
    }
    case CMD_SET_THRESHOLD_VIOLATION_STATE: {
      const auto state = payload_of<SetThresholdViolationStatePayload>(request);
      return {{"a", +state.a}, {"b", +state.b}, {"c", +state.c}, {"identifier", hex_of(state.identifier)}};
    }
    case CMD_DEBUG:
      return {{"level", +payload_of<DebugPayload>(request).level}};
    case CMD_SET_CORRELATOR_SUFFIX:
      return suffix_fields(payload_of<SetCorrelatorSuffixPayload>(request));
    case CMD_REGISTER_LISTENER:
      return {{"listener", +payload_of<RegisterListenerPayload>(request).listener}};
    case CMD_DEREGISTER_LISTENER:
      return {{"listener", +payload_of<DeregisterListenerPayload>(request).listener}};
    case CMD_SET_LISTENER_FILTER: {
      const auto filter = payload_of<SetListenerFilterPayload>(request);
      return {{"filter", {+filter.values[0], +filter.values[1], +filter.values[2], +filter.values[3]}}};
    }
    case CMD_SET_REALTIME_SEND_INTERVAL:
      return {{"interval", +payload_of<SetRealtimeSendIntervalPayload>(request).interval}};
    default:
      return Json::object();
  }
}

std::string plain(const Json& fields) {
  std::string text;
  for (const auto& [name, value] : fields.items()) text += ' ' + name + '=' + compact(value);
  return text;
}

}  // namespace

std::string request_line(LineForm form, uint64_t number, const TCLIMessage& request, int32_t result,
                         const std::string& remark) {
  const uint32_t code = message_code(request);
  const MessageInfo* message = find_message(code);
  const bool readable =
      message != nullptr && request.kind == CLI_SINGLE &&
      (message->payload_size_bytes == kAnyPayload || request.length == message->payload_size_bytes);
  Json fields = readable ? payload_fields(request) : Json{{"length", request.length}, {"kind", request.kind}};
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
