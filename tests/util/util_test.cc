#include <gtest/gtest.h>
#include <sys/time.h>

#include <cstdlib>
#include <string>
#include <vector>

#include "util/agent_instance.h"
#include "util/time.h"

namespace mar {

namespace {

TEST(AgentInstance, NameIsCutPaddedAndTerminated) {
  struct {
    const char* value;
    int size;
    std::string want;  // the buffer after the call and a byte on either side; it starts as ten times "#"
  } const rows[] = {{"", 3, {"#\0\0\0######", 10}},     {"abc", 6, {"#abc\0\0\0###", 10}},
                    {"prefix", 7, {"#prefix\0##", 10}}, {"prefix", 6, {"#prefi\0###", 10}},
                    {"prefix", 1, {"#\0########", 10}}, {"prefix", 0, "##########"},
                    {"prefix", -1, "##########"},       {nullptr, 8, {"#\0########", 10}}};
  for (const auto& row : rows) {
    row.value != nullptr ? setenv("ARM_AGENT_PREFIX", row.value, 1) : unsetenv("ARM_AGENT_PREFIX");
    std::string buffer(10, '#');
    getMultiAgentName(buffer.data() + 1, row.size);
    EXPECT_EQ(buffer, row.want) << row.size;
    EXPECT_EQ(isMultiAgent(), row.value != nullptr ? 1 : 0);
  }
  getMultiAgentName(nullptr, 8);
  setenv("XRM_AGENT_PREFIX", "x", 1);
  MULTI_AGENT_ENV_VAR[0] = 'X';
  EXPECT_EQ(isMultiAgent(), 1) << "the variable's name can be changed";
}

TEST(Time, OffsetIsStandardTimeEastOfUtc) {
  struct {
    const char* zone;
    int64_t want_s;
  } const rows[] = {{"NPT-5:45", 20700},
                    {"EST5EDT,M3.2.0,M11.1.0", -18000},
                    {"LINT-14", 50400},
                    {"BIT12", -43200},
                    {"AEST-10AEDT,M10.1.0,M4.1.0/3", 36000}};  // daylight time on 2 January is left out
  for (const auto& row : rows) {
    setenv("TZ", row.zone, 1);
    EXPECT_EQ(local_time_zone(), row.want_s) << row.zone;
    EXPECT_EQ(loc2tzzero(1'000'000), 1'000'000 + row.want_s) << row.zone;
    EXPECT_EQ(tzzero2loc(1'000'000), 1'000'000 - row.want_s) << row.zone;
  }
}

// Kept as is: under daylight saving time, in the last zone all year long, today begins an hour early.
TEST(Time, TodayBeginsAtLocalMidnight) {
  for (const std::string zone : {"UTC0", "XXX-14", "YYY12", "NPT-5:45", "EST5EDT,0/0,J365/25"}) {
    setenv("TZ", zone.c_str(), 1);
    const time_t now = time(nullptr);
    struct tm today = *localtime(&now);
    today.tm_hour = today.tm_min = today.tm_sec = 0;
    // The local date, read as if it were UTC.
    const int64_t midnight = timegm(&today) - (zone.starts_with("EST") ? 3600 : 0);
    std::vector<int> around;
    for (const int second : {-1, 0, 1}) around.push_back(compare_with_today(midnight + second));
    const time_t later = time(nullptr);
    if (localtime(&later)->tm_mday != today.tm_mday) continue;  // the day has just changed
    EXPECT_EQ(around, (std::vector{-1, 0, 1})) << zone;
  }
}

TEST(Time, HighResolutionTimeIsSplitInTheZoneOfTheMoment) {
  struct {
    const char* zone;
    uint32_t seconds, nanoseconds;
    const char* want;
  } const rows[] = {{"XXX-3", 0, 999, "1970-01-01 03:00:00 XXX 0 0 999"},
                    {"EST5EDT,M3.2.0,M11.1.0", 1721044800, 123456789, "2024-07-15 08:00:00 EDT 123 456 789"},
                    {"UTC0", 0xFFFFFFFF, 0xFFFFFFFF, "2106-02-07 06:28:15 UTC 4294 967 295"}};
  for (const auto& row : rows) {
    setenv("TZ", row.zone, 1);  // on purpose without tzset
    HRT got;
    ConvertToHRT(row.seconds, row.nanoseconds, &got);
    char text[100];
    const size_t date = strftime(text, sizeof text, "%Y-%m-%d %H:%M:%S %Z", &got.broken_down);
    snprintf(text + date, sizeof text - date, " %d %d %d", int(got.msec), int(got.usec), int(got.nsec));
    EXPECT_STREQ(text, row.want);
  }
}

TEST(Time, TheCurrentTimeIsExactToTheMicrosecond) {
  timeval before{}, after{};
  uint32_t seconds = 0, nanoseconds = 1;
  gettimeofday(&before, nullptr);
  ZarnBestGetCurrentTime(&seconds, &nanoseconds);
  gettimeofday(&after, nullptr);
  const timeval now{seconds, nanoseconds / 1000};
  EXPECT_TRUE(!timercmp(&now, &before, <) && !timercmp(&now, &after, >)) << seconds << ' ' << nanoseconds;
  EXPECT_EQ(nanoseconds % 1000, 0u);
}

}  // namespace

}  // namespace mar
