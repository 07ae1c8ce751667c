// Thin time helpers of the engine family: the C library's calls under the family's names, the local offset
// from UTC, and a broken-down time with sub-second fields. All keep to the current setting of TZ. A child
// forked while another thread converts a time may call them.
#pragma once

#include <time.h>

#include <cstdint>

// A local time with the fractions of its second, each within the next coarser one.
struct HRT {
  struct tm broken_down;
  uint64_t msec;  // 0 .. 999, more when ConvertToHRT was given a second or more of nanoseconds
  uint64_t usec;  // 0 .. 999
  uint64_t nsec;  // 0 .. 999
};

// Writes the local time of `seconds` at `out` as localtime would break it down, but without touching the C
// library's shared record, so that any thread may call it. Returns false, and a zeroed record, for a year
// that the record cannot hold.
bool local_time_of(time_t seconds, struct tm* out);

extern "C" {

// time, localtime, mktime and gmtime. The broken-down results of zarn_localtime and zarn_gmtime are the C
// library's static record: use them at once, from one thread. `out` may be null.
void zarn_time(time_t* out);
struct tm* zarn_localtime(const time_t* seconds);
time_t zarn_mktime(struct tm* broken_down);
struct tm* zarn_gmtime(const time_t* seconds);

// Where `seconds` lies against the midnight that began today, that local date and time being read as if it
// were UTC: -1 before it, 0 at it, 1 after it.
int compare_with_today(int64_t seconds);

// Splits a time into local broken-down time and milli-, micro- and nanoseconds. Safe from any thread.
void ConvertToHRT(uint32_t seconds, uint32_t nanoseconds, HRT* out);

// Now, to the microsecond: whole seconds since the epoch and the nanoseconds of the running second.
void ZarnBestGetCurrentTime(uint32_t* seconds, uint32_t* nanoseconds);

// Seconds that local standard time is ahead of UTC (7200 two hours east, -18000 five hours west), daylight
// saving time left out.
int64_t local_time_zone(void);

// Take local_time_zone() off a time value, and put it on.
time_t tzzero2loc(time_t seconds);
time_t loc2tzzero(time_t seconds);

}  // extern "C"
