// How faults are written, which requests they hit, and what records a misshapen answer consists of.
#include "standin/faults.h"

#include <gtest/gtest.h>

#include "tests/standin/requests.h"

namespace mar::standin {

TEST(FaultPlan, RefusesWhatItDoesNotUnderstand) {
  struct {
    const char* text;
    const char* want;
  } const rows[] = {
      {"125#3%50:delay=5,size=20,echo", ""},
      {"*:result=-2147483648", ""},
      {"", "\"\" is not WHEN:WHAT"},
      {"dump", "\"dump\" is not WHEN:WHAT"},
      {"dumb:silent", "\"dumb\" is neither a message name nor a code"},
      {":silent", "\"\" is neither a message name nor a code"},
      {"4294967296:silent", "\"4294967296\" is neither a message name nor a code"},
      {"dump#0:silent", "\"0\" is not a request's number or a range of them"},
      {"dump#:silent", "\"\" is not a request's number or a range of them"},
      {"dump#-:silent", "\"-\" is not a request's number or a range of them"},
      {"dump#7-3:silent", "\"7-3\" is not a request's number or a range of them"},
      {"dump#3-7-9:silent", "\"3-7-9\" is not a request's number or a range of them"},
      {"dump:hold-lock=3600001", "\"hold-lock=3600001\": the value is not a number in range"},
      {"dump%101:silent", "\"101\" is not a percentage"},
      {"dump:", "\"\" is not a fault"},
      {"dump:silent,", "\"\" is not a fault"},
      {"start:full,silent", "\"silent\" applies to requests only"},
      {"dump:sillent", "\"sillent\" is not a fault"},
      {"dump:silent=1", "\"silent\" takes no value"},
      {"dump:result", "\"result\" needs a value"},
      {"dump:result=", "\"result=\": the value is not a number in range"},
      {"dump:result=1x", "\"result=1x\": the value is not a number in range"},
      {"dump:result=2147483648", "\"result=2147483648\": the value is not a number in range"},
      {"dump:size=-1", "\"size=-1\": the value is not a number in range"},
  };
  for (const auto& row : rows) EXPECT_EQ(FaultPlan().add(row.text).reason(), row.want) << row.text;
  for (const FaultAction& action : fault_actions()) EXPECT_EQ(FaultPlan().add(action.example).reason(), "");
}

TEST(FaultPlan, HitsTheRequestsItNames) {
  FaultPlan plan;
  for (const char* fault : {"dump#2:result=-5", "126:marker=7", "*:delay=1", "dump:delay=2", "start:close"}) {
    ASSERT_EQ(plan.add(fault).reason(), "");
  }
  struct {
    uint32_t code;
    std::optional<int32_t> result;
    uint32_t marker;
    int delay_ms;
    const char* remark;
  } const rows[] = {
      {125, std::nullopt, 1200, 2, "*:delay=1 dump:delay=2"},
      {126, std::nullopt, 7, 1, "126:marker=7 *:delay=1"},
      {125, -5, 1200, 2, "dump#2:result=-5 *:delay=1 dump:delay=2"},
      {125, std::nullopt, 1200, 2, "*:delay=1 dump:delay=2"},
  };
  for (const auto& row : rows) {
    const FaultEffects effects = plan.for_request(row.code);
    EXPECT_EQ(effects.result, row.result);
    EXPECT_EQ(effects.answer.marker, row.marker);
    EXPECT_EQ(effects.delay_ms, row.delay_ms);
    EXPECT_EQ(effects.remark, row.remark);
    EXPECT_FALSE(effects.state.has_value()) << "only at the start";
  }
  EXPECT_EQ(plan.at_start().state, IPCQUEUE_CLOSE);
}

TEST(FaultPlan, CountsRangesOfRequests) {
  struct {
    const char* fault;
    const char* hits;  // of six requests
  } const rows[] = {
      {"dump#2:silent", ".x...."},     {"dump#2-4:silent", ".xxx.."}, {"*#5-:silent", "....xx"},
      {"*#1-:silent", "xxxxxx"},       {"dump#3-3:silent", "..x..."}, {"dump#7-9:silent", "......"},
      {"dump#2-4%0:silent", "......"},
  };
  for (const auto& row : rows) {
    FaultPlan plan;
    ASSERT_EQ(plan.add(row.fault).reason(), "");
    std::string hits;
    for (int i = 0; i < 6; ++i) hits += plan.for_request(125).no_answer ? 'x' : '.';
    EXPECT_EQ(hits, row.hits) << row.fault;
  }
}

TEST(FaultPlan, DrawsTheSameLotsFromTheSameSeed) {
  const auto hits = [](uint64_t seed, const char* fault) {
    FaultPlan plan(seed);
    EXPECT_EQ(plan.add(fault).reason(), "");
    std::string pattern;
    for (int i = 0; i < 200; ++i) pattern += plan.for_request(125).no_answer ? 'x' : '.';
    return pattern;
  };
  const std::string quarter = hits(7, "*%25:silent");
  EXPECT_EQ(quarter, hits(7, "*%25:silent"));
  EXPECT_NE(quarter, hits(8, "*%25:silent"));
  EXPECT_NEAR(static_cast<double>(std::count(quarter.begin(), quarter.end(), 'x')), 50, 25);
  EXPECT_EQ(hits(7, "*%0:silent").find('x'), std::string::npos);
}

TEST(Answer, IsFramedAndFilledAsTold) {
  TCLIMessage request = request_of(117, "abc", 3);
  request.sender = {0x01010101, 0x02020202};
  struct {
    const char* fault;
    std::vector<uint32_t> kinds;
    std::vector<int32_t> lengths;
    std::string tail;  // the last bytes of the whole answer
  } const rows[] = {
      {"*:result=-2", {0}, {8}, std::string("\0\0\x04\xB0\xFF\xFF\xFF\xFE", 8)},
      {"*:size=0", {0}, {0}, ""},
      {"*:size=3", {0}, {3}, std::string("\0\0\x04", 3)},
      {"*:size=10240", {0}, {10240}, "\xC6\xC7"},  // 10239 % 251 = 199
      {"*:size=10241", {1, 3}, {10240, 1}, "\xC6\xC7\xC8"},
      {"*:size=30000", {1, 2, 3}, {10240, 10240, 9520}, "\x81\x82"},  // 29999 % 251 = 130
      {"*:size=30000,no-end", {1, 2}, {10240, 10240}, "\x94"},        // 20479 % 251 = 148
      {"*:size=10241,kind=99,length=-1", {99, 3}, {-1, 1}, "\xC8"},
      {"*:echo", {0}, {19}, std::string("\1\1\1\1\2\2\2\2abc")},
      {"*:echo,size=30", {0}, {30}, std::string("\1\1\1\1\2\2\2\2abc\1\1\1\1\2\2\2\2abc")},
      {"*:marker=1,result=3", {0}, {8}, std::string("\0\0\0\1\0\0\0\3", 8)},
  };
  for (const auto& row : rows) {
    FaultPlan plan;
    ASSERT_EQ(plan.add(row.fault).reason(), "");
    FaultEffects effects = plan.for_request(117);
    effects.answer.result = effects.result.value_or(MAR_OK);
    Answer answer(request, effects.answer);
    std::vector<uint32_t> kinds;
    std::vector<int32_t> lengths;
    std::string bytes;
    for (TCLIMessage record; answer.next(record);) {
      kinds.push_back(record.kind);
      lengths.push_back(record.length);
      bytes.append(record.data, record.data + usable_length(record));
    }
    EXPECT_EQ(kinds, row.kinds) << row.fault;
    EXPECT_EQ(lengths, row.lengths) << row.fault;
    if (row.tail.size() <= bytes.size()) bytes.erase(0, bytes.size() - row.tail.size());
    EXPECT_EQ(bytes, row.tail) << row.fault;
  }
}

}  // namespace mar::standin
