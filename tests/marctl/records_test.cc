// What marctl queues, byte by byte: from options, from JSON, and from what the stand-in has recorded.
#include <gtest/gtest.h>

#include <cstring>

#include "contract/byte_order.h"
#include "standin/request_line.h"
#include "tests/marctl/marctl.h"
#include "tests/support/payload_bytes.h"
#include "tests/support/t1_path.h"

namespace mar {

namespace {

struct Row {
  const char* options;
  const char* fields;  // the same as JSON
  int code;
  size_t length;
  const char* payload;  // as bytes_of takes it
};

#define DEFINITION_OPTIONS                                                                  \
  "--numbers 1,4294967295,3 --identifier 0102030405060708090a0b0c0d0e0f101112131415161718 " \
  "--pattern '[a,b]' --host '' --application=-x --transaction \"it's\""
#define DEFINITION_FIELDS                                                                          \
  R"("numbers":[1,4294967295,3],"identifier":"0102030405060708090A0B0C0D0E0F101112131415161718",)" \
  R"("pattern":"[a,b]","host":"","application":"-x","transaction":"it's")"
#define DEFINITION_BYTES(n0, n1, n2, id, pattern, application, transaction)                 \
#n0 ":@00000001 " #n1 ":@ffffffff " #n2 ":@00000003 " #id                                 \
      ":0102030405060708090a0b0c0d0e0f101112131415161718 " #pattern ":'[a,b] " #application \
      ":'-x " #transaction ":'it's "
#define EDGE_OPTIONS DEFINITION_OPTIONS " --key 0a0b0c0d0e0f --settings 65535,2,3,4,5 --number 6"
#define EDGE_FIELDS "{" DEFINITION_FIELDS R"(,"key":"0a0b0c0d0e0f","settings":[65535,2,3,4,5],"number":6})"
#define EDGE_BYTES                             \
  DEFINITION_BYTES(0, 4, 8, 12, 36, 420, 1444) \
  "5444:0a0b0c0d0e0f 5450:@ffff 5452:@00000002 5456:@00000003 5460:@00000004 5480:@00000005 5484:@00000006"
#define THRESHOLD_OPTIONS "--a 1 --b 2 --c 4294967295 --d 255 --e 5 " DEFINITION_OPTIONS
#define THRESHOLD_FIELDS R"({"a":1,"b":2,"c":4294967295,"d":255,"e":5,)" DEFINITION_FIELDS "}"
#define THRESHOLD_BYTES \
  "0:@00000001 4:@00000002 8:@ffffffff 12:ff 5457:05 " DEFINITION_BYTES(13, 17, 21, 25, 49, 433, 1457)

const Row kRows[] = {
    {"add-edge-policy " EDGE_OPTIONS, EDGE_FIELDS, 116, 5488, EDGE_BYTES},
    {"update-edge-policy " EDGE_OPTIONS, EDGE_FIELDS, 122, 5488, EDGE_BYTES},
    {"remove-edge-policy --policy 4294967295", R"({"policy":4294967295})", 117, 4, "0:@ffffffff"},
    {"add-threshold " THRESHOLD_OPTIONS, THRESHOLD_FIELDS, 118, 5458, THRESHOLD_BYTES},
    {"update-threshold " THRESHOLD_OPTIONS, THRESHOLD_FIELDS, 120, 5458, THRESHOLD_BYTES},
    {"remove-threshold --a 7 --c 9", R"({"a":7,"c":9})", 119, 32, "0:@00000007 28:@00000009"},
    {"set-threshold-violation-state --a 1 --b 2 --c 3 --identifier "
     "ffffffffffffffffffffffffffffffffffffffffffffffff",
     R"({"a":1,"b":2,"c":3,"identifier":"ffffffffffffffffffffffffffffffffffffffffffffffff"})", 124, 33,
     "0:@00000002 4:03 5:@00000001 9:ff*24"},
    {"request-data-upload --request 1 --policy 2147483647 --start 3 --end 4 --flags 5,6 --blocks "
     "000000000000000000000000000000000000000000000001,000000000000000000000000000000000000000000000002,"
     "000000000000000000000000000000000000000000000003",
     R"({"request":1,"policy":2147483647,"start":3,"end":4,"flags":[5,6],"blocks":[)"
     R"("000000000000000000000000000000000000000000000001","000000000000000000000000000000000000000000000002",)"
     R"("000000000000000000000000000000000000000000000003"]})",
     121, 94, "0:@00000001 4:@7fffffff 31:01 55:02 79:03 80:@00000003 84:@00000004 88:0506"},
    {"set-upload-schedule --start-hour 255 --interval 2", R"({"start_hour":255,"interval":2})", 123, 2,
     "0:ff02"},
    {"debug --level 3", R"({"level":3})", 126, 4, "0:@00000003"},
    {"set-correlator-suffix --suffix ab", R"({"suffix":"ab","length":2})", 128, 516, "0:'ab 512:@00000002"},
    {"register-listener --listener 65535", R"({"listener":65535})", 129, 2, "0:@ffff"},
    {"deregister-listener --listener 65536", R"({"listener":65536})", 131, 4, "0:@00010000"},
    {"set-listener-filter --filter 1,2,3,4", R"({"filter":[1,2,3,4]})", 130, 16,
     "0:@00000001 4:@00000002 8:@00000003 12:@00000004"},
    {"set-realtime-send-interval --interval 5", R"({"interval":5})", 132, 4, "0:@00000005"},
    {"dump", "{}", 125, 0, ""},
    {"ping-engine", "{}", 127, 4, ""},
    {"clear-engine", "{}", 113, 0, ""},
    {"stop-engine", "{}", 101, 0, ""},
};

void expect_record(const TCLIMessage& record, const Row& row) {
  uint8_t code[4];
  put_be32(code, static_cast<uint32_t>(row.code));
  EXPECT_EQ(std::memcmp(&record.command, code, 4), 0);
  EXPECT_EQ(record.length, static_cast<int32_t>(row.length));
  EXPECT_EQ(record.kind, 0u);
  EXPECT_EQ(hex_of(record.data), bytes_of(sizeof record.data, row.payload));
}

std::string name_of(const Row& row) {
  const std::string options = row.options;
  return options.substr(0, options.find(' '));
}

// All that a record is but for its sender.
std::string without_sender(TCLIMessage record) {
  record.sender = {};
  return hex_of({reinterpret_cast<const uint8_t*>(&record), sizeof record});
}

}  // namespace

TEST(MarctlRecords, AreThoseOfTheParameters) {
  for (const Row& row : kRows) {
    SCOPED_TRACE(row.options);
    EngineThread engine(with_faults({"*:result=1"}));  // so that a batch goes on
    const std::string name = name_of(row), fields = row.fields;
    const std::string line = R"({"message":")" + name + R"(","payload":)" + fields + "}\n";
    EXPECT_EQ(marctl(row.options).status, 0);
    if (name != "stop-engine") {  // which takes a second
      EXPECT_EQ(marctl("batch -", line + row.options).status, 0);
      EXPECT_EQ(marctl(name + " --file -", fields).status, fields == "{}" ? 2 : 0);  // no field, no file
    }
    const auto requests = engine.requests();
    EXPECT_EQ(requests.size(), name == "stop-engine" ? 1u : fields == "{}" ? 3u : 4u);
    for (const auto& request : requests) expect_record(request.record, row);
  }
}

TEST(MarctlRecords, RepeatWhatT1SentAndTheStandinRecorded) {
  std::vector<ServedRequest> sent;
  {
    EngineThread engine;
    for (const char* keyword : {"addedgepolicy 14", "addthreshold 3", "updateedgepolicy", "updatethreshold",
                                "removethreshold", "removeedgepolicy 3", "requestdataupload 50",
                                "setuploadschedule 5 2", "debug 2", "dump", "cleareng"})
      Program({"sh", "-c", t1_path() + " " + keyword + " >/dev/null"}).status();
    sent = engine.requests();
  }
  ASSERT_EQ(sent.size(), 14u + 3 + 10);
  std::string lines = standin::start_line(standin::LineForm::kJson, {}, "ready", "") + '\n';
  for (const auto& request : sent) {
    const bool odd = request.number % 2 != 0;  // mar-standin --json and --record
    lines +=
        (odd ? standin::request_line(standin::LineForm::kJson, request) : standin::recording_line(request)) +
        '\n';
  }
  EngineThread engine;
  EXPECT_EQ(marctl("batch --quiet --keep-going -", lines).output,
            "24: set-upload-schedule: The engine refused it with the result -4.\n");
  const auto repeated = engine.requests();
  ASSERT_EQ(repeated.size(), sent.size());
  for (size_t i = 0; i < sent.size(); ++i)
    EXPECT_EQ(without_sender(repeated[i].record), without_sender(sent[i].record)) << i;
}

}  // namespace mar
