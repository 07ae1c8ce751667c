#include "standin/messages.h"

#include <algorithm>

#include "contract/payloads.h"

namespace {

constexpr MessageInfo kMessages[] = {
    {"start-send", CMD_START_SEND, kAnyPayload},
    {"stop-engine", CMD_STOP_ENGINE, 0},
    {"clear-engine", CMD_CLEAR_ENGINE, 0},
    {"add-edge-policy", CMD_ADD_EDGE_POLICY, sizeof(EdgePolicyPayload)},
    {"remove-edge-policy", CMD_REMOVE_EDGE_POLICY, sizeof(RemoveEdgePolicyPayload)},
    {"add-threshold", CMD_ADD_THRESHOLD, sizeof(ThresholdPayload)},
    {"remove-threshold", CMD_REMOVE_THRESHOLD, sizeof(RemoveThresholdPayload)},
    {"update-threshold", CMD_UPDATE_THRESHOLD, sizeof(ThresholdPayload)},
    {"request-data-upload", CMD_REQUEST_DATA_UPLOAD, sizeof(RequestDataUploadPayload)},
    {"update-edge-policy", CMD_UPDATE_EDGE_POLICY, sizeof(EdgePolicyPayload)},
    {"set-upload-schedule", CMD_SET_UPLOAD_SCHEDULE, sizeof(SetUploadSchedulePayload)},
    {"set-threshold-violation-state", CMD_SET_THRESHOLD_VIOLATION_STATE,
     sizeof(SetThresholdViolationStatePayload)},
    {"dump", CMD_DUMP, 0},
    {"debug", CMD_DEBUG, sizeof(DebugPayload)},
    {"ping-engine", CMD_PING_ENGINE, sizeof(PingEnginePayload)},
    {"set-correlator-suffix", CMD_SET_CORRELATOR_SUFFIX, sizeof(SetCorrelatorSuffixPayload)},
    {"register-listener", CMD_REGISTER_LISTENER, sizeof(RegisterListenerPayload)},
    {"set-listener-filter", CMD_SET_LISTENER_FILTER, sizeof(SetListenerFilterPayload)},
    {"deregister-listener", CMD_DEREGISTER_LISTENER, sizeof(DeregisterListenerPayload)},
    {"set-realtime-send-interval", CMD_SET_REALTIME_SEND_INTERVAL, sizeof(SetRealtimeSendIntervalPayload)},
};

template <typename Matches>
const MessageInfo* first_that(Matches matches) {
  const MessageInfo* found = std::find_if(std::begin(kMessages), std::end(kMessages), matches);
  return found == std::end(kMessages) ? nullptr : found;
}

}  // namespace

std::span<const MessageInfo> known_messages() { return kMessages; }

const MessageInfo* find_message(uint32_t code) {
  return first_that([code](const MessageInfo& row) { return row.code == code; });
}

const MessageInfo* find_message(std::string_view name) {
  return first_that([name](const MessageInfo& row) { return row.name == name; });
}
