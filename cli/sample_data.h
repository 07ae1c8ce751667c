// The built-in edge policies and thresholds that the add and remove commands send. They are writable, and lie
// in the program file as they are sent, so they cost nothing at start-up.
#pragma once

#include <cstddef>
#include <cstdint>

#include "contract/policy.h"

namespace mar::cli {

inline constexpr int32_t kEdgePolicySamples = 14;
inline constexpr int32_t kThresholdSamples = 3;

#pragma pack(push, 1)

struct EdgePolicySample {
  TEdgeKey key;
  TPolicyDefinition definition;
};

struct ThresholdSample {
  uint32_t a;
  uint32_t b;
  uint32_t c;
  uint8_t d;
  uint8_t e;
  uint8_t padding[2];
  TPolicyDefinition definition;
};

struct ThresholdSamples {
  ThresholdSample record[kThresholdSamples];
  uint8_t unused[4];
};

#pragma pack(pop)

static_assert(sizeof(EdgePolicySample) == 5488 && offsetof(EdgePolicySample, definition) == 44);
static_assert(sizeof(ThresholdSample) == 5460 && offsetof(ThresholdSample, definition) == 16);
static_assert(offsetof(ThresholdSample, d) == 12 && offsetof(ThresholdSample, e) == 13);
static_assert(sizeof(ThresholdSamples) == 16384);

// A definition with an identifier block of zeros. Only the compiler makes one, so a pattern that is too long
// does not compile.
consteval TPolicyDefinition policy_definition(uint32_t number_0, uint32_t number_1, uint32_t number_2,
                                              const char* pattern, const char* host, const char* application,
                                              const char* transaction) {
  TPolicyDefinition made{};
  made.numbers[0] = number_0;
  made.numbers[1] = number_1;
  made.numbers[2] = number_2;
  for (int i = 0; pattern[i] != 0; ++i) made.pattern[i] = pattern[i];
  for (int i = 0; host[i] != 0; ++i) made.host_pattern[i] = host[i];
  for (int i = 0; application[i] != 0; ++i) made.application_pattern[i] = application[i];
  for (int i = 0; transaction[i] != 0; ++i) made.transaction_pattern[i] = transaction[i];
  return made;
}

}  // namespace mar::cli

extern mar::cli::EdgePolicySample EDGES[mar::cli::kEdgePolicySamples];
extern mar::cli::ThresholdSamples ADD_THRESHES;

static_assert(sizeof(EDGES) == 76832);
