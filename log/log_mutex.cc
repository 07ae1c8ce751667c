#include "log/log_mutex.h"

#include <string.h>
#include <time.h>

#include <cerrno>

#include "log/log_record.h"
#include "runtime/fork_order.h"

using namespace mar;

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

// Unchecked: log_mutex only stands for the mutex that these two handle.
long ZARNLogMutexLock(void) MAR_UNCHECKED { return ZARNMutexLock(LogMutex()); }
long ZARNLogMutexUnlock(void) MAR_UNCHECKED { return ZARNMutexUnlock(LogMutex()); }

namespace {

// fork() waits for the line that another thread is writing, so that the child finds the mutex free and
// inherits no descriptor of a line that is not its own. That line may in turn wait for another process's lock
// on the file, however long. After this time fork() goes on regardless, and the child gets a new mutex.
constexpr time_t kForkPatience_s = 1;
constinit thread_local bool locked_for_fork = false;

void lock_for_fork() {
  timespec deadline{};
  clock_gettime(CLOCK_REALTIME, &deadline);
  deadline.tv_sec += kForkPatience_s;
  // Not pthread_mutex_clocklock, which the thread sanitizer takes for no lock at all.
  locked_for_fork = pthread_mutex_timedlock(LogMutex(), &deadline) == 0;
}

void unlock_in_parent() {
  if (locked_for_fork) ZARNMutexUnlock(LogMutex());
}

// Unchecked: a child has one thread, which needs no lock to clear what the missing one left.
void unlock_in_child() MAR_UNCHECKED {
  if (locked_for_fork) {
    ZARNMutexUnlock(LogMutex());
  } else {
    ZARNMutexInit(LogMutex());
    LogInfo()->rollStream = nullptr;
  }
}

[[gnu::constructor(kForkLog)]] void hold_during_fork() {
  pthread_atfork(lock_for_fork, unlock_in_parent, unlock_in_child);
}

}  // namespace
