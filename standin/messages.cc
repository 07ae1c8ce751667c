#include "standin/messages.h"

#include <algorithm>
#include <cstring>
#include <iterator>
#include <nlohmann/json.hpp>

#include "contract/byte_order.h"
#include "standin/decisions.h"
#include "standin/payload_fields.h"

namespace mar::standin {

namespace {

template <typename Payload>
Payload payload_of(const TCLIMessage& record) {
  static_assert(sizeof(Payload) <= CLI_MAX_BUFFER_SIZE);
  Payload payload;
  std::memcpy(&payload, record.data, sizeof(payload));
  return payload;
}

template <typename Payload>
Payload payload_type(int32_t (*)(EngineState&, const Payload&));  // never defined

// The decision's parameter fixes the type of the payload, and so its size.
template <auto kApply, auto kDescribe>
constexpr Message with_payload(const char* name, uint32_t code) {
  using Payload = decltype(payload_type(kApply));
  return {name, code, sizeof(Payload),
          [](EngineState& state, const TCLIMessage& request) {
            return kApply(state, payload_of<Payload>(request));
          },
          [](const TCLIMessage& request) { return kDescribe(payload_of<Payload>(request)); }};
}

template <auto kApply>
constexpr Message without_fields(const char* name, uint32_t code, int32_t payload_size_bytes = 0) {
  return {name, code, payload_size_bytes,
          [](EngineState& state, const TCLIMessage&) { return kApply(state); },
          [](const TCLIMessage&) { return Json::object(); }};
}

constexpr Message kMessages[] = {
    without_fields<accept>("start-send", CMD_START_SEND, kAnyPayload),
    without_fields<stop_engine>("stop-engine", CMD_STOP_ENGINE),
    without_fields<clear_engine>("clear-engine", CMD_CLEAR_ENGINE),
    with_payload<put_policy, edge_policy_fields>("add-edge-policy", CMD_ADD_EDGE_POLICY),
    with_payload<remove_policy, policy_removal_fields>("remove-edge-policy", CMD_REMOVE_EDGE_POLICY),
    with_payload<put_threshold, threshold_fields>("add-threshold", CMD_ADD_THRESHOLD),
    with_payload<remove_threshold, threshold_removal_fields>("remove-threshold", CMD_REMOVE_THRESHOLD),
    with_payload<put_threshold, threshold_fields>("update-threshold", CMD_UPDATE_THRESHOLD),
    with_payload<upload_data, upload_fields>("request-data-upload", CMD_REQUEST_DATA_UPLOAD),
    with_payload<put_policy, edge_policy_fields>("update-edge-policy", CMD_UPDATE_EDGE_POLICY),
    with_payload<set_schedule, schedule_fields>("set-upload-schedule", CMD_SET_UPLOAD_SCHEDULE),
    with_payload<report_violation, violation_fields>("set-threshold-violation-state",
                                                     CMD_SET_THRESHOLD_VIOLATION_STATE),
    without_fields<accept>("dump", CMD_DUMP),
    with_payload<set_log_level, debug_fields>("debug", CMD_DEBUG),
    without_fields<accept>("ping-engine", CMD_PING_ENGINE, sizeof(PingEnginePayload)),
    with_payload<set_suffix, suffix_fields>("set-correlator-suffix", CMD_SET_CORRELATOR_SUFFIX),
    with_payload<add_listener, registration_fields>("register-listener", CMD_REGISTER_LISTENER),
    with_payload<set_listener_filter, listener_filter_fields>("set-listener-filter", CMD_SET_LISTENER_FILTER),
    with_payload<remove_listener, deregistration_fields>("deregister-listener", CMD_DEREGISTER_LISTENER),
    with_payload<set_send_interval, send_interval_fields>("set-realtime-send-interval",
                                                          CMD_SET_REALTIME_SEND_INTERVAL),
};

template <typename Matches>
const Message* first_that(Matches matches) {
  const Message* found = std::find_if(std::begin(kMessages), std::end(kMessages), matches);
  return found == std::end(kMessages) ? nullptr : found;
}

}  // namespace

std::span<const Message> known_messages() { return kMessages; }

const Message* find_message(uint32_t code) {
  return first_that([code](const Message& message) { return message.code == code; });
}

const Message* find_message(std::string_view name) {
  return first_that([name](const Message& message) { return message.name == name; });
}

bool is_well_formed(const Message& message, const TCLIMessage& request) {
  return request.kind == CLI_SINGLE &&
         (message.payload_size_bytes == kAnyPayload || request.length == message.payload_size_bytes);
}

uint32_t message_code(const TCLIMessage& record) {
  uint8_t bytes[sizeof(record.command)];
  std::memcpy(bytes, &record.command, sizeof(bytes));
  return get_be32(bytes);
}

}  // namespace mar::standin
