// What a small engine remembers between requests.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <set>
#include <string>
#include <tuple>

#include "contract/payloads.h"

namespace mar::standin {

// What a removal names: the policy's number, the threshold's identifier block, the threshold's number.
using ThresholdKey = std::tuple<uint32_t, std::array<uint8_t, sizeof(TIdentifierBlock)>, uint32_t>;

struct EngineState {
  std::map<uint32_t, EdgePolicyPayload> policies;  // by the first number of the definition
  std::map<ThresholdKey, ThresholdPayload> thresholds;
  std::set<uint32_t> listeners;
  std::array<uint32_t, 4> listener_filter{};
  std::string correlator_suffix;
  uint8_t upload_start_hour = 0;
  uint8_t upload_interval = 24;
  uint32_t log_level = 3;
  uint32_t realtime_send_interval = 10;
  uint64_t violation_reports = 0;  // set-threshold-violation-state requests accepted
  bool stop_requested = false;     // a stop request has been accepted
};

}  // namespace mar::standin
