// The payload that follows the request header of each message: packed, in host byte order. The engine command
// functions fill these and the stand-in engine decodes them. Messages without a payload have no struct here.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

#include "contract/policy.h"

namespace mar {

inline constexpr int kCorrelatorSuffixMax = 512;  // bytes

#pragma pack(push, 1)

struct EdgePolicyPayload {  // CMD_ADD_EDGE_POLICY, CMD_UPDATE_EDGE_POLICY
  TPolicyDefinition definition;
  TEdgeKey key;
};

struct RemoveEdgePolicyPayload {  // CMD_REMOVE_EDGE_POLICY
  uint32_t management_policy_id;
};

struct ThresholdPayload {  // CMD_ADD_THRESHOLD, CMD_UPDATE_THRESHOLD
  uint32_t a;
  uint32_t b;
  uint32_t c;
  uint8_t d;
  TPolicyDefinition definition;
  uint8_t e;
};

struct RemoveThresholdPayload {  // CMD_REMOVE_THRESHOLD
  uint32_t a;
  TIdentifierBlock identifier;
  uint32_t c;
};

struct RequestDataUploadPayload {  // CMD_REQUEST_DATA_UPLOAD
  uint32_t request_id;
  int32_t policy_id;
  TIdentifierBlock blocks[3];
  uint32_t start_time_s;  // seconds since the epoch
  uint32_t end_time_s;
  uint8_t flag_1;
  uint8_t flag_2;
  uint8_t reserved[4];  // zero
};

struct SetUploadSchedulePayload {  // CMD_SET_UPLOAD_SCHEDULE
  uint8_t start_hour;
  uint8_t interval;
};

struct SetThresholdViolationStatePayload {  // CMD_SET_THRESHOLD_VIOLATION_STATE
  uint32_t b;                               // kept as is: the second argument comes first
  uint8_t c;
  uint32_t a;
  TIdentifierBlock identifier;
};

struct DebugPayload {  // CMD_DEBUG
  uint32_t level;
};

struct PingEnginePayload {  // CMD_PING_ENGINE
  uint32_t zero;
};

struct SetCorrelatorSuffixPayload {  // CMD_SET_CORRELATOR_SUFFIX
  uint8_t suffix[kCorrelatorSuffixMax];
  uint32_t length;  // bytes of suffix in use
};

struct RegisterListenerPayload {  // CMD_REGISTER_LISTENER
  uint16_t listener;
};

struct SetListenerFilterPayload {  // CMD_SET_LISTENER_FILTER
  uint32_t values[4];
};

struct DeregisterListenerPayload {  // CMD_DEREGISTER_LISTENER
  uint32_t listener;
};

struct SetRealtimeSendIntervalPayload {  // CMD_SET_REALTIME_SEND_INTERVAL
  uint32_t interval;
};

#pragma pack(pop)

static_assert(sizeof(EdgePolicyPayload) == 5488 && offsetof(EdgePolicyPayload, key) == 5444);
static_assert(sizeof(RemoveEdgePolicyPayload) == 4);
static_assert(sizeof(ThresholdPayload) == 5458);
static_assert(offsetof(ThresholdPayload, c) == 8 && offsetof(ThresholdPayload, d) == 12);
static_assert(offsetof(ThresholdPayload, definition) == 13 && offsetof(ThresholdPayload, e) == 5457);
static_assert(sizeof(RemoveThresholdPayload) == 32);
static_assert(offsetof(RemoveThresholdPayload, identifier) == 4 && offsetof(RemoveThresholdPayload, c) == 28);
static_assert(sizeof(RequestDataUploadPayload) == 94);
static_assert(offsetof(RequestDataUploadPayload, blocks) == 8);
static_assert(offsetof(RequestDataUploadPayload, start_time_s) == 80);
static_assert(offsetof(RequestDataUploadPayload, flag_1) == 88);
static_assert(offsetof(RequestDataUploadPayload, reserved) == 90);
static_assert(sizeof(SetUploadSchedulePayload) == 2 && offsetof(SetUploadSchedulePayload, interval) == 1);
static_assert(sizeof(SetThresholdViolationStatePayload) == 33);
static_assert(offsetof(SetThresholdViolationStatePayload, c) == 4);
static_assert(offsetof(SetThresholdViolationStatePayload, a) == 5);
static_assert(offsetof(SetThresholdViolationStatePayload, identifier) == 9);
static_assert(sizeof(DebugPayload) == 4 && sizeof(PingEnginePayload) == 4);
static_assert(sizeof(SetCorrelatorSuffixPayload) == 516 &&
              offsetof(SetCorrelatorSuffixPayload, length) == 512);
static_assert(sizeof(RegisterListenerPayload) == 2);
static_assert(sizeof(SetListenerFilterPayload) == 16);
static_assert(sizeof(DeregisterListenerPayload) == 4);
static_assert(sizeof(SetRealtimeSendIntervalPayload) == 4);

}  // namespace mar
