#include "engine_client/commands.h"

#include <algorithm>
#include <cstring>

#include "contract/message.h"
#include "contract/payloads.h"
#include "engine_client/api_worker.h"
#include "engine_client/call.h"
#include "ipc/cause.h"
#include "ipc/command_log.h"
#include "log/engine_log.h"
#include "util/deadline.h"

using namespace mar;

namespace mar {

namespace {

template <typename Payload>
int32_t send(const char* log_name, uint32_t code, const Payload& payload) {
  return mar_api_worker(log_name, code, &payload, sizeof payload);
}

// The engine removes its queue after this answer. A caller that came back at once would still find it.
void let_engine_stop(const char* log_name) {
  pause_call(1000);
  ZARNLog(kBackend, kCommandLevel, "%s: Connecting to the engine through the libarm channel", log_name);
}

}  // namespace

}  // namespace mar

// Kept as is: only these two log their names without "()".
int32_t mar_clear_eng() { return mar_api_worker("mar_clear_eng", CMD_CLEAR_ENGINE, nullptr, 0); }

int32_t mar_stop_engine() {
  return mar::run_bare_command("mar_stop_engine", CMD_STOP_ENGINE, mar::let_engine_stop);
}

int32_t mar_add_edge_policy(TPolicyDefinition definition, TEdgeKey key) {
  return mar::send("mar_add_edge_policy()", CMD_ADD_EDGE_POLICY, mar::EdgePolicyPayload{definition, key});
}

int32_t mar_update_edge_policy(TPolicyDefinition definition, TEdgeKey key) {
  return mar::send("mar_update_edge_policy()", CMD_UPDATE_EDGE_POLICY,
                   mar::EdgePolicyPayload{definition, key});
}

int32_t mar_remove_edge_policy(uint32_t management_policy_id) {
  return mar::send("mar_remove_edge_policy()", CMD_REMOVE_EDGE_POLICY,
                   mar::RemoveEdgePolicyPayload{management_policy_id});
}

int32_t mar_add_threshold(uint32_t a, uint32_t b, uint32_t c, uint8_t d, uint8_t e,
                          TPolicyDefinition definition) {
  return mar::send("mar_add_threshold()", CMD_ADD_THRESHOLD,
                   mar::ThresholdPayload{a, b, c, d, definition, e});
}

int32_t mar_update_threshold(uint32_t a, uint32_t b, uint32_t c, uint8_t d, uint8_t e,
                             TPolicyDefinition definition) {
  return mar::send("mar_update_threshold()", CMD_UPDATE_THRESHOLD,
                   mar::ThresholdPayload{a, b, c, d, definition, e});
}

int32_t mar_remove_threshold(uint32_t a, const TIdentifierBlock* identifier, uint32_t c) {
  const TIdentifierBlock block = identifier != nullptr ? *identifier : TIdentifierBlock{};
  return mar::send("mar_remove_threshold()", CMD_REMOVE_THRESHOLD, mar::RemoveThresholdPayload{a, block, c});
}

int32_t mar_set_threshold_violation_state(uint32_t a, uint32_t b, uint8_t c, TIdentifierBlock identifier) {
  return mar::send("mar_set_threshold_violation_state()", CMD_SET_THRESHOLD_VIOLATION_STATE,
                   mar::SetThresholdViolationStatePayload{b, c, a, identifier});
}

int32_t mar_request_data_upload(uint32_t request_id, int32_t policy_id, uint32_t start_time_s,
                                uint32_t end_time_s, uint8_t flag_1, uint8_t flag_2, TIdentifierBlock block_1,
                                TIdentifierBlock block_2, TIdentifierBlock block_3) {
  constexpr char kLogName[] = "mar_request_data_upload()";
  if (policy_id < 1) {
    const mar::Call call;
    if (call.is_nested()) return MAR_EXCHANGE_FAILED;
    mar::note_cause(MAR_CAUSE_BAD_ARGUMENT);
    ZARNLog(kBackend, mar::kErrorLevel, "%s: Policy ID is invalid [%d] must be > 0\n", kLogName, policy_id);
    return MAR_INVALID_POLICY_ID;
  }
  return mar::send(kLogName, CMD_REQUEST_DATA_UPLOAD,
                   mar::RequestDataUploadPayload{.request_id = request_id,
                                                 .policy_id = policy_id,
                                                 .blocks = {block_1, block_2, block_3},
                                                 .start_time_s = start_time_s,
                                                 .end_time_s = end_time_s,
                                                 .flag_1 = flag_1,
                                                 .flag_2 = flag_2,
                                                 .reserved = {}});
}

int32_t mar_set_upload_schedule(int32_t start_hour, int32_t interval) {
  return mar::send(
      "mar_set_upload_schedule()", CMD_SET_UPLOAD_SCHEDULE,
      mar::SetUploadSchedulePayload{static_cast<uint8_t>(start_hour), static_cast<uint8_t>(interval)});
}

int32_t mar_dump(uint32_t) { return mar_api_worker("mar_dump()", CMD_DUMP, nullptr, 0); }

int32_t mar_debug(uint32_t level) { return mar::send("mar_debug()", CMD_DEBUG, mar::DebugPayload{level}); }

int32_t mar_ping_engine() {
  return mar::send("mar_ping_engine()", CMD_PING_ENGINE, mar::PingEnginePayload{0});
}

int32_t mar_set_correlator_suffix(const uint8_t* suffix, int32_t length) {
  mar::SetCorrelatorSuffixPayload payload{};
  if (suffix != nullptr && length > 0) {
    payload.length = static_cast<uint32_t>(std::min(length, mar::kCorrelatorSuffixMax));
    std::memcpy(payload.suffix, suffix, payload.length);
  }
  return mar::send("mar_set_correlator_suffix()", CMD_SET_CORRELATOR_SUFFIX, payload);
}

int32_t mar_register_listener(int32_t listener) {
  return mar::send("mar_register_listener()", CMD_REGISTER_LISTENER,
                   mar::RegisterListenerPayload{static_cast<uint16_t>(listener)});
}

int32_t mar_deregister_listener(uint32_t listener) {
  return mar::send("mar_deregister_listener()", CMD_DEREGISTER_LISTENER,
                   mar::DeregisterListenerPayload{listener});
}

int32_t mar_set_listener_filter(uint32_t value_1, uint32_t value_2, uint32_t value_3, uint32_t value_4) {
  return mar::send("mar_set_listener_filter()", CMD_SET_LISTENER_FILTER,
                   mar::SetListenerFilterPayload{{value_1, value_2, value_3, value_4}});
}

int32_t mar_set_realtime_send_interval(uint32_t interval) {
  return mar::send("mar_set_realtime_send_interval()", CMD_SET_REALTIME_SEND_INTERVAL,
                   mar::SetRealtimeSendIntervalPayload{interval});
}
