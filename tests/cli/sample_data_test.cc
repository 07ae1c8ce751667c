// The records that actions send, byte by byte: what the engine reads must not depend on
// how our structs name it.
#include "cli/sample_data.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ctime>

#include "cli/actions.h"
#include "tests/engine_client/scripted_exchange.h"

namespace mar {

namespace {

// The pattern at `text` as a piece of the record at `offset`: ".*", or when `restricted` a prefix before it.
std::string pattern(const uint8_t* text, size_t offset, bool restricted) {
  const std::string found = reinterpret_cast<const char*>(text);
  EXPECT_EQ(found.find(".*"), found.size() - 2) << found;
  EXPECT_EQ(found.size() > 2, restricted) << found;
  return " " + std::to_string(offset) + ":" + hex_of({text, found.size()});
}

TEST(SampleData, EdgePolicies) {
  for (uint8_t r = 0; r < 14; ++r) {
    const uint8_t* const record = reinterpret_cast<const uint8_t*>(EDGES) + r * 5488;
    const uint8_t number[] = {0, 0, 0, r == 13 ? uint8_t{100} : static_cast<uint8_t>(r + 1)};
    const std::string key = r == 2 ? "0:0001" : r == 13 ? "0:01" : "";
    EXPECT_EQ(hex_of({record, 5488}),
              bytes_of(5488, key + " 2:647f18 6:@0005 8:@0000000f 16:@7fffffff 36:@000003e8 40:@0000000" +
                                 (r % 2 ? "0" : "2") + " 44:@" + hex_of(number) + "*3 80:2e2a 464:2e2a" +
                                 pattern(record + 208, 208, r >= 2) +
                                 pattern(record + 1488, 1488, r != 0 && r != 2 && r != 13)))
        << int{r};
  }
}

TEST(SampleData, Thresholds) {
  const std::string starts[] = {"0:@00000064 4:@000001f4 8:@00000002 12:0a0f 20:@00000001",
                                "13:04 20:@00000002", "13:04 20:@00000003"};
  for (size_t r = 0; r < 3; ++r) {
    const uint8_t* const record = reinterpret_cast<const uint8_t*>(&ADD_THRESHES) + r * 5460;
    EXPECT_EQ(hex_of({record, 5460}),
              bytes_of(5460, starts[r] + " 16:@00000001 24:@00000001 48:ff*4 52:2e2a 436:2e2a" +
                                 pattern(record + 180, 180, true) + pattern(record + 1460, 1460, r > 0)))
        << r;
  }
}

TEST(SampleData, EachEdgePolicyUpdateCarriesTheNextSetting) {
  scripted_exchange = {};
  for (uint32_t setting = 3; setting <= 5; ++setting) {
    UpdateEdgePolicy();
    uint32_t sent = 0;
    memcpy(&sent, &scripted_exchange.requests.back().at(8 + 5444 + 36), sizeof sent);
    EXPECT_EQ(sent, setting);
  }
}

TEST(SampleData, DataUploadStartsNow) {
  scripted_exchange = {};
  const auto before_s = static_cast<uint32_t>(time(nullptr));
  RequestDataUpload();
  uint32_t start_s = 0;
  memcpy(&start_s, &scripted_exchange.requests.at(0).at(8 + 80), sizeof start_s);
  EXPECT_LE(before_s, start_s);
  EXPECT_LE(start_s, static_cast<uint32_t>(time(nullptr)));
}

}  // namespace

}  // namespace mar
