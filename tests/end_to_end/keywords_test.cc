// What the real t1 queues for an engine that accepts and one that refuses: each record, byte by byte, and
// t1's exit status. What it prints is in tests/cli/transcript.txt.
#include <gtest/gtest.h>

#include <sstream>
#include <string>
#include <vector>

#include "tests/end_to_end/scripted_engine.h"
#include "tests/support/payload_bytes.h"
#include "tests/support/program.h"
#include "tests/support/t1_path.h"

namespace mar {

namespace {

struct Exchange {
  uint32_t code;
  int32_t length;
  std::string payload;  // as bytes_of takes it
  int32_t answer;
};

struct Row {
  std::string arguments;
  std::vector<Exchange> exchanges;
  int status;
};

constexpr char kEdge[] =
    "0:@00000001*3 36:'.* 164:'.* 420:'.* 1444:'.* "
    "5444:0000647f18 5450:@0005 5452:@0000000f 5460:@7fffffff 5480:@000003e8 5484:@00000002";
constexpr char kThreshold1[] =
    "0:@00000064 4:@000001f4 8:@00000002 12:0a 13:@00000001*3 45:ff*4 49:'.* 177:'labhost.* 433:'.* 1457:'.* "
    "5457:0f";
constexpr char kThreshold2[] =
    "13:@00000001 17:@00000002 21:@00000001 45:ff*4 49:'.* 177:'labhost.* 433:'.* 1457:'Checkout.* 5457:04";
constexpr char kUpdatedThreshold[] =
    "0:@0000000b 4:@000055f0 13:@00000002 17:@00000001 21:@00000003 49:'* 177:'* 433:'* 1457:'* 5457:07";
constexpr char kUpdatedEdge[] =
    "0:@00000002 4:@00000001 8:@00000003 36:'Test 164:'labhost01.example.com 420:'TestApp 1444:'TestTrans2 "
    "5444:0001647f18 5450:@0005 5452:@0000000f 5460:@ffffffff 5480:@00000003";
constexpr char kUpload[] = "0:@00000032 4:@00000001 31:01 55:02 79:03 84:@7fffffff 88:0101";

const Row kRows[] = {
    {"stopeng", {{101, 0, "", 1}}, 0},
    {"cleareng", {{113, 0, "", -9}}, 0},
    {"addedgepolicy", {{116, 5488, kEdge, 1}}, 0},
    {"removeedgepolicy +300x", {{117, 4, "0:@0000012c", 1}}, 0},
    {"addthreshold 7", {{118, 5458, kThreshold1, 1}, {118, 5458, kThreshold2, -3}}, 0},
    {"updatethreshold", {{120, 5458, kUpdatedThreshold, 1}}, 0},
    {"removethreshold", {{119, 32, "0:@00000001 24:ff*4 28:@00000001", 1}}, 0},
    {"updateedgepolicy", {{122, 5488, kUpdatedEdge, 8}}, 254},
    {"requestdataupload", {{121, 94, kUpload, 2}}, 0},
    {"setuploadschedule 300 2", {{123, 2, "", -4}, {123, 2, "0:2c02", 1}}, 1},
    {"dump", {{125, 0, "", 7}}, 1},
    {"debug 3", {{126, 4, "0:@00000003", 1}}, 0},
};

void expect_record(TCLIMessage record, const Exchange& want, pid_t client) {
  uint8_t code[4];
  mar::put_be32(code, want.code);
  EXPECT_EQ(std::memcmp(&record.command, code, 4), 0);
  EXPECT_EQ(record.length, want.length);
  EXPECT_EQ(record.sender.process_id, static_cast<uint32_t>(client));
  EXPECT_EQ(record.kind, 0u);
  if (want.code == CMD_REQUEST_DATA_UPLOAD) std::memset(record.data + 80, 0, 4);  // the time of the call
  // All of the record: past the payload nothing but zeros, no old memory of the client.
  EXPECT_EQ(hex_of(record.data), bytes_of(sizeof record.data, want.payload));
}

}  // namespace

TEST(Keywords, QueueTheirRecords) {
  ScriptedEngine engine;
  ASSERT_TRUE(engine.usable());
  for (const auto& row : kRows) {
    SCOPED_TRACE("t1 " + row.arguments);
    std::istringstream words(t1_path() + " " + row.arguments);
    Program t1({std::istream_iterator<std::string>(words), {}});
    for (const auto& want : row.exchanges) {
      const auto record = engine.request();
      ASSERT_TRUE(record.has_value());
      expect_record(*record, want, t1.pid());
      ASSERT_TRUE(engine.answer(*record, want.answer));
    }
    t1.output();
    EXPECT_EQ(t1.status(), row.status);
    EXPECT_EQ(engine.made().u16(0), 0) << "records left in the queue";
  }
}

}  // namespace mar
