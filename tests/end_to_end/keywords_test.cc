// Every keyword of the real t1 against an engine that accepts and one that refuses: the records queued, the
// output and the exit status.
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "tests/end_to_end/scripted_engine.h"
#include "tests/support/program.h"

namespace {

// Where a record's data must hold which bytes.
struct Spot {
  size_t offset;
  std::string bytes;
};

struct Exchange {
  uint32_t code;
  int32_t length;
  std::vector<Spot> spots;
  int32_t answer;
};

struct Row {
  std::vector<std::string> arguments;
  std::vector<Exchange> exchanges;
  std::string output;
  int status;
};

template <size_t N>
std::string bytes(const char (&literal)[N]) {
  return {literal, N - 1};  // zeros and all
}

const std::string kUpdatedKey = bytes(
    "\x00\x01\x64\x7f\x18\x00\x05\x00\x0f\x00\x00\x00\x00\x00\x00\x00\xff\xff\xff\xff"
    "\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x00\x03\x00\x00\x00\x00\x00\x00\x00");
const std::string kNumbers111 = bytes("\x01\x00\x00\x00\x01\x00\x00\x00\x01\x00\x00\x00");
const std::string kNumbers213 = bytes("\x02\x00\x00\x00\x01\x00\x00\x00\x03\x00\x00\x00");
const std::string kAny = bytes(".*\0");

Exchange edge(const std::string& numbers, int32_t answer) {
  return {116, 5488, {{0, numbers}, {36, kAny}, {420, kAny}}, answer};
}
Exchange first_threshold(int32_t answer) {
  return {
      118,
      5458,
      {{0, bytes("\x64\x00\x00\x00\xf4\x01\x00\x00\x02\x00\x00\x00\x0a")}, {13, kNumbers111}, {5457, "\x0f"}},
      answer};
}
Exchange second_threshold(int32_t answer) {
  return {118,
          5458,
          {{0, std::string(13, '\0')},
           {13, bytes("\x01\x00\x00\x00\x02\x00\x00\x00\x01\x00\x00\x00")},
           {5457, "\x04"}},
          answer};
}
Exchange remove_threshold(int32_t answer) {
  return {
      119,
      32,
      {{0, bytes("\x01\x00\x00\x00") + std::string(20, '\0') + bytes("\xff\xff\xff\xff\x01\x00\x00\x00")}},
      answer};
}
Exchange update_threshold(int32_t answer) {
  return {120,
          5458,
          {{0, bytes("\x0b\x00\x00\x00\xf0\x55\x00\x00\x00\x00\x00\x00\x00")},
           {13, kNumbers213},
           {13 + 36, bytes("*\0")},
           {13 + 164, bytes("*\0")},
           {13 + 420, bytes("*\0")},
           {13 + 1444, bytes("*\0")},
           {5457, "\x07"}},
          answer};
}
Exchange update_edge(int32_t answer) {
  return {122,
          5488,
          {{0, kNumbers213},
           {36, bytes("Test\0")},
           {420, bytes("TestApp\0")},
           {1444, bytes("TestTrans2\0")},
           {5444, kUpdatedKey}},
          answer};
}
Exchange upload(char request_id, int32_t answer) {
  const std::string zeros(23, '\0');
  return {
      121,
      94,
      {{0, request_id + bytes("\x00\x00\x00\x01\x00\x00\x00") + zeros + '\1' + zeros + '\2' + zeros + '\3'},
       {84, bytes("\xff\xff\xff\x7f\x01\x01\x00\x00\x00\x00")}},
      answer};
}
Exchange schedule(const std::string& payload, int32_t answer) { return {123, 2, {{0, payload}}, answer}; }

std::vector<Exchange> many_edges(int count, int32_t answer) {
  std::vector<Exchange> all;
  for (int i = 0; i < count; ++i) {
    const std::string number = {static_cast<char>(i == 13 ? 100 : i + 1), 0, 0, 0};
    all.push_back(edge(number + number + number, answer));
  }
  return all;
}

std::vector<Row> rows() {
  return {
      {{"stopeng"}, {{101, 0, {}, 1}}, "Stop the engine here!\nStopped the engine successfully!\n", 0},
      {{"cleareng"},
       {{113, 0, {}, -9}},
       "Clear the engine here!\n\aERROR: Clear of the engine failed [-9]\n",
       0},
      {{"addedgepolicy"},
       {edge(kNumbers111, 1)},
       "Add a single Edge Policy here!\nAdded edge policy successfully!\n",
       0},
      {{"addedgepolicy", "-1"},
       many_edges(14, 1),
       "Add multiple edge policies\n  count [14]\nAdding [14] Edge Policies here!\n..............\n"
       "All edge policies successfully added!\n",
       0},
      {{"removeedgepolicy", " +300x"},
       {{117, 4, {{0, bytes("\x2c\x01\x00\x00")}}, 1}},
       "Mgt policy UUID to be removed [300]\nRemove an Edge Policy here!\nRemoved edge policy "
       "successfully!\n",
       0},
      {{"addthreshold", "7"},
       {first_threshold(1), second_threshold(-3)},
       "Add multiple thresholds\n  count [3]\nAdding [3] Threshold(s) here!\n"
       ".\aERROR: Add threshold failed [-3]\n\n",
       0},
      {{"updatethreshold"},
       {update_threshold(1)},
       "Update a Threshold here!\nUpdated threshold successfully!\n",
       0},
      {{"removethreshold"},
       {remove_threshold(1)},
       "Remove a Threshold here!\nRemoved threshold successfully!\n",
       0},
      {{"updateedgepolicy"},
       {update_edge(8)},
       "Update an Edge Policy here!\n\aERROR: Update edge policy failed [8]\n",
       254},
      {{"requestdataupload"},
       {upload(50, 2)},
       "Didn't pass a requestID.\nRequest ID [50]\nTest good data upload\n"
       "  Request data upload worked, but NO data to upload.\n",
       0},
      {{"setuploadschedule", "300", "2"},
       {schedule(bytes("\x00\x00"), -4), schedule(bytes("\x2c\x02"), 1)},
       "Using startHour[300] interval[2]\nTest with bad interval[0]\n"
       "mar_set_upload_schedule failed[-4] as it should.\nTest with input values.\n"
       "mar_set_upload_schedule worked with input values startHour[300] interval[2].\n",
       1},
      {{"dump"}, {{125, 0, {}, 7}}, "\aERROR: mar_dump failed[7].\n", 1},
      {{"debug", "3"},
       {{126, 4, {{0, bytes("\x03\x00\x00\x00")}}, 1}},
       "Using LogLevel[3]\nmar_debug worked!\n",
       0},
  };
}

void expect_record(const TCLIMessage& record, const Exchange& want, pid_t client) {
  uint8_t code[4];
  put_be32(code, want.code);
  EXPECT_EQ(std::memcmp(&record.command, code, 4), 0);
  EXPECT_EQ(record.length, want.length);
  EXPECT_EQ(record.sender.process_id, static_cast<uint32_t>(client));
  EXPECT_EQ(record.kind, 0u);
  for (const auto& spot : want.spots) {
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(record.data) + spot.offset, spot.bytes.size()),
              spot.bytes)
        << "at " << spot.offset;
  }
  const std::string tail(reinterpret_cast<const char*>(record.data) + want.length,
                         sizeof record.data - static_cast<size_t>(want.length));
  EXPECT_EQ(tail.find_first_not_of('\0'), std::string::npos) << "old memory behind the payload";
}

}  // namespace

TEST(Keywords, QueueTheirRecordsAndTellTheOutcome) {
  ScriptedEngine engine;
  ASSERT_TRUE(engine.usable());
  for (const auto& row : rows()) {
    std::string label = "t1";
    for (const auto& argument : row.arguments) label += " " + argument;
    SCOPED_TRACE(label);
    std::vector<std::string> command{T1_PATH};
    command.insert(command.end(), row.arguments.begin(), row.arguments.end());
    Program t1(command);
    for (const auto& want : row.exchanges) {
      const auto record = engine.request();
      ASSERT_TRUE(record.has_value());
      expect_record(*record, want, t1.pid());
      ASSERT_TRUE(engine.answer(*record, want.answer));
    }
    EXPECT_EQ(t1.output(), row.output);
    EXPECT_EQ(t1.status(), row.status);
    EXPECT_EQ(engine.made().u16(0), 0) << "records left in the queue";
  }
}
