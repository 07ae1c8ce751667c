// What the engine decides about each request. Every request changes the state or is refused; a refused one
// changes nothing. No queue and no output here; one thread.
#pragma once

#include <cstddef>
#include <cstdint>

#include "contract/message.h"
#include "contract/payloads.h"
#include "standin/engine_state.h"

namespace mar::standin {

inline constexpr size_t kMaxRecords = 4096;  // policies, and thresholds

// Applies `request` and returns its result:
//   MAR_OK                    accepted
//   MAR_NOTHING_TO_UPLOAD     accepted; the policy has collected nothing
//   ZARNERR_UNSUPPORTED       unknown code
//   ZARN_INVALID_PARAMETER    wrong payload size, a value out of range, or no such thing to remove
//   ZARNERR_NOENOUGHMEMORY    more than kMaxRecords
int32_t decide(EngineState& state, const TCLIMessage& request);

// The decisions for single messages, which decide() finds by way of standin/messages.h. Adding what is
// already there replaces it, as updating does, so a client that lost its answer can ask again.
int32_t accept(EngineState& state);  // changes nothing
int32_t stop_engine(EngineState& state);
int32_t clear_engine(EngineState& state);
int32_t put_policy(EngineState& state, const EdgePolicyPayload& policy);
int32_t remove_policy(EngineState& state, const RemoveEdgePolicyPayload& removal);
int32_t put_threshold(EngineState& state, const ThresholdPayload& threshold);
int32_t remove_threshold(EngineState& state, const RemoveThresholdPayload& removal);
int32_t report_violation(EngineState& state, const SetThresholdViolationStatePayload& report);
int32_t upload_data(EngineState& state, const RequestDataUploadPayload& upload);
int32_t set_schedule(EngineState& state, const SetUploadSchedulePayload& schedule);
int32_t set_log_level(EngineState& state, const DebugPayload& debug);
int32_t set_suffix(EngineState& state, const SetCorrelatorSuffixPayload& suffix);
int32_t add_listener(EngineState& state, const RegisterListenerPayload& registration);
int32_t remove_listener(EngineState& state, const DeregisterListenerPayload& removal);
int32_t set_listener_filter(EngineState& state, const SetListenerFilterPayload& filter);
int32_t set_send_interval(EngineState& state, const SetRealtimeSendIntervalPayload& setting);

}  // namespace mar::standin
