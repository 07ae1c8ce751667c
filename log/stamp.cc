#include "log/stamp.h"

#include <pthread.h>
#include <unistd.h>

#include <cinttypes>
#include <cstdio>

#include "util/time.h"

void getLocalTime(int extended, char* out, unsigned long* seconds, unsigned long* millis) {
  uint32_t now_s = 0;
  uint32_t now_ns = 0;
  ZarnBestGetCurrentTime(&now_s, &now_ns);
  HRT now;
  ConvertToHRT(now_s, now_ns, &now);
  const struct tm& date = now.broken_down;
  const int length = sprintf(out, "%04d-%02d-%02d %02d:%02d:%02d.%03" PRIu64, date.tm_year + 1900,
                             date.tm_mon + 1, date.tm_mday, date.tm_hour, date.tm_min, date.tm_sec, now.msec);
  if (extended != 0) sprintf(out + length, ":%03" PRIu64 ":%03" PRIu64, now.usec, now.nsec);
  if (seconds == nullptr) return;
  *seconds = now_s;
  if (millis != nullptr) *millis = static_cast<unsigned long>(now.msec);
}

int getPid(void) { return getpid(); }

unsigned long getTid(void) { return pthread_self(); }
