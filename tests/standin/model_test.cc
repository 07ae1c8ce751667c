// What the engine accepts and refuses, and how requests are printed.
#include <gtest/gtest.h>

#include "contract/payloads.h"
#include "standin/decisions.h"
#include "standin/request_line.h"
#include "tests/standin/requests.h"

namespace mar::standin {

namespace {

constexpr uint8_t kNoBytes[CLI_MAX_BUFFER_SIZE] = {};

EdgePolicyPayload policy(uint32_t id) {
  EdgePolicyPayload payload{};
  payload.definition.numbers[0] = id;
  return payload;
}

ThresholdPayload threshold(uint32_t policy_number, uint32_t number, uint8_t identifier) {
  ThresholdPayload payload{};
  payload.definition.numbers[1] = number;
  payload.definition.numbers[2] = policy_number;
  payload.definition.identifier.bytes[23] = identifier;
  return payload;
}

TCLIMessage remove_threshold(uint32_t policy_number, uint32_t number, uint8_t identifier) {
  RemoveThresholdPayload payload{};
  payload.a = policy_number;
  payload.c = number;
  payload.identifier.bytes[23] = identifier;
  return request_of(119, payload);
}

TCLIMessage upload(int32_t policy_id, uint32_t start_time_s = 1) {
  RequestDataUploadPayload payload{};
  payload.policy_id = policy_id;
  payload.start_time_s = start_time_s;
  payload.end_time_s = 2;
  return request_of(121, payload);
}

TCLIMessage suffix(uint32_t length) {
  SetCorrelatorSuffixPayload payload{};
  payload.suffix[0] = 'x';
  payload.length = length;
  return request_of(128, payload);
}

TCLIMessage of_kind(TCLIMessage request, uint32_t kind) {
  request.kind = kind;
  return request;
}

TCLIMessage from(_TIPCIdentifier sender, TCLIMessage request) {
  request.sender = sender;
  return request;
}

}  // namespace

// One engine decides all rows in order.
TEST(Decisions, DecidesEveryRequest) {
  struct {
    const char* name;
    TCLIMessage request;
    int32_t want;
  } const rows[] = {
      {"ping", request_of(127, 0u), 1},
      {"start send, payload not looked at", request_of(100, kNoBytes, 99), 1},
      {"upload without any policy", upload(1), 2},
      {"add a policy", request_of(116, policy(1)), 1},
      {"add it again", request_of(116, policy(1)), 1},
      {"update an unknown one", request_of(122, policy(5)), 1},
      {"upload of a known policy", upload(5), 1},
      {"upload of an unknown policy", upload(2), 2},
      {"upload for policy 0", upload(0), -4},
      {"upload that ends before it starts", upload(1, 3), -4},
      {"remove a policy", request_of(117, 1u), 1},
      {"remove it again", request_of(117, 1u), -4},
      {"add a threshold", request_of(118, threshold(1, 7, 9)), 1},
      {"remove one of another policy", remove_threshold(2, 7, 9), -4},
      {"remove one of another number", remove_threshold(1, 8, 9), -4},
      {"remove one of another identifier", remove_threshold(1, 7, 8), -4},
      {"remove the threshold", remove_threshold(1, 7, 9), 1},
      {"update adds a threshold too", request_of(120, threshold(1, 7, 9)), 1},
      {"violation state", request_of(124, SetThresholdViolationStatePayload{}), 1},
      {"schedule", request_of(123, SetUploadSchedulePayload{23, 1}), 1},
      {"schedule with interval 0", request_of(123, SetUploadSchedulePayload{0, 0}), -4},
      {"schedule with interval 25", request_of(123, SetUploadSchedulePayload{0, 25}), -4},
      {"schedule at 24 hours", request_of(123, SetUploadSchedulePayload{24, 1}), -4},
      {"log level 3", request_of(126, 3u), 1},
      {"log level 4", request_of(126, 4u), -4},
      {"send interval 0", request_of(132, 0u), -4},
      {"send interval", request_of(132, 9u), 1},
      {"suffix of 512", suffix(512), 1},
      {"suffix of 513", suffix(513), -4},
      {"register a listener", request_of(129, RegisterListenerPayload{6}), 1},
      {"deregister another", request_of(131, 7u), -4},
      {"deregister it", request_of(131, 6u), 1},
      {"listener filter", request_of(130, SetListenerFilterPayload{{1, 2, 3, 4}}), 1},
      {"dump", request_of(125), 1},
      {"clear", request_of(113), 1},
      {"upload after clear", upload(5), 2},
      {"unknown code", request_of(150), -2},
      {"code in host order", request_of(0x7F000000, kNoBytes, 4), -2},
      {"one byte short", request_of(116, kNoBytes, 5487), -4},
      {"one byte long", request_of(116, kNoBytes, 5489), -4},
      {"negative length", request_of(116, kNoBytes, -1), -4},
      {"length beyond the record", request_of(116, kNoBytes, 2147483647), -4},
      {"payload where none belongs", request_of(101, kNoBytes, 1), -4},
      {"not a single record", of_kind(request_of(101), 1), -4},
  };
  EngineState state;
  for (const auto& row : rows) EXPECT_EQ(decide(state, row.request), row.want) << row.name;
  EXPECT_FALSE(state.stop_requested);
  EXPECT_EQ(state.upload_start_hour, 23);
  EXPECT_EQ(state.realtime_send_interval, 9u);
  EXPECT_EQ(decide(state, request_of(101)), 1);
  EXPECT_TRUE(state.stop_requested);
}

TEST(Decisions, HoldsOnlySoManyPolicies) {
  EngineState state;
  for (uint32_t id = 0; id < 4096; ++id) ASSERT_EQ(decide(state, request_of(116, policy(id))), 1) << id;
  EXPECT_EQ(decide(state, request_of(116, policy(4096))), -1);
  EXPECT_EQ(decide(state, request_of(122, policy(4095))), 1) << "one that is there already";
}

// Line ends, quotes, bytes that are not UTF-8 and texts without an end must not break a line or its JSON.
TEST(RequestLine, StaysOneLineWhateverARequestHolds) {
  const Time kLeapDay{std::chrono::milliseconds(1709251199007)};
  ThresholdPayload hostile = threshold(1, 2, 0xAB);
  hostile.a = 4;
  std::memcpy(hostile.definition.pattern, "a\"\n\xFF", 4);
  std::memset(hostile.definition.host_pattern, 'h', sizeof(hostile.definition.host_pattern));
  const std::string identifier(46, '0'), host(256, 'h');
  EXPECT_EQ(request_line(LineForm::kPlain,
                         {7, from({12, 34}, request_of(118, hostile)), -4, "*:result=-4", "", kLeapDay}),
            "2024-02-29T23:59:59.007Z request 7 from 12/34: add-threshold a=4 b=0 c=0 d=0 e=0 "
            "numbers=[0,2,1] identifier=\"" +
                identifier + "ab\" pattern=\"a\\\"\\n\\ufffd\" host=\"" + host +
                "\" application=\"\" transaction=\"\" -> -4 (*:result=-4)");
  std::string padding;
  for (int i = 1; i < 512; ++i) padding += "\\u0000";
  EXPECT_EQ(request_line(LineForm::kPlain, {7, from({1, 2}, suffix(4000)), -4, "", "", {}}),
            "1970-01-01T00:00:00.000Z request 7 from 1/2: set-correlator-suffix suffix=\"x" + padding +
                "\" length=4000 -> -4");
  EXPECT_EQ(request_line(LineForm::kJson, {8, of_kind(request_of(117, kNoBytes, 3), 2), -4, "", "", kLeapDay})
                .find(R"({"event":"request","time":"2024-02-29T23:59:59.007Z","number":8,"process":)"),
            0u);
  EXPECT_EQ(request_line(LineForm::kPlain, {9, from({1, 2}, request_of(999, kNoBytes, -5)), -2, "", "", {}}),
            "1970-01-01T00:00:00.000Z request 9 from 1/2: unknown-999 length=-5 kind=0 -> -2");
}

}  // namespace mar::standin
