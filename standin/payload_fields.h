// The fields of each payload by name, for the line that is printed for a request. Texts in a payload need not
// end and need not be UTF-8; what is printed ends with the field at the latest.
#pragma once

#include <cstddef>
#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "contract/payloads.h"
#include "standin/messages.h"

namespace mar::standin {

std::string hex_of(const uint8_t* bytes, size_t count);

Json edge_policy_fields(const EdgePolicyPayload& policy);
Json policy_removal_fields(const RemoveEdgePolicyPayload& removal);
Json threshold_fields(const ThresholdPayload& threshold);
Json threshold_removal_fields(const RemoveThresholdPayload& removal);
Json violation_fields(const SetThresholdViolationStatePayload& report);
Json upload_fields(const RequestDataUploadPayload& upload);
Json schedule_fields(const SetUploadSchedulePayload& schedule);
Json debug_fields(const DebugPayload& debug);
Json suffix_fields(const SetCorrelatorSuffixPayload& suffix);
Json registration_fields(const RegisterListenerPayload& registration);
Json deregistration_fields(const DeregisterListenerPayload& removal);
Json listener_filter_fields(const SetListenerFilterPayload& filter);
Json send_interval_fields(const SetRealtimeSendIntervalPayload& setting);

}  // namespace mar::standin
