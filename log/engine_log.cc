#include "log/engine_log.h"

#include <errno.h>
#include <pthread.h>
#include <string.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>

#include "log/file_calls.h"
#include "log/log_file.h"
#include "log/log_mutex.h"
#include "log/message_format.h"
#include "util/time.h"

LogRecord* LogInfo() {
  static constinit LogRecord VLog{};
  return &VLog;
}

namespace {

// With the log mutex held.
void ZARNLogUninitialize() {
  LogRecord& log = *LogInfo();
  free(log.fileName);
  log.fileName = nullptr;
  log.initialized = 0;
}

int initialize(const char* fileName, long maxSize, int threshold, long components) {
  if (LogInfo()->initialized) ZARNLogUninitialize();
  if (maxSize < 1 || components < 0 || fileName == nullptr || ValidateLogThreshold(threshold) != 0) return -1;
  char* name = strdup(fileName);
  if (name == nullptr) return -2;
  ZARNConvertDirToUnixFormat(name);
  *LogInfo() = {.fileName = name,
                .rollStream = nullptr,
                .maxSize = ZARNLogCheckFileSize(maxSize),
                .threshold = threshold,
                .components = components,
                .initialized = 1,
                .console = LogInfo()->console};
  survive_file_size_limit();
  return 0;
}

void write_message(LogRecord& log, const char* message) {
  if (log.console != 0) {
    printf("(%04d:%04d)%s\n", getPid(), static_cast<int>(getTid()), message);
    fflush(stdout);
    return;
  }
  char line[kLineBufferSize];
  MakeTheWholeLogLine(message, line);
  ZARN_FileSendMessage(log.fileName, line);
  if (ZARNLogFileSize(log.fileName) > log.maxSize) {
    LogFileRollOver(log.fileName, log.maxSize, &log.rollStream);
  }
}

}  // namespace

int ZARNLogInit(const char* fileName, long maxSize, int threshold, long components, int /*unused*/) {
  ZARNLogMutexLock();
  const int result = initialize(fileName, maxSize, threshold, components);
  ZARNLogMutexUnlock();
  return result;
}

void ZARNLogDeinit(void) {
  ZARNLogMutexLock();
  ZARNLogUninitialize();
  ZARNLogMutexUnlock();
}

int IsComponentEnabled(long mask) {
  ZARNLogMutexLock();
  const LogRecord& log = *LogInfo();
  const int enabled = log.initialized != 0 && (mask & log.components) == mask ? 1 : 0;
  ZARNLogMutexUnlock();
  return enabled;
}

long ZARNLog(long component, int level, const char* format, ...) {
  if (ValidateLogThreshold(level) != 0) return -1;
  va_list args;
  va_start(args, format);
  const long result = ZARNLogVA(component, level, 0, format, args);
  va_end(args);
  return result;
}

long ZARNLogVA(long component, int level, int wide, const char* format, va_list args) {
  const int enabled = IsComponentEnabled(component);
  ZARNLogMutexLock();
  LogRecord& log = *LogInfo();
  if (log.initialized != 0 && enabled != 0 && log.threshold >= level) {
    const int caller_errno = errno;
    char message[kMessageBufferSize];
    if (BuildLogMessage(message, wide, format, args)) write_message(log, message);
    errno = caller_errno;
  }
  return ZARNLogMutexUnlock();
}

void ZARNDebug(long /*component*/, int /*level*/, const char* /*format*/, ...) {}

namespace {

bool is_written(long component, int level) {
  if (IsComponentEnabled(component) == 0) return false;
  ZARNLogMutexLock();
  const bool written = LogInfo()->threshold >= level;
  ZARNLogMutexUnlock();
  return written;
}

constexpr long kDumpRowBytes = 16;

// Kept as is: a byte from 0x80 up is printed as a negative number, " ffffff80", and the next byte's text
// overwrites all of it but " ff"; only the row's last byte keeps its eight digits.
void dump_row(long component, int level, long offset, const unsigned char* row, long count) {
  char hex[64] = "";
  char text[kDumpRowBytes + 1] = "";
  for (long i = 0; i < count; ++i) {
    const int value = static_cast<signed char>(row[i]);
    snprintf(hex + 3 * i, 10, " %02x", static_cast<unsigned>(value));
    text[i] = value < 32 || value == 127 ? '.' : static_cast<char>(value);
  }
  char line[128];
  snprintf(line, sizeof line, "%08lx:%-48s %s", static_cast<unsigned long>(offset), hex, text);
  ZARNLog(component, level, "%s", line);
}

}  // namespace

void ZARNDump(long component, int level, const char* title, const unsigned char* data, long length) {
  if (!is_written(component, level)) return;  // spares the rows of a dump that nobody would see
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // the title is the caller's format, by contract
  ZARNLog(component, level, title, data, length);
#pragma GCC diagnostic pop
  char line[80];
  snprintf(line, sizeof line, "-START DATA-: %ld  (%#lx) bytes-", length, static_cast<unsigned long>(length));
  ZARNLog(component, level, "%s", line);
  for (long offset = 0; data != nullptr && offset < length; offset += kDumpRowBytes) {
    dump_row(component, level, offset, data + offset, std::min(length - offset, kDumpRowBytes));
  }
  ZARNLog(component, level, "-END DATA-");
}

void getLocalTime(int extended, char* out, unsigned long* seconds, unsigned long* millis) {
  uint32_t now_s = 0;
  uint32_t now_ns = 0;
  ZarnBestGetCurrentTime(&now_s, &now_ns);
  HRT now;
  ConvertToHRT(now_s, now_ns, &now);
  const struct tm& date = now.broken_down;
  const int length = sprintf(out, "%04d-%02d-%02d %02d:%02d:%02d.%03lu", date.tm_year + 1900, date.tm_mon + 1,
                             date.tm_mday, date.tm_hour, date.tm_min, date.tm_sec, now.msec);
  if (extended != 0) sprintf(out + length, ":%03lu:%03lu", now.usec, now.nsec);
  if (seconds == nullptr) return;
  *seconds = now_s;
  if (millis != nullptr) *millis = now.msec;
}

int getPid(void) { return getpid(); }

unsigned long getTid(void) { return pthread_self(); }
