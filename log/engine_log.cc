#include "log/engine_log.h"

#include <string.h>
#include <time.h>

#include <cerrno>
#include <cstdlib>

#include "charset/codeset.h"
#include "log/file_calls.h"
#include "log/log_file.h"
#include "log/message_format.h"
#include "log/stamp.h"
#include "runtime/fork_order.h"

long ZARNMutexInit(pthread_mutex_t* mutex) {
  if (mutex == nullptr) return -13200;
  *mutex = {};
  return pthread_mutex_init(mutex, nullptr) == 0 ? 0 : -13200;
}

long ZARNMutexLock(pthread_mutex_t* mutex) {
  return mutex != nullptr && pthread_mutex_lock(mutex) == 0 ? 0 : -13201;
}

long ZARNMutexTryLock(pthread_mutex_t* mutex) {
  const int refused = mutex == nullptr ? EINVAL : pthread_mutex_trylock(mutex);
  if (refused == 0) return 0;
  return refused == EBUSY ? -13202 : -13201;
}

long ZARNMutexUnlock(pthread_mutex_t* mutex) {
  return mutex != nullptr && pthread_mutex_unlock(mutex) == 0 ? 0 : -13203;
}

long ZARNMutexDestroy(pthread_mutex_t* mutex) {
  return mutex != nullptr && pthread_mutex_destroy(mutex) == 0 ? 0 : -13204;
}

pthread_mutex_t* LogMutex(void) {
  // The static initialiser makes the first use safe from any thread and costs nothing at start-up.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wzero-as-null-pointer-constant"  // the system's macro says 0
  static constinit pthread_mutex_t mutex = PTHREAD_MUTEX_INITIALIZER;
#pragma GCC diagnostic pop
  return &mutex;
}

long ZARNLogMutexLock(void) { return ZARNMutexLock(LogMutex()); }

long ZARNLogMutexUnlock(void) { return ZARNMutexUnlock(LogMutex()); }

LogRecord* LogInfo() {
  static constinit LogRecord VLog{};
  return &VLog;
}

namespace {

// fork() waits for the line that another thread is writing, so that the child finds the mutex free and has no
// descriptor of a line that is not its own. That line may in turn wait for the file as long as another
// process holds its lock: then fork() goes on after this time, and the child gets a new mutex.
constexpr time_t kForkPatience_s = 1;
constinit thread_local bool locked_for_fork = false;

void lock_for_fork() {
  timespec deadline{};
  clock_gettime(CLOCK_MONOTONIC, &deadline);
  deadline.tv_sec += kForkPatience_s;
  locked_for_fork = pthread_mutex_clocklock(LogMutex(), CLOCK_MONOTONIC, &deadline) == 0;
}

void unlock_in_parent() {
  if (locked_for_fork) ZARNLogMutexUnlock();
}

void unlock_in_child() {
  if (locked_for_fork) {
    ZARNLogMutexUnlock();
  } else {
    ZARNMutexInit(LogMutex());
    LogInfo()->rollStream = nullptr;
  }
}

[[gnu::constructor(mar::kForkLog)]] void keep_over_fork() {
  pthread_atfork(lock_for_fork, unlock_in_parent, unlock_in_child);
}

// The rest of this block with the log mutex held.

void ZARNLogUninitialize(LogRecord& log) {
  free(log.fileName);
  log.fileName = nullptr;
  log.initialized = 0;
}

int initialize(LogRecord& log, const char* fileName, long maxSize, int threshold, long components) {
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
  xcs_init();  // for file names and wide strings; here, since a first use by several threads would be a race
  log.initialized = 1;
  return 0;
}

// Not inlined: a message that is filtered out need not set up the buffers' stack.
[[gnu::noinline]] void write_message(LogRecord& log, int wide, const char* format, va_list args) {
  const mar::CallerUndisturbed undisturbed;
  char message[kMessageBufferSize];
  if (!BuildLogMessage(message, wide, format, args)) return;
  if (log.console != 0) {
    const mar::SigpipeHeldBack held_back;
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
  const mar::CallerUndisturbed undisturbed;
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
