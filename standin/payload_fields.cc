#include "standin/payload_fields.h"

#include <algorithm>
#include <cstring>
#include <nlohmann/json.hpp>
#include <string>

namespace mar::standin {

std::string hex_of(const uint8_t* bytes, size_t count) {
  static constexpr char kDigits[] = "0123456789abcdef";
  std::string hex;
  for (size_t i = 0; i < count; ++i) {
    hex += kDigits[bytes[i] >> 4];
    hex += kDigits[bytes[i] & 15];
  }
  return hex;
}

namespace {

template <size_t N>
std::string text_of(const char (&field)[N]) {
  return {field, strnlen(field, N)};
}

std::string hex_of(const TIdentifierBlock& block) {
  return standin::hex_of(block.bytes, sizeof(block.bytes));
}

// A plus sign copies a packed member: a reference to one may be misaligned.
void add_definition(Json& fields, const TPolicyDefinition& definition) {
  fields["numbers"] = {+definition.numbers[0], +definition.numbers[1], +definition.numbers[2]};
  fields["identifier"] = hex_of(definition.identifier);
  fields["pattern"] = text_of(definition.pattern);
  fields["host"] = text_of(definition.host_pattern);
  fields["application"] = text_of(definition.application_pattern);
  fields["transaction"] = text_of(definition.transaction_pattern);
}

}  // namespace

Json edge_policy_fields(const EdgePolicyPayload& policy) {
  Json fields = Json::object();
  add_definition(fields, policy.definition);
  const TEdgeKey& key = policy.key;
  fields["key"] = hex_of(key.bytes, sizeof(key.bytes));
  fields["settings"] = {+key.setting_6, +key.setting_8, +key.setting_12, +key.limit_16, +key.setting_36};
  fields["number"] = +key.number;
  return fields;
}

Json policy_removal_fields(const RemoveEdgePolicyPayload& removal) {
  return {{"policy", +removal.management_policy_id}};
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

Json threshold_removal_fields(const RemoveThresholdPayload& removal) {
  return {{"a", +removal.a}, {"identifier", hex_of(removal.identifier)}, {"c", +removal.c}};
}

Json violation_fields(const SetThresholdViolationStatePayload& report) {
  return {{"a", +report.a}, {"b", +report.b}, {"c", +report.c}, {"identifier", hex_of(report.identifier)}};
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

Json schedule_fields(const SetUploadSchedulePayload& schedule) {
  return {{"start_hour", schedule.start_hour}, {"interval", schedule.interval}};
}

Json debug_fields(const DebugPayload& debug) { return {{"level", +debug.level}}; }

// The length comes from the client and may lie.
Json suffix_fields(const SetCorrelatorSuffixPayload& suffix) {
  const size_t length = std::min(size_t{suffix.length}, sizeof(suffix.suffix));
  return {{"suffix", std::string(suffix.suffix, suffix.suffix + length)}, {"length", +suffix.length}};
}

Json registration_fields(const RegisterListenerPayload& registration) {
  return {{"listener", +registration.listener}};
}

Json deregistration_fields(const DeregisterListenerPayload& removal) {
  return {{"listener", +removal.listener}};
}

Json listener_filter_fields(const SetListenerFilterPayload& filter) {
  return {{"filter", {+filter.values[0], +filter.values[1], +filter.values[2], +filter.values[3]}}};
}

Json send_interval_fields(const SetRealtimeSendIntervalPayload& setting) {
  return {{"interval", +setting.interval}};
}

}  // namespace mar::standin
