#include "standin/engine_model.h"

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

// Puts `value` at `key`, in the place of what is there.
template <typename Map, typename Value>
int32_t put_record(Map& records, const typename Map::key_type& key, const Value& value) {
  if (records.size() >= EngineModel::kMaxRecords && !records.contains(key)) return ZARNERR_NOENOUGHMEMORY;
  records.insert_or_assign(key, value);
  return MAR_OK;
}

}  // namespace

int32_t EngineModel::Apply(const TCLIMessage& request) {
  const MessageInfo* message = find_message(message_code(request));
  if (message == nullptr) return ZARNERR_UNSUPPORTED;
  if (request.kind != CLI_SINGLE) return ZARN_INVALID_PARAMETER;
  if (message->payload_size_bytes != kAnyPayload && request.length != message->payload_size_bytes) {
    return ZARN_INVALID_PARAMETER;
  }
  switch (message->code) {
    case CMD_STOP_ENGINE:
      stop_requested_ = true;
      return MAR_OK;
    case CMD_CLEAR_ENGINE:
      return Clear();
    case CMD_ADD_EDGE_POLICY:
    case CMD_UPDATE_EDGE_POLICY:
      return PutPolicy(payload_of<EdgePolicyPayload>(request));
    case CMD_REMOVE_EDGE_POLICY:
      return accepted_if(
          state_.policies.erase(payload_of<RemoveEdgePolicyPayload>(request).management_policy_id) == 1);
    case CMD_ADD_THRESHOLD:
    case CMD_UPDATE_THRESHOLD:
      return PutThreshold(payload_of<ThresholdPayload>(request));
    case CMD_REMOVE_THRESHOLD:
      return RemoveThreshold(payload_of<RemoveThresholdPayload>(request));
    case CMD_SET_THRESHOLD_VIOLATION_STATE:
      ++state_.violation_reports;
      return MAR_OK;
    case CMD_REQUEST_DATA_UPLOAD:
      return Upload(payload_of<RequestDataUploadPayload>(request));
    case CMD_SET_UPLOAD_SCHEDULE:
      return SetSchedule(payload_of<SetUploadSchedulePayload>(request));
    case CMD_DEBUG: {
      const uint32_t level = payload_of<DebugPayload>(request).level;
      if (level <= kMaxLogLevel) state_.log_level = level;
      return accepted_if(level <= kMaxLogLevel);
    }
    case CMD_SET_REALTIME_SEND_INTERVAL: {
      const uint32_t interval = payload_of<SetRealtimeSendIntervalPayload>(request).interval;
      if (interval != 0) state_.realtime_send_interval = interval;
      return accepted_if(interval != 0);
    }
    case CMD_SET_CORRELATOR_SUFFIX:
      return SetSuffix(payload_of<SetCorrelatorSuffixPayload>(request));
    case CMD_REGISTER_LISTENER:
      state_.listeners.insert(payload_of<RegisterListenerPayload>(request).listener);
      return MAR_OK;
    case CMD_DEREGISTER_LISTENER:
      return accepted_if(state_.listeners.erase(payload_of<DeregisterListenerPayload>(request).listener) ==
                         1);
    case CMD_SET_LISTENER_FILTER: {
      const auto filter = payload_of<SetListenerFilterPayload>(request);
      std::memcpy(state_.listener_filter.data(), filter.values, sizeof(filter.values));
      return MAR_OK;
    }
    default:  // start-send, dump and ping change nothing
      return MAR_OK;
  }
}

int32_t EngineModel::PutPolicy(const EdgePolicyPayload& policy) {
  const uint32_t id = policy.definition.numbers[0];
  return put_record(state_.policies, id, policy);
}

int32_t EngineModel::PutThreshold(const ThresholdPayload& threshold) {
  const TPolicyDefinition& definition = threshold.definition;
  const auto key = threshold_key(definition.numbers[2], definition.identifier, definition.numbers[1]);
  return put_record(state_.thresholds, key, threshold);
}

int32_t EngineModel::RemoveThreshold(const RemoveThresholdPayload& request) {
  return accepted_if(state_.thresholds.erase(threshold_key(request.a, request.identifier, request.c)) == 1);
}

// A policy that is there has collected something; all others have nothing.
int32_t EngineModel::Upload(const RequestDataUploadPayload& request) const {
  if (request.policy_id < 1 || request.end_time_s < request.start_time_s) return ZARN_INVALID_PARAMETER;
  const bool collected = state_.policies.contains(static_cast<uint32_t>(request.policy_id));
  return collected ? MAR_OK : MAR_NOTHING_TO_UPLOAD;
}

int32_t EngineModel::SetSchedule(const SetUploadSchedulePayload& schedule) {
  if (schedule.start_hour > kLastHour) return ZARN_INVALID_PARAMETER;
  if (schedule.interval == 0 || schedule.interval > kMaxUploadInterval) return ZARN_INVALID_PARAMETER;
  state_.upload_start_hour = schedule.start_hour;
  state_.upload_interval = schedule.interval;
  return MAR_OK;
}

int32_t EngineModel::SetSuffix(const SetCorrelatorSuffixPayload& suffix) {
  if (suffix.length > kCorrelatorSuffixMax) return ZARN_INVALID_PARAMETER;
  state_.correlator_suffix.assign(suffix.suffix, suffix.suffix + suffix.length);
  return MAR_OK;
}

// Policies and what hangs on them; settings stay.
int32_t EngineModel::Clear() {
  state_.policies.clear();
  state_.thresholds.clear();
  state_.violation_reports = 0;
  return MAR_OK;
}

}  // namespace mar::standin
