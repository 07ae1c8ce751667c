#include "engine_client/turn.h"

#include <pthread.h>

#include <algorithm>
#include <cerrno>
#include <ctime>
#include <new>

#include "util/deadline.h"

CkesMutex* pMutex = new (std::nothrow) CkesMutex;

namespace mar {

namespace {

constexpr int64_t kNsPerS = 1'000'000'000;
constexpr int64_t kSliceNs = kNsPerS / 4;

// A child forked while another thread exchanges inherits that thread's turn, but not the thread, so its mutex
// is made anew. A thread that forks between exchanges holds the turn itself during the fork.
constinit thread_local bool holds_turn_for_fork = false;

void before_fork() {
  holds_turn_for_fork = pMutex != nullptr && pthread_mutex_trylock(pMutex->GetUNIXMutex()) == 0;
}

void after_fork() {
  if (holds_turn_for_fork) pthread_mutex_unlock(pMutex->GetUNIXMutex());
}

void after_fork_in_child() {
  if (holds_turn_for_fork || pMutex == nullptr) return after_fork();
  new (pMutex) CkesMutex;
}

[[maybe_unused]] const int fork_handlers = pthread_atfork(before_fork, after_fork, after_fork_in_child);

// Not pthread_mutex_clocklock, which the thread sanitizer takes for no lock at all. In slices, since the wall
// clock may be set while the thread waits.
MAR_UNCHECKED bool impl_lock_within(CkesMutex& mutex, Deadline deadline) {
  if (!deadline.is_set()) return mutex.Lock() == 0;
  for (;;) {
    timespec until{};
    clock_gettime(CLOCK_REALTIME, &until);
    until.tv_nsec += std::min(kSliceNs, deadline.remaining_ns());
    until.tv_sec += until.tv_nsec / kNsPerS;
    until.tv_nsec %= kNsPerS;
    const int error = pthread_mutex_timedlock(mutex.GetUNIXMutex(), &until);
    if (error != ETIMEDOUT) return error == 0;
    if (deadline.has_passed()) return false;
  }
}

}  // namespace

Turn::Turn(bool needed) : needed_(needed) {
  if (!needed) return;
  if (pMutex == nullptr) pMutex = new (std::nothrow) CkesMutex;
  locked_ = pMutex != nullptr && impl_lock_within(*pMutex, call_deadline());
}

Turn::~Turn() {
  if (locked_) pMutex->Unlock();
}

}  // namespace mar
