#include "util/time.h"

#include <sys/time.h>

#include "runtime/fork_order.h"
#include "runtime/static_mutex.h"

using namespace mar;

namespace {

// The C library guards the time zone with a lock of its own, which fork() does not reset: a child forked
// while another thread converts a time would wait for it for ever. Every conversion here takes this mutex
// first, and so does fork().
constinit StaticMutex conversion_mutex;

void lock_conversion() MAR_ACQUIRE(conversion_mutex) { conversion_mutex.lock(); }
void unlock_conversion() MAR_RELEASE(conversion_mutex) { conversion_mutex.unlock(); }

[[gnu::constructor(kForkInnermost)]] void hold_conversion_during_fork() {
  pthread_atfork(lock_conversion, unlock_conversion, unlock_conversion);
}

}  // namespace

bool mar::local_time_of(time_t seconds, struct tm* out) {
  const StaticMutexHold conversion(conversion_mutex);
  tzset();  // localtime_r alone need not notice a change of TZ; localtime does
  if (localtime_r(&seconds, out) != nullptr) return true;
  *out = {};
  return false;
}

void zarn_time(time_t* out) { time(out); }

struct tm* zarn_localtime(const time_t* seconds) {
  const StaticMutexHold conversion(conversion_mutex);
  return localtime(seconds);
}

time_t zarn_mktime(struct tm* broken_down) {
  const StaticMutexHold conversion(conversion_mutex);
  return mktime(broken_down);
}

struct tm* zarn_gmtime(const time_t* seconds) {
  const StaticMutexHold conversion(conversion_mutex);
  return gmtime(seconds);
}

int compare_with_today(int64_t seconds) {
  time_t now = 0;
  zarn_time(&now);
  const struct tm* today = zarn_localtime(&now);
  struct tm midnight {};
  midnight.tm_year = today->tm_year;
  midnight.tm_mon = today->tm_mon;
  midnight.tm_mday = today->tm_mday;
  midnight.tm_isdst = -1;
  const time_t began = loc2tzzero(zarn_mktime(&midnight));
  if (began > seconds) return -1;
  return began < seconds ? 1 : 0;
}

void ConvertToHRT(uint32_t seconds, uint32_t nanoseconds, HRT* out) {
  local_time_of(seconds, &out->broken_down);
  out->msec = nanoseconds / 1'000'000;
  out->usec = nanoseconds / 1'000 % 1'000;
  out->nsec = nanoseconds % 1'000;
}

void ZarnBestGetCurrentTime(uint32_t* seconds, uint32_t* nanoseconds) {
  struct timeval now {};
  gettimeofday(&now, nullptr);
  *seconds = static_cast<uint32_t>(now.tv_sec);
  *nanoseconds = static_cast<uint32_t>(now.tv_usec * 1000);
}

int64_t local_time_zone(void) {
  const time_t one_day = 86400;  // late enough that local time is past the epoch in every zone
  struct tm as_local = *zarn_gmtime(&one_day);
  return one_day - zarn_mktime(&as_local);
}

time_t tzzero2loc(time_t seconds) { return seconds - local_time_zone(); }

time_t loc2tzzero(time_t seconds) { return seconds + local_time_zone(); }
