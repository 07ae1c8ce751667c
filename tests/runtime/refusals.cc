// The POSIX calls of mutex and event, at the linker's --wrap: they can be refused, counted and looked at.
#include <pthread.h>

#include "tests/runtime/runtime_test.h"

using mar::Refused;

extern "C" {

#define REFUSABLE(kind, name, parameters, arguments) \
  int __real_##name parameters;                      \
  int __wrap_##name parameters { return (Refused::now & kind) != 0 ? EINVAL : __real_##name arguments; }

REFUSABLE(Refused::kMutex, pthread_mutex_init, (pthread_mutex_t * m, const pthread_mutexattr_t* a), (m, a))
REFUSABLE(Refused::kMutex, pthread_mutex_trylock, (pthread_mutex_t * m), (m))
REFUSABLE(Refused::kMutex, pthread_mutex_unlock, (pthread_mutex_t * m), (m))
REFUSABLE(Refused::kCondition, pthread_cond_signal, (pthread_cond_t * c), (c))
REFUSABLE(Refused::kCondition, pthread_cond_broadcast, (pthread_cond_t * c), (c))

int __real_pthread_mutex_lock(pthread_mutex_t* m);
int __wrap_pthread_mutex_lock(pthread_mutex_t* m) {
  ++Refused::locks;
  return (Refused::now & Refused::kMutex) != 0 ? EINVAL : __real_pthread_mutex_lock(m);
}

int __real_pthread_cond_wait(pthread_cond_t* c, pthread_mutex_t* m);
int __wrap_pthread_cond_wait(pthread_cond_t* c, pthread_mutex_t* m) {
  ++Refused::waits;
  return (Refused::now & Refused::kCondition) != 0 ? EINVAL : __real_pthread_cond_wait(c, m);
}

int __real_pthread_cond_timedwait(pthread_cond_t* c, pthread_mutex_t* m, const timespec* deadline);
int __wrap_pthread_cond_timedwait(pthread_cond_t* c, pthread_mutex_t* m, const timespec* deadline) {
  ++Refused::waits;
  Refused::deadline = *deadline;
  return (Refused::now & Refused::kCondition) != 0 ? EINVAL : __real_pthread_cond_timedwait(c, m, deadline);
}

}  // extern "C"
