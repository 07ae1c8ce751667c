#include "cli/actions.h"

#include <ctime>

#include "cli/output.h"
#include "cli/sample_data.h"
#include "cli/settings.h"
#include "contract/message.h"
#include "engine_client/commands.h"
#include "util/deadline.h"

namespace mar::cli {

namespace {

struct Wording {
  const char* announcement;  // null: nothing is said before the command
  const char* success;
  const char* failure;  // up to the engine's result
  const char* failure_end;
  int32_t failure_status;
};

// Announces and runs `command`, then prints how it went.
template <typename Command>
int32_t run(const Wording& wording, Command command) {
  if (wording.announcement != nullptr) say(wording.announcement);
  const int32_t result = command();
  if (result == MAR_OK) {
    say(wording.success);
    return 0;
  }
  sayf("%s%d%s\n", wording.failure, result, wording.failure_end);
  return wording.failure_status;
}

TIdentifierBlock identifier_ending_in(uint8_t last) {
  TIdentifierBlock block{};
  block.bytes[23] = last;
  return block;
}

int32_t add_edge_policy(const EdgePolicySample& sample) {
  return mar_add_edge_policy(sample.definition, sample.key);
}

void add_first_edge_policy(bool ring) {
  say("Add a single Edge Policy here!");
  const int32_t result = add_edge_policy(EDGES[0]);
  if (result == MAR_OK) {
    say("Added edge policy successfully!");
  } else {
    sayf("%sERROR: Add edge policy failed [%d]\n", ring ? "\a" : "", result);
  }
}

void add_edge_policies(int32_t count) {
  sayf("Adding [%d] Edge Policies here!\n", count);
  for (int32_t i = 0; i < count; ++i) {
    const int32_t result = add_edge_policy(EDGES[i]);
    if (result == MAR_OK) {
      sayf(".");
    } else {
      sayf("\aERROR: Add edge policy failed [%d]\n", result);
    }
  }
  say("");
  // Kept as is: said even when some, or all, were refused.
  say("All edge policies successfully added!");
}

}  // namespace

}  // namespace mar::cli

using namespace mar::cli;  // the product's actions live outside it

int32_t StopEng() {
  return run({"Stop the engine here!", "Stopped the engine successfully!",
              "\aERROR: Stop of the engine failed [", "]", 0},
             mar_stop_engine);
}

int32_t ClearEng() {
  return run({"Clear the engine here!", "Cleared the engine successfully!",
              "\aERROR: Clear of the engine failed [", "]", 0},
             mar_clear_eng);
}

int32_t AddEdgePolicy(int32_t ring) {
  if (addAllEdges == 0) {
    add_first_edge_policy(ring != 0);
  } else {
    add_edge_policies(addAllEdgesCount);
  }
  return 0;
}

int32_t RemoveEdgePolicy(int32_t identifier) {
  return run({"Remove an Edge Policy here!", "Removed edge policy successfully!",
              "\aERROR: Remove edge policy failed [", "]", 0},
             [identifier] { return mar_remove_edge_policy(static_cast<uint32_t>(identifier)); });
}

int32_t UpdateEdgePolicy() {
  static uint32_t counter = 2;
  static constexpr TPolicyDefinition kDefinition =
      policy_definition(2, 1, 3, "Test", "labhost01.example.com", "TestApp", "TestTrans2");
  const TEdgeKey key = {.bytes = {0, 1, 100, 127, 24, 0},
                        .setting_6 = 5,
                        .setting_8 = 15,
                        .setting_12 = 0,
                        .limit_16 = 0xFFFFFFFF,  // kept as is: the samples say 0x7FFFFFFF
                        .zero_20 = {},
                        .setting_36 = ++counter,
                        .number = 0};
  return run({"Update an Edge Policy here!", "Updated edge policy successfully!",
              "\aERROR: Update edge policy failed [", "]", -2},
             [&key] { return mar_update_edge_policy(kDefinition, key); });
}

int32_t AddThreshold() {
  sayf("Adding [%d] Threshold(s) here!\n", addThresholdsCount);
  for (int32_t i = 0; i < addThresholdsCount; ++i) {
    const ThresholdSample& sample = ADD_THRESHES.record[i];
    const int32_t result =
        mar_add_threshold(sample.a, sample.b, sample.c, sample.d, sample.e, sample.definition);
    if (result != MAR_OK) {
      sayf("\aERROR: Add threshold failed [%d]\n", result);
      break;
    }
    sayf(".");
  }
  say("");
  return 0;
}

int32_t UpdateThreshold() {
  static constexpr TPolicyDefinition kDefinition = policy_definition(2, 1, 3, "*", "*", "*", "*");
  return run({"Update a Threshold here!", "Updated threshold successfully!",
              "\aERROR: Update threshold failed [", "]", 0},
             [] { return mar_update_threshold(11, 22000, 0, 0, 7, kDefinition); });
}

int32_t RemoveThreshold() {
  return run({"Remove a Threshold here!", "Removed threshold successfully!",
              "\aERROR: Remove threshold failed [", "]", 0},
             [] {
               const TPolicyDefinition& sample = ADD_THRESHES.record[0].definition;
               return mar_remove_threshold(sample.numbers[2], &sample.identifier, sample.numbers[1]);
             });
}

int32_t RequestDataUpload() {
  say("Test good data upload");
  const auto now_s = static_cast<uint32_t>(time(nullptr));
  const int32_t result =
      mar_request_data_upload(static_cast<uint32_t>(VRequestID), 1, now_s, INT32_MAX, 1, 1,
                              identifier_ending_in(1), identifier_ending_in(2), identifier_ending_in(3));
  if (result == MAR_OK) {
    say("Request data upload successfully!");
  } else if (result == MAR_NOTHING_TO_UPLOAD) {
    say("  Request data upload worked, but NO data to upload.");
  } else {
    sayf("  \aERROR: Request Data upload failed [%d]\n", result);
    return -2;
  }
  return 0;
}

int32_t SetUploadSchedule() {
  constexpr int32_t kBadInterval = 0;
  sayf("Test with bad interval[%d]\n", kBadInterval);
  const int32_t bad_result = mar_set_upload_schedule(0, kBadInterval);
  if (bad_result == MAR_OK) {
    sayf("\aERROR: mar_set_upload_schedule worked with bad interval[%d].\n", kBadInterval);
  } else {
    sayf("mar_set_upload_schedule failed[%d] as it should.\n", bad_result);
  }

  say("Test with input values.");
  const int32_t result = mar_set_upload_schedule(abStartHour, abInterval);
  if (result == MAR_OK) {
    sayf("mar_set_upload_schedule worked with input values startHour[%d] interval[%d].\n", abStartHour,
         abInterval);
  } else {
    sayf("\aERROR: mar_set_upload_schedule failed[%d].\n", result);
  }
  return result;
}

int32_t dump() {
  return run({nullptr, "mar_dump worked!", "\aERROR: mar_dump failed[", "].", 1},
             [] { return mar_dump(UINT32_MAX); });
}

int32_t debug() {
  return run({nullptr, "mar_debug worked!", "\aERROR: mar_debug failed[", "].", 1},
             [] { return mar_debug(static_cast<uint32_t>(iLogLevel)); });
}

int32_t setRealtimeSendInterval() {
  return run(
      {nullptr, "  Set realtime send interval!", "  \aERROR: Set realtime send interval failed[", "]", 1},
      [] { return mar_set_realtime_send_interval(static_cast<uint32_t>(VRealtimeSendInterval)); });
}

int32_t clis() {
  doClis();
  return 0;
}

int32_t doClis() {
  for (int i = 0; i < 1000; ++i) {
    AddEdgePolicy(0);
    doSleep(100);
  }
  --iThreadsRunning;
  return 0;
}

int32_t doSleep(int32_t milliseconds) {
  if (milliseconds > 0) mar::pause_call(milliseconds);
  return 1;
}
