#include "standin/decisions.h"

#include <array>
#include <cstring>

#include "standin/messages.h"

namespace mar::standin {

namespace {

constexpr uint8_t kLastHour = 23;
constexpr uint8_t kMaxUploadInterval = 24;
constexpr uint32_t kMaxLogLevel = 3;

constexpr int32_t accepted_if(bool condition) { return condition ? MAR_OK : ZARN_INVALID_PARAMETER; }

ThresholdKey threshold_key(uint32_t policy, const TIdentifierBlock& identifier, uint32_t number) {
  std::array<uint8_t, sizeof(TIdentifierBlock)> block;
  std::memcpy(block.data(), identifier.bytes, block.size());
  return {policy, block, number};
}

// Stores `value` at `key`, replacing what is there.
template <typename Map, typename Value>
int32_t put_record(Map& records, const typename Map::key_type& key, const Value& value) {
  if (records.size() >= kMaxRecords && !records.contains(key)) return ZARNERR_NOENOUGHMEMORY;
  records.insert_or_assign(key, value);
  return MAR_OK;
}

}  // namespace

int32_t decide(EngineState& state, const TCLIMessage& request) {
  const Message* message = find_message(message_code(request));
  if (message == nullptr) return ZARNERR_UNSUPPORTED;
  return is_well_formed(*message, request) ? message->apply(state, request) : ZARN_INVALID_PARAMETER;
}

int32_t accept(EngineState&) { return MAR_OK; }

int32_t stop_engine(EngineState& state) {
  state.stop_requested = true;
  return MAR_OK;
}

// Removes policies and what depends on them. Settings stay.
int32_t clear_engine(EngineState& state) {
  state.policies.clear();
  state.thresholds.clear();
  state.violation_reports = 0;
  return MAR_OK;
}

int32_t put_policy(EngineState& state, const EdgePolicyPayload& policy) {
  const uint32_t id = policy.definition.numbers[0];
  return put_record(state.policies, id, policy);
}

int32_t remove_policy(EngineState& state, const RemoveEdgePolicyPayload& removal) {
  return accepted_if(state.policies.erase(removal.management_policy_id) == 1);
}

int32_t put_threshold(EngineState& state, const ThresholdPayload& threshold) {
  const TPolicyDefinition& definition = threshold.definition;
  const auto key = threshold_key(definition.numbers[2], definition.identifier, definition.numbers[1]);
  return put_record(state.thresholds, key, threshold);
}

int32_t remove_threshold(EngineState& state, const RemoveThresholdPayload& removal) {
  return accepted_if(state.thresholds.erase(threshold_key(removal.a, removal.identifier, removal.c)) == 1);
}

int32_t report_violation(EngineState& state, const SetThresholdViolationStatePayload&) {
  ++state.violation_reports;
  return MAR_OK;
}

// Policies that exist have collected something; all others have nothing to upload.
int32_t upload_data(EngineState& state, const RequestDataUploadPayload& upload) {
  if (upload.policy_id < 1 || upload.end_time_s < upload.start_time_s) return ZARN_INVALID_PARAMETER;
  const bool collected = state.policies.contains(static_cast<uint32_t>(upload.policy_id));
  return collected ? MAR_OK : MAR_NOTHING_TO_UPLOAD;
}

int32_t set_schedule(EngineState& state, const SetUploadSchedulePayload& schedule) {
  if (schedule.start_hour > kLastHour) return ZARN_INVALID_PARAMETER;
  if (schedule.interval == 0 || schedule.interval > kMaxUploadInterval) return ZARN_INVALID_PARAMETER;
  state.upload_start_hour = schedule.start_hour;
  state.upload_interval = schedule.interval;
  return MAR_OK;
}

int32_t set_log_level(EngineState& state, const DebugPayload& debug) {
  if (debug.level > kMaxLogLevel) return ZARN_INVALID_PARAMETER;
  state.log_level = debug.level;
  return MAR_OK;
}

int32_t set_suffix(EngineState& state, const SetCorrelatorSuffixPayload& suffix) {
  if (suffix.length > kCorrelatorSuffixMax) return ZARN_INVALID_PARAMETER;
  state.correlator_suffix.assign(suffix.suffix, suffix.suffix + suffix.length);
  return MAR_OK;
}

int32_t add_listener(EngineState& state, const RegisterListenerPayload& registration) {
  state.listeners.insert(registration.listener);
  return MAR_OK;
}

int32_t remove_listener(EngineState& state, const DeregisterListenerPayload& removal) {
  return accepted_if(state.listeners.erase(removal.listener) == 1);
}

int32_t set_listener_filter(EngineState& state, const SetListenerFilterPayload& filter) {
  std::memcpy(state.listener_filter.data(), filter.values, sizeof(filter.values));
  return MAR_OK;
}

int32_t set_send_interval(EngineState& state, const SetRealtimeSendIntervalPayload& setting) {
  if (setting.interval == 0) return ZARN_INVALID_PARAMETER;
  state.realtime_send_interval = setting.interval;
  return MAR_OK;
}

}  // namespace mar::standin
