#include "standin/messages.h"

#include <algorithm>

#include "contract/payloads.h"

namespace {

constexpr MessageInfo kMessages[] = {
    {CMD_START_SEND, "start-send", kAnyPayload},
    {CMD_STOP_ENGINE, "stop-engine", 0},
    {CMD_CLEAR_ENGINE, "clear-engine", 0},
    {CMD_ADD_EDGE_POLICY, "add-edge-policy", sizeof(EdgePolicyPayload)},
    {CMD_REMOVE_EDGE_POLICY, "remove-edge-policy", sizeof(RemoveEdgePolicyPayload)},
    {CMD_ADD_THRESHOLD, "add-threshold", sizeof(ThresholdPayload)},
    {CMD_REMOVE_THRESHOLD, "remove-threshold", sizeof(RemoveThresholdPayload)},
    {CMD_UPDATE_THRESHOLD, "update-threshold", sizeof(ThresholdPayload)},
    {CMD_REQUEST_DATA_UPLOAD, "request-data-upload", sizeof(RequestDataUploadPayload)},
    {CMD_UPDATE_EDGE_POLICY, "update-edge-policy", sizeof(EdgePolicyPayload)},
    {CMD_SET_UPLOAD_SCHEDULE, "set-upload-schedule", sizeof(SetUploadSchedulePayload)},
    {CMD_SET_THRESHOLD_VIOLATION_STATE, "set-threshold-violation-state",
     sizeof(SetThresholdViolationStatePayload)},
    {CMD_DUMP, "dump", 0},
    {CMD_DEBUG, "debug", sizeof(DebugPayload)},
    {CMD_PING_ENGINE, "ping-engine", sizeof(PingEnginePayload)},
    {CMD_SET_CORRELATOR_SUFFIX, "set-correlator-suffix", sizeof(SetCorrelatorSuffixPayload)},
    {CMD_REGISTER_LISTENER, "register-listener", sizeof(RegisterListenerPayload)},
    {CMD_SET_LISTENER_FILTER, "set-listener-filter", sizeof(SetListenerFilterPayload)},
    {CMD_DEREGISTER_LISTENER, "deregister-listener", sizeof(DeregisterListenerPayload)},
    {CMD_SET_REALTIME_SEND_INTERVAL, "set-realtime-send-interval", sizeof(SetRealtimeSendIntervalPayload)},
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
