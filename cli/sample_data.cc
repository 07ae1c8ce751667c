#include "cli/sample_data.h"

namespace mar::cli {

namespace {

constexpr const char* kAny = ".*";

consteval EdgePolicySample edge(uint8_t record, const char* host, const char* transaction) {
  const uint32_t number = record == 13 ? 100 : record + 1u;
  EdgePolicySample made{};
  made.key.bytes[0] = record == 13 ? 1 : 0;
  made.key.bytes[1] = record == 2 ? 1 : 0;
  made.key.bytes[2] = 100;
  made.key.bytes[3] = 127;
  made.key.bytes[4] = 24;
  made.key.setting_6 = 5;
  made.key.setting_8 = 15;
  made.key.limit_16 = 0x7FFFFFFF;
  made.key.setting_36 = 1000;
  made.key.number = record % 2 == 0 ? 2 : 0;
  made.definition = policy_definition(number, number, number, kAny, host, kAny, transaction);
  return made;
}

struct Limits {
  uint32_t a, b, c;
  uint8_t d, e;
};

consteval ThresholdSample threshold(Limits limits, uint32_t number, const char* host,
                                    const char* transaction) {
  ThresholdSample made{limits.a, limits.b, limits.c, limits.d, limits.e, {}, {}};
  made.definition = policy_definition(1, number, 1, kAny, host, kAny, transaction);
  for (int i = 20; i < 24; ++i) made.definition.identifier.bytes[i] = 0xFF;
  return made;
}

}  // namespace

}  // namespace mar::cli

using mar::cli::edge;
using mar::cli::kAny;
using mar::cli::threshold;

constinit mar::cli::EdgePolicySample EDGES[] = {
    edge(0, kAny, kAny),
    edge(1, kAny, "A.*"),
    edge(2, "labhost.*", kAny),
    edge(3, "labhost.*", "j.*"),
    edge(4, "labhost.*", "k.*"),
    edge(5, "webnode.*", "Login.*"),
    edge(6, "webnode.*", "Search.*"),
    edge(7, "webnode.*", "Checkout.*"),
    edge(8, "appnode.*", "Order.*"),
    edge(9, "appnode.*", "Invoice.*"),
    edge(10, "appnode.*", "Stock.*"),
    edge(11, "dbnode.*", "Query.*"),
    edge(12, "dbnode.*", "Report.*"),
    edge(13, "branch.*", kAny),
};

constinit mar::cli::ThresholdSamples ADD_THRESHES = {
    .record = {threshold({100, 500, 2, 10, 15}, 1, "labhost.*", kAny),
               threshold({0, 0, 0, 0, 4}, 2, "labhost.*", "Checkout.*"),
               threshold({0, 0, 0, 0, 4}, 3, "labhost.*", "Login.*")},
    .unused = {},
};
