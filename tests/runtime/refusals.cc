// The POSIX calls under mutex and event, at the linker's --wrap: tests can refuse, count and look at them.
#include <pthread.h>

#include "tests/runtime/runtime_test.h"

using mar::Refused;

#define WRAP(kind, look, name, parameters, ...)                                       \
  int __real_##name parameters;                                                       \
  int __wrap_##name parameters {                                                      \
    look;                                                                             \
    return (Refused::now & Refused::kind) != 0 ? EINVAL : __real_##name(__VA_ARGS__); \
  }

using Mutex = pthread_mutex_t*;
using Condition = pthread_cond_t*;

extern "C" {
WRAP(kMutex, (void)0, pthread_mutex_init, (Mutex m, const pthread_mutexattr_t* a), m, a)
WRAP(kMutex, ++Refused::locks, pthread_mutex_lock, (Mutex m), m)
WRAP(kMutex, (void)0, pthread_mutex_trylock, (Mutex m), m)
WRAP(kMutex, (void)0, pthread_mutex_unlock, (Mutex m), m)
WRAP(kCondition, (void)0, pthread_cond_signal, (Condition c), c)
WRAP(kCondition, (void)0, pthread_cond_broadcast, (Condition c), c)
WRAP(kCondition, ++Refused::waits, pthread_cond_wait, (Condition c, Mutex m), c, m)
WRAP(kCondition, (++Refused::waits, Refused::deadline = *t), pthread_cond_timedwait,
     (Condition c, Mutex m, const timespec* t), c, m, t)
}
