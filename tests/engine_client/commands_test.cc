#include "engine_client/commands.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>

#include "engine_client/api_worker.h"
#include "tests/engine_client/scripted_exchange.h"

namespace mar {

extern "C" int32_t set_schedule_from_c(void);

namespace {

template <typename Record>
Record filled(int byte) {
  Record record;
  memset(&record, byte, sizeof record);
  return record;
}

const auto kDefinition = filled<TPolicyDefinition>(0xDD);
const auto kBlock = filled<TIdentifierBlock>(0xBB);
const auto kKey = filled<TEdgeKey>(0xEE);

constexpr char kEdgePolicy[] = "0:dd*5444 5444:ee*44";
constexpr char kThreshold[] = "0:@01020304 4:@05060708 8:@090a0b0c 12:0d 13:dd*5444 5457:0e";

const uint8_t kSuffix[600] = {0xA1, 0xA2, 0xA3};
constexpr uint32_t kA = 0x01020304, kB = 0x05060708, kC = 0x090A0B0C;

// What one call returned, sent and logged first.
void expect_sent(const std::string& log_name, int32_t result, uint8_t code, size_t size, const char* pieces) {
  EXPECT_EQ(result, 1) << log_name;
  ASSERT_EQ(scripted_exchange.requests.size(), 1u) << log_name;
  EXPECT_EQ(hex_of(scripted_exchange.requests[0]), request_of(code, size, pieces)) << log_name;
  EXPECT_EQ(scripted_exchange.log[0], "8192 2 " + log_name + ": -------> function entry point <-------");
  scripted_exchange = {};
}

// Catches a field at the wrong place, of the wrong width or byte order, and a request under another code.
TEST(Commands, SendExactlyTheseBytes) {
  const std::vector<uint8_t> full(512, 0xA5);
  expect_sent("mar_clear_eng", mar_clear_eng(), 113, 0, "");
  expect_sent("mar_stop_engine", mar_stop_engine(), 101, 0, "");
  expect_sent("mar_add_edge_policy()", mar_add_edge_policy(kDefinition, kKey), 116, 5488, kEdgePolicy);
  expect_sent("mar_update_edge_policy()", mar_update_edge_policy(kDefinition, kKey), 122, 5488, kEdgePolicy);
  expect_sent("mar_remove_edge_policy()", mar_remove_edge_policy(kA), 117, 4, "0:@01020304");
  expect_sent("mar_add_threshold()", mar_add_threshold(kA, kB, kC, 13, 14, kDefinition), 118, 5458,
              kThreshold);
  expect_sent("mar_update_threshold()", mar_update_threshold(kA, kB, kC, 13, 14, kDefinition), 120, 5458,
              kThreshold);
  expect_sent("mar_remove_threshold()", mar_remove_threshold(kA, &kBlock, kC), 119, 32,
              "0:@01020304 4:bb*24 28:@090a0b0c");
  expect_sent("mar_remove_threshold()", mar_remove_threshold(kA, nullptr, kC), 119, 32,
              "0:@01020304 28:@090a0b0c");
  expect_sent("mar_request_data_upload()",
              mar_request_data_upload(kA, 7, kB, kC, 0xF1, 0xF2, filled<TIdentifierBlock>(0x11),
                                      filled<TIdentifierBlock>(0x22), kBlock),
              121, 94, "0:@01020304 4:@00000007 8:11*24 32:22*24 56:bb*24 80:@05060708 84:@090a0b0c 88:f1f2");
  expect_sent("mar_set_upload_schedule()", set_schedule_from_c(), 123, 2, "0:2c02");
  expect_sent("mar_set_upload_schedule()", mar_set_upload_schedule(-1, -256), 123, 2, "0:ff00");
  expect_sent("mar_set_threshold_violation_state()", mar_set_threshold_violation_state(kA, kB, 0xCC, kBlock),
              124, 33, "0:@05060708 4:cc 5:@01020304 9:bb*24");
  expect_sent("mar_dump()", mar_dump(kA), 125, 0, "");
  expect_sent("mar_debug()", mar_debug(kA), 126, 4, "0:@01020304");
  expect_sent("mar_ping_engine()", mar_ping_engine(), 127, 4, "");
  expect_sent("mar_set_correlator_suffix()", mar_set_correlator_suffix(kSuffix, 2), 128, 516,
              "0:a1a2 512:@00000002");
  expect_sent("mar_set_correlator_suffix()", mar_set_correlator_suffix(full.data(), 512), 128, 516,
              "0:a5*512 512:@00000200");
  expect_sent("mar_set_correlator_suffix()", mar_set_correlator_suffix(kSuffix, 600), 128, 516,
              "0:a1a2a3 512:@00000200");
  expect_sent("mar_set_correlator_suffix()", mar_set_correlator_suffix(kSuffix, -1), 128, 516, "");
  expect_sent("mar_set_correlator_suffix()", mar_set_correlator_suffix(nullptr, 5), 128, 516, "");
  expect_sent("mar_register_listener()", mar_register_listener(0x7FFF1234), 129, 2, "0:@1234");
  expect_sent("mar_set_listener_filter()", mar_set_listener_filter(kA, kB, kC, 1), 130, 16,
              "0:@01020304 4:@05060708 8:@090a0b0c 12:@00000001");
  expect_sent("mar_deregister_listener()", mar_deregister_listener(kA), 131, 4, "0:@01020304");
  expect_sent("mar_set_realtime_send_interval()", mar_set_realtime_send_interval(kA), 132, 4, "0:@01020304");
}

// The stop command's pause follows any exchange that succeeded, whatever the engine says;
// no other command pauses.
TEST(Commands, PassOnWhatExchangeAndEngineSay) {
  struct {
    Answer answer;
    int32_t want, pauses;
  } const rows[] = {{{.result = -55}, -55, 1},
                    {{.marker = 0xB0040000}, -27, 1},
                    {{.exchanged = -1}, -1, 0},
                    {{.exchanged = -2}, -2, 0}};
  for (const auto& row : rows) {
    scripted_exchange = {};
    scripted_exchange.script = {row.answer, row.answer};
    EXPECT_EQ(mar_ping_engine(), row.want);
    EXPECT_EQ(mar_stop_engine(), row.want);
    EXPECT_EQ(scripted_exchange.slept_ms, row.pauses * 1000) << row.want;
    EXPECT_EQ(std::count(scripted_exchange.log.begin(), scripted_exchange.log.end() - 1,
                         "8192 2 mar_stop_engine: Connecting to the engine through the libarm channel"),
              row.pauses);
  }
}

TEST(Commands, UploadNeedsAPolicy) {
  scripted_exchange = {};
  EXPECT_EQ(mar_request_data_upload(1, 0, 0, 0, 1, 1, kBlock, kBlock, kBlock), -400);
  EXPECT_EQ(mar_request_data_upload(1, INT32_MIN, 0, 0, 1, 1, kBlock, kBlock, kBlock), -400);
  EXPECT_TRUE(scripted_exchange.requests.empty());
  const std::string line = "8192 1 mar_request_data_upload(): Policy ID is invalid ";
  EXPECT_EQ(scripted_exchange.log,
            (std::vector{line + "[0] must be > 0\n", line + "[-2147483648] must be > 0\n"}));
}

// A request too large, without a row or without memory is refused before it is sent; the log says why.
TEST(Worker, SaysInTheLogWhatBecameOfARequest) {
  const char kInvoking[] = "8192 2 x():-------> invoking function    <-------: zarn_send_and_rcv()";
  struct {
    uint32_t code, size;
    int failing_calloc;
    int32_t want;
    const char* line;
  } const rows[] = {
      {127, 0, 0, 1, kInvoking},
      {127, 10232, 0, 1, kInvoking},
      {150, 0, 0, 1, kInvoking},  // its reply is not judged
      {127, 10233, 0, -6, "8192 1 x(): Command is too big [10241] to write to msg buffer!\n"},
      {127, 0xFFFFFFF8, 0, -6, "8192 1 x(): Command is too big [4294967296] to write to msg buffer!\n"},
      {100, 0, 0, -1, "8192 2 x(): pCommand == NULL !!!!\n"},
      {127, 0, 1, -2, "8192 2 x(): calloc for msg failed!\n"},
      {127, 0, 2, -2, "8192 2 x(): calloc for msg_from failed!\n"},
  };
  const std::vector<uint8_t> payload(10232);
  for (const auto& row : rows) {
    scripted_exchange = {};
    failing_calloc = row.failing_calloc;
    EXPECT_EQ(mar_api_worker("x()", row.code, payload.data(), row.size), row.want) << row.line;
    const std::vector<std::string> log = {
        "8192 2 x(): -------> function entry point <-------", row.line,
        "8192 2 x(): -------> function completed   <------- Return code: " + std::to_string(row.want)};
    EXPECT_EQ(scripted_exchange.log, log);
    EXPECT_EQ(scripted_exchange.requests.size(), row.want == 1 ? 1u : 0u) << row.line;
  }
  EXPECT_EQ(pid.load(), static_cast<uint32_t>(getpid()));
}

}  // namespace

}  // namespace mar
