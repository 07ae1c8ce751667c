// What a small engine remembers and how it decides: every request changes the state or is refused. No queue
// and no output here; one thread.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <tuple>

#include "contract/message.h"
#include "contract/payloads.h"

namespace mar::standin {

// The number by which a threshold's policy knows it, its identifier block, its own number: what a removal
// names.
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
};

class EngineModel {
 public:
  static constexpr size_t kMaxRecords = 4096;  // of each kind

  // Applies `request` and returns its result: MAR_OK; MAR_NOTHING_TO_UPLOAD; ZARNERR_UNSUPPORTED for an
  // unknown code; ZARN_INVALID_PARAMETER for a payload of the wrong size, a value out of range, or something
  // to remove that is not there; ZARNERR_NOENOUGHMEMORY beyond kMaxRecords. A refused request changes
  // nothing. Adding what is there already replaces it, as updating does, so that a client which lost its
  // answer can ask again.
  int32_t Apply(const TCLIMessage& request);

  const EngineState& state() const { return state_; }

  // Whether a stop request has been accepted.
  bool stop_requested() const { return stop_requested_; }

 private:
  int32_t PutPolicy(const EdgePolicyPayload& policy);
  int32_t PutThreshold(const ThresholdPayload& threshold);
  int32_t RemoveThreshold(const RemoveThresholdPayload& request);
  int32_t Upload(const RequestDataUploadPayload& request) const;
  int32_t SetSchedule(const SetUploadSchedulePayload& schedule);
  int32_t SetSuffix(const SetCorrelatorSuffixPayload& suffix);
  int32_t Clear();

  EngineState state_;
  bool stop_requested_ = false;
};

}  // namespace mar::standin
