// Thin time helpers of the engine family: the C library's calls under the family's names, the local offset
// from UTC, and a broken-down time with sub-second fields. All follow the current setting of TZ. A child
// forked while another thread converts a time may call them. They report no errors,
// and none is a cancellation point. Any thread may call those whose comment says nothing else.
#pragma once

#include <stdint.h>
#include <time.h>

// A local time and the fractions of its second, each counted within the next coarser one.
typedef struct HRT {
  struct tm broken_down;
  uint64_t msec;  // 0 .. 999, or more if ConvertToHRT was given a second or more of nanoseconds
  uint64_t usec;  // 0 .. 999
  uint64_t nsec;  // 0 .. 999
} HRT;

#pragma GCC visibility push(default)
#ifdef __cplusplus
namespace mar {

// Breaks `seconds` down into local time as localtime does, but without the C library's shared record, so any
// thread may call it. Returns false and a zeroed record for a year that the record cannot hold.
bool local_time_of(time_t seconds, struct tm* out);

}  // namespace mar

extern "C" {
#endif

// time, localtime, mktime and gmtime. zarn_localtime and zarn_gmtime return the C library's static record:
// use it at once, from one thread. `out` may be null.
void zarn_time(time_t* out);
struct tm* zarn_localtime(const time_t* seconds);
time_t zarn_mktime(struct tm* broken_down);
struct tm* zarn_gmtime(const time_t* seconds);

// Compares `seconds` with the midnight at which today began, reading that local date and time as if it were
// UTC: -1 before it, 0 at it, 1 after it.
int compare_with_today(int64_t seconds);

// Splits a time into local broken-down time and milli-, micro- and nanoseconds. Safe from any thread.
void ConvertToHRT(uint32_t seconds, uint32_t nanoseconds, HRT* out);

// The current time to the microsecond: whole seconds since the epoch and the nanoseconds past them.
void ZarnBestGetCurrentTime(uint32_t* seconds, uint32_t* nanoseconds);

// The seconds by which local standard time is ahead of UTC: 7200 two hours east, -18000 five hours west.
// Daylight saving time is left out.
int64_t local_time_zone(void);

// A time value less local_time_zone(), and plus it.
time_t tzzero2loc(time_t seconds);
time_t loc2tzzero(time_t seconds);

#ifdef __cplusplus
}
#endif
#pragma GCC visibility pop
