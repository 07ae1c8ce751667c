#include "log/components.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <string>

namespace mar {

namespace {

// "<mask> <name of the mask> <validity of the mask>"
std::string facts(long mask) {
  char* name = ComponentFromMaskToString(mask);
  const std::string text = name == nullptr ? "-" : name;
  free(name);
  return std::to_string(mask) + " " + text + " " + std::to_string(ValidateCompID(mask));
}
std::string facts(const char* name) { return facts(ComponentFromStringToMask(name)); }

TEST(Components, NamesMasksAndValidity) {
  const char* const both_ways[] = {
      "1 COMMAND 0",      "2 ARMSERVER 0",  "4 CORRELATOR 0",   "16 MARGETDATA 0",    "64 AGGREGATOR 0",
      "127 ENGINEMAIN 0", "256 MAR_UP 0",   "512 MAR_DATA 0",   "1024 MLM 0",         "2048 CONTROLLER 0",
      "4096 RIM 0",       "8192 BACKEND 0", "16384 FRONTEND 0", "32768 REPOSITORY 0", "65536 CCAPTURE 0"};
  for (const std::string row : both_ways) {
    const size_t name = row.find(' ') + 1;
    EXPECT_EQ(facts(row.substr(name, row.size() - 2 - name).c_str()), row);
  }
  EXPECT_EQ(facts("NONE"), "0 - 0");
  EXPECT_EQ(facts("UPLOAD_ALL"), "8064 - 0");
  EXPECT_EQ(facts("ALL"), "2147483647 - 0");
  EXPECT_EQ(facts("COLLECTION"), "40 - -1");
  EXPECT_EQ(facts(8L) + ", " + facts(32L) + ", " + facts(128L), "8 COLLECTION 0, 32 COLLECTION 0, 128 - -1");
  for (const char* bad : {"Backend", "BACK", "", static_cast<const char*>(nullptr)})
    EXPECT_EQ(facts(bad), "-1 - -1");
}

TEST(Components, Thresholds) {
  const std::pair<const char*, int> rows[] = {{"MIN", 1},  {"MED", 2}, {"MAX", 3},   {"LOGQUEUE", -100},
                                              {"max", -1}, {"", -1},   {nullptr, -1}};
  for (const auto& [name, value] : rows) EXPECT_EQ(ThresholdFromStringToValue(name), value) << value;
  for (int good : {0, 1, 2, 3, -100}) EXPECT_EQ(ValidateLogThreshold(good), 0) << good;
  for (int bad : {-1, 4, -99, -101}) EXPECT_EQ(ValidateLogThreshold(bad), -1) << bad;
}

}  // namespace

}  // namespace mar
