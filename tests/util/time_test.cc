#include "util/time.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace {

void set_zone(const char* zone) {
  setenv("TZ", zone, 1);
  tzset();
}

TEST(Time, OffsetIsStandardTimeEastOfUtc) {
  struct {
    const char* zone;
    int64_t want_s;
  } const rows[] =
      {
          {"UTC0", 0},
          {"EET-2EEST", 7200},
          {"EST5EDT,M3.2.0,M11.1.0", -18000},
          {"NPT-5:45", 20700},
          {"LINT-14", 50400},
          {"BIT12", -43200},
          {"AEST-10AEDT,M10.1.0,M4.1.0/3", 36000},  // 2 January 1970 is summer there: daylight time is left
                                                    // out
      };
  for (const auto& row : rows) {
    set_zone(row.zone);
    EXPECT_EQ(local_time_zone(), row.want_s) << row.zone;
    EXPECT_EQ(loc2tzzero(1'000'000), 1'000'000 + row.want_s) << row.zone;
    EXPECT_EQ(tzzero2loc(1'000'000), 1'000'000 - row.want_s) << row.zone;
  }
}

// The date of today, in the zone, at midnight and read as if it were UTC; taken from the system's own
// calendar.
int64_t midnight_as_utc() {
  time_t now = time(nullptr);
  struct tm today = *localtime(&now);
  today.tm_hour = today.tm_min = today.tm_sec = 0;
  return timegm(&today);
}

TEST(Time, TodayBeginsAtLocalMidnight) {
  for (const char* zone : {"UTC0", "XXX-14", "YYY12", "NPT-5:45"}) {
    set_zone(zone);
    const int64_t midnight = midnight_as_utc();
    const int below = compare_with_today(midnight - 1);
    const int at = compare_with_today(midnight);
    const int above = compare_with_today(midnight + 1);
    if (midnight_as_utc() != midnight) continue;  // the day has just changed under us
    EXPECT_EQ(below, -1) << zone;
    EXPECT_EQ(at, 0) << zone;
    EXPECT_EQ(above, 1) << zone;
    EXPECT_EQ(compare_with_today(INT64_MIN), -1);
    EXPECT_EQ(compare_with_today(INT64_MAX), 1);
  }
}

TEST(Time, HighResolutionTimeIsSplit) {
  struct {
    const char* zone;
    uint32_t seconds, nanoseconds;
    int year, month, day, hour, minute, second, daylight;
    uint64_t msec, usec, nsec;
  } const rows[] = {
      {"UTC0", 0, 0, 1970, 1, 1, 0, 0, 0, 0, 0, 0, 0},
      {"EST5EDT,M3.2.0,M11.1.0", 1721044800, 123456789, 2024, 7, 15, 8, 0, 0, 1, 123, 456, 789},
      {"UTC0", 0xFFFFFFFFu, 999999999, 2106, 2, 7, 6, 28, 15, 0, 999, 999, 999},  // past 2038: never negative
      {"UTC0", 1, 4294967295u, 1970, 1, 1, 0, 0, 1, 0, 4294, 967, 295},
  };
  for (const auto& row : rows) {
    set_zone(row.zone);
    HRT got;
    ConvertToHRT(row.seconds, row.nanoseconds, &got);
    EXPECT_EQ(got.broken_down.tm_year + 1900, row.year);
    EXPECT_EQ(got.broken_down.tm_mon + 1, row.month);
    EXPECT_EQ(got.broken_down.tm_mday, row.day);
    EXPECT_EQ(got.broken_down.tm_hour, row.hour);
    EXPECT_EQ(got.broken_down.tm_min, row.minute);
    EXPECT_EQ(got.broken_down.tm_sec, row.second);
    EXPECT_EQ(got.broken_down.tm_isdst, row.daylight);
    EXPECT_EQ(got.msec, row.msec);
    EXPECT_EQ(got.usec, row.usec);
    EXPECT_EQ(got.nsec, row.nsec);
  }
}

TEST(Time, ZoneChangesAreSeenAtOnce) {
  HRT before, after;
  setenv("TZ", "UTC0", 1);  // on purpose without tzset
  ConvertToHRT(0, 0, &before);
  setenv("TZ", "XXX-3", 1);
  ConvertToHRT(0, 0, &after);
  EXPECT_EQ(before.broken_down.tm_hour, 0);
  EXPECT_EQ(after.broken_down.tm_hour, 3);
}

TEST(Time, CurrentTimeIsTheClocks) {
  uint32_t seconds = 0, nanoseconds = 1;
  const time_t before = time(nullptr);
  ZarnBestGetCurrentTime(&seconds, &nanoseconds);
  struct timespec after;
  clock_gettime(CLOCK_REALTIME, &after);
  EXPECT_GE(seconds, before);
  EXPECT_LE(seconds, after.tv_sec);
  EXPECT_EQ(nanoseconds % 1000, 0u);
  EXPECT_LT(nanoseconds, 1'000'000'000u);
  time_t wrapped = 0;
  zarn_time(&wrapped);
  zarn_time(nullptr);
  EXPECT_GE(wrapped, before);
}

}  // namespace
