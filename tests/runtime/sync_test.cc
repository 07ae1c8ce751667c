// Mutex and event.
#include <gtest/gtest.h>
#include <limits.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "runtime/event.h"
#include "runtime/mutex.h"
#include "tests/runtime/runtime_test.h"

namespace {

TEST(Mutex, FailuresAreReturnedAndRecorded) {
  CkesMutex mutex;
  ASSERT_EQ(mutex.Lock(), 0);
  EXPECT_EQ(failure(mutex.TryLock()), "-124 CkesMutex::TryLock()\n");
  ASSERT_EQ(mutex.Unlock(), 0);
  ASSERT_EQ(mutex.TryLock(), 0);
  ASSERT_EQ(mutex.Unlock(), 0);

  // The default mutex checks nothing, so an error-checking one takes its place for the other failures.
  CkesMutex checked;
  pthread_mutexattr_t checking;
  pthread_mutexattr_init(&checking);
  pthread_mutexattr_settype(&checking, PTHREAD_MUTEX_ERRORCHECK);
  pthread_mutex_destroy(checked.GetUNIXMutex());
  ASSERT_EQ(pthread_mutex_init(checked.GetUNIXMutex(), &checking), 0);
#ifndef __SANITIZE_THREAD__  // which reports the misuse itself
  EXPECT_EQ(failure(checked.Unlock()), "-123 CkesMutex::Unlock()\n");
#endif
  EXPECT_EQ(checked.Lock(), 0);
  EXPECT_EQ(failure(checked.Lock()), "-122 CkesMutex::Lock()\n");
  checked.Unlock();
}

// Each row plays its steps on a new event: S signal, P pulse, R reset, and for each w (Wait(0)) the outcome
// is written as "0" or "t" for a time-out.
TEST(Event, FlagAfterEachStep) {
  struct {
    TEventMode mode;
    bool up;
    const char* steps;
    const char* outcomes;
  } const rows[] = {
      {AUTO_RESET, false, "Sw", "t"},  // a signal for nobody is lost
      {AUTO_RESET, true, "ww", "0t"},  // the first flag lets one pass
      {AUTO_RESET, true, "Sw", "t"},   // and any operation takes it down
      {AUTO_RESET, true, "Pw", "t"},           {AUTO_RESET, true, "Rw", "t"},
      {MANUAL_RESET, false, "wSwwRw", "t00t"}, {MANUAL_RESET, true, "wPw", "0t"},
      {TEventMode{7}, false, "SwwPw", "00t"},  // as manual
  };
  for (const auto& row : rows) {
    CkesEvent event(row.mode, row.up);
    std::string outcomes;
    for (const char* step = row.steps; *step != '\0'; ++step) {
      long code = 0;
      if (*step == 'S') code = event.Signal();
      if (*step == 'P') code = event.Pulse();
      if (*step == 'R') code = event.Reset();
      EXPECT_EQ(code, 0) << row.steps;
      if (*step == 'w') outcomes += event.Wait(0) == 0 ? "0" : "t";
    }
    EXPECT_EQ(outcomes, row.outcomes) << row.steps;
  }
}

TEST(Event, TimedWaitsRunOut) {
  CkesEvent event;
  for (const long wait_ms : {LONG_MIN, -1001L, -1L, 0L, 100L}) {
    EXPECT_EQ(failure(event.Wait(wait_ms)), "-132 CkesEvent::Wait(long)\n") << wait_ms;
  }
}

// Threads that wait on one event, every other one with the longest time there is.
struct Waiters {
  Waiters(CkesEvent& event, int count) {
    for (int i = 0; i < count; ++i) {
      threads.emplace_back([this, &event, i] {
        EXPECT_EQ(i % 2 == 0 ? event.Wait() : event.Wait(LONG_MAX), 0);
        ++released;
      });
    }
    settle();
  }
  // Time to fall asleep or to come back. Too little of it hides a fault and reports none.
  static void settle() { std::this_thread::sleep_for(std::chrono::milliseconds(30)); }

  std::atomic<int> released = 0;
  std::vector<std::jthread> threads;
};

// A waiter may come too late for a signal, so signals are repeated; but in auto mode none may release two.
TEST(Event, SignalAndPulseReleaseWaiters) {
  for (const TEventMode mode : {AUTO_RESET, MANUAL_RESET}) {
    for (const bool pulse : {false, true}) {
      CkesEvent event(mode, false);
      Waiters waiters(event, 3);
      EXPECT_EQ(waiters.released, 0);
      for (int signals = 1; waiters.released < 3; ++signals) {
        ASSERT_EQ(pulse ? event.Pulse() : event.Signal(), 0);
        Waiters::settle();
        EXPECT_LE(waiters.released, mode == AUTO_RESET ? signals : 3);
      }
      EXPECT_EQ(event.Wait(0), mode == MANUAL_RESET && !pulse ? 0 : -132);
    }
  }
}

}  // namespace
