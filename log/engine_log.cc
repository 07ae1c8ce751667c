#include "log/engine_log.h"

#include <string.h>

#include <cstdlib>

#include "charset/codeset.h"
#include "log/file_calls.h"
#include "log/log_file.h"
#include "log/log_record.h"
#include "log/message_format.h"
#include "log/stamp.h"

using namespace mar;

mar::LogRecord* LogInfo() {
  static constinit LogRecord VLog{};
  return &VLog;
}

namespace {

void ZARNLogUninitialize(LogRecord& log) MAR_REQUIRES(log_mutex) {
  free(log.fileName);
  log.fileName = nullptr;
  log.initialized = 0;
}

int initialize(LogRecord& log, const char* fileName, long maxSize, int threshold, long components)
    MAR_REQUIRES(log_mutex) {
  char* copy = fileName == nullptr ? nullptr : strdup(fileName);  // first: it may be the name in use
  if (log.initialized != 0) ZARNLogUninitialize(log);
  if (maxSize < 1 || components < 0 || fileName == nullptr || ValidateLogThreshold(threshold) != 0) {
    free(copy);
    return -1;
  }
  if (copy == nullptr) return -2;
  ZARNConvertDirToUnixFormat(copy);
  log.fileName = copy;
  log.rollStream = nullptr;
  log.maxSize = ZARNLogCheckFileSize(maxSize);
  log.threshold = threshold;
  log.components = components;
  survive_file_size_limit();
  xcs_init();  // for file names and wide strings; a first use by several threads would be a race
  log.initialized = 1;
  return 0;
}

// Not inlined: a message that is filtered out does not need the buffers' stack.
[[gnu::noinline]] void write_message(LogRecord& log, int wide, const char* format, va_list args)
    MAR_REQUIRES(log_mutex) {
  const CallerUndisturbed undisturbed;
  char message[kMessageBufferSize];
  if (!BuildLogMessage(message, wide, format, args)) return;
  if (log.console != 0) {
    const SigpipeHeldBack held_back;
    printf("(%04d:%04d)%s\n", getPid(), static_cast<int>(getTid()), message);
    fflush(stdout);
  } else {
    char line[kLineBufferSize];
    MakeTheWholeLogLine(message, line);
    ZARN_FileSendMessage(log.fileName, line);
    if (ZARNLogFileSize(log.fileName) > log.maxSize) {
      LogFileRollOver(log.fileName, log.maxSize, &log.rollStream);
    }
  }
}

}  // namespace

int ZARNLogInit(const char* fileName, long maxSize, int threshold, long components, int /*unused*/) {
  const CallerUndisturbed undisturbed;
  ZARNLogMutexLock();
  const int result = initialize(*LogInfo(), fileName, maxSize, threshold, components);
  ZARNLogMutexUnlock();
  return result;
}

void ZARNLogDeinit(void) {
  ZARNLogMutexLock();
  ZARNLogUninitialize(*LogInfo());
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
  if (log.initialized != 0 && enabled != 0 && log.threshold >= level) write_message(log, wide, format, args);
  return ZARNLogMutexUnlock();
}

void ZARNDebug(long /*component*/, int /*level*/, const char* /*format*/, ...) {}
