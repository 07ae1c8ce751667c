// The records that actions send, byte by byte: what the engine reads must not depend on how our structs name
// it.
#include "cli/sample_data.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ctime>

#include "cli/actions.h"
#include "tests/engine_client/scripted_engine.h"

namespace {

std::string hex(const void* data, size_t size_bytes) {
  const auto* bytes = static_cast<const uint8_t*>(data);
  return hex_of({bytes, bytes + size_bytes});
}

// The pattern at `text` as a piece of the record at `offset`: ".*", or when `restricted` a prefix before it.
std::string pattern(const void* text, size_t offset, bool restricted) {
  const std::string found = static_cast<const char*>(text);
  EXPECT_EQ(found.find(".*"), found.size() - 2) << found;
  EXPECT_EQ(found.size() > 2, restricted) << found;
  return " " + std::to_string(offset) + ":" + hex(found.data(), found.size());
}

TEST(SampleData, EdgePolicies) {
  for (uint8_t r = 0; r < 14; ++r) {
    const uint8_t* const record = reinterpret_cast<const uint8_t*>(EDGES) + r * 5488;
    const std::string number = hex_of({r == 13 ? uint8_t{100} : static_cast<uint8_t>(r + 1), 0, 0, 0});
    const std::string key = r == 2 ? "0:0001" : r == 13 ? "0:01" : "";
    EXPECT_EQ(
        hex(record, 5488),
        bytes_of(5488, key + " 2:647f18 6:0500 8:0f 16:ffffff7f 36:e803 40:" + (r % 2 ? "00" : "02") +
                           " 44:" + number + "*3 80:2e2a 464:2e2a" + pattern(record + 208, 208, r >= 2) +
                           pattern(record + 1488, 1488, r != 0 && r != 2 && r != 13)))
        << int{r};
  }
}

TEST(SampleData, Thresholds) {
  const std::string starts[] = {"0:64 4:f401 8:02 12:0a0f 20:01", "13:04 20:02", "13:04 20:03"};
  for (size_t r = 0; r < 3; ++r) {
    const uint8_t* const record = reinterpret_cast<const uint8_t*>(&ADD_THRESHES) + r * 5460;
    EXPECT_EQ(hex(record, 5460),
              bytes_of(5460, starts[r] + " 16:01 24:01 48:ff*4 52:2e2a 436:2e2a" +
                                 pattern(record + 180, 180, true) + pattern(record + 1460, 1460, r > 0)))
        << r;
  }
}

// What one action sends.
std::string sent_by(int32_t (*action)()) {
  scripted_engine = {};
  action();
  return scripted_engine.requests.size() == 1 ? hex_of(scripted_engine.requests[0]) : "not one request";
}

TEST(SampleData, TravelsInTheOrderOfThePayload) {
  const std::string edge = hex(EDGES, 5488), threshold = hex(&ADD_THRESHES, 5460);
  EXPECT_EQ(sent_by([] { return AddEdgePolicy(1); }),
            request_of(116, 5488, "0:" + edge.substr(88) + " 5444:" + edge.substr(0, 88)));
  EXPECT_EQ(sent_by(AddThreshold),
            request_of(118, 5458, "0:64 4:f401 8:02 12:0a 13:" + threshold.substr(32) + " 5457:0f"));
  EXPECT_EQ(sent_by(RemoveThreshold), request_of(119, 32, "0:01 24:ff*4 28:01"));
}

TEST(SampleData, RecordsThatActionsMakeThemselves) {
  EXPECT_EQ(sent_by(UpdateThreshold),
            request_of(120, 5458, "0:0b 4:f055 13:02 17:01 21:03 49:2a 177:2a 433:2a 1457:2a 5457:07"));
  for (const char* const counter : {"03", "04"}) {
    std::string sent = sent_by(UpdateEdgePolicy);
    const size_t host = 2 * (8 + 164), host_size = sent.find("00", host) - host;
    EXPECT_GT(host_size, 2u);
    EXPECT_EQ(sent.replace(host, host_size, host_size, '0'),
              request_of(122, 5488,
                         std::string("0:02 4:01 8:03 36:54657374 420:54657374417070 1444:546573745472616e7332"
                                     " 5444:0001647f18 5450:0500 5452:0f 5460:ff*4 5480:") +
                             counter));
  }
}

TEST(SampleData, DataUploadStartsNow) {
  const auto before_s = static_cast<uint32_t>(time(nullptr));
  std::string sent = sent_by(RequestDataUpload);
  uint32_t start_s = 0;
  memcpy(&start_s, &scripted_engine.requests.at(0).at(8 + 80), sizeof start_s);
  EXPECT_LE(before_s, start_s);
  EXPECT_LE(start_s, static_cast<uint32_t>(time(nullptr)));
  EXPECT_EQ(sent.replace(2 * (8 + 80), 8, 8, '0'),
            request_of(121, 94, "4:01 31:01 55:02 79:03 84:ffffff7f 88:0101"));
}

}  // namespace
