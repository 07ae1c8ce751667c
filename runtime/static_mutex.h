// A mutex for the libraries' own static data: ready before any constructor runs, never destroyed, and without
// the codes and the error stack of CkesMutex.
#pragma once

#include <pthread.h>

#include "runtime/thread_annotations.h"

namespace mar {

class MAR_CAPABILITY("mutex") StaticMutex {
 public:
  void lock() MAR_ACQUIRE() { pthread_mutex_lock(&mutex_); }
  void unlock() MAR_RELEASE() { pthread_mutex_unlock(&mutex_); }

 private:
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wzero-as-null-pointer-constant"  // the system's macro says 0
  pthread_mutex_t mutex_ = PTHREAD_MUTEX_INITIALIZER;
#pragma GCC diagnostic pop
};

// Holds the mutex for a scope.
class MAR_SCOPED_CAPABILITY StaticMutexHold {
 public:
  explicit StaticMutexHold(StaticMutex& mutex) MAR_ACQUIRE(mutex) : mutex_(mutex) { mutex_.lock(); }
  ~StaticMutexHold() MAR_RELEASE() { mutex_.unlock(); }
  StaticMutexHold(const StaticMutexHold&) = delete;
  StaticMutexHold& operator=(const StaticMutexHold&) = delete;

 private:
  StaticMutex& mutex_;
};

}  // namespace mar
