// Mutex and event.
#include <gtest/gtest.h>
#include <limits.h>

#include <algorithm>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "runtime/event.h"
#include "runtime/mutex.h"
#include "tests/runtime/runtime_test.h"
#include "tests/support/child.h"

namespace mar {

namespace {

// What every operation returns and records.
std::string failures(CkesMutex& mutex, CkesEvent& event) {
  return (std::ostringstream() << failure(mutex.Lock()) << failure(mutex.TryLock()) << failure(mutex.Unlock())
                               << failure(event.Wait()) << failure(event.Wait(1)) << failure(event.Signal())
                               << failure(event.Pulse()) << failure(event.Reset()))
      .str();
}

TEST(Sync, FailuresAreReturnedAndRecorded) {
  CkesMutex mutex;
  ASSERT_EQ(mutex.Lock(), 0);
  EXPECT_EQ(failure(mutex.TryLock()), "-124 CkesMutex::TryLock()\n");
  ASSERT_EQ(mutex.Unlock() + mutex.TryLock() + mutex.Unlock(), 0);

  for (const TEventMode mode : {AUTO_RESET, MANUAL_RESET}) {
    CkesEvent event(mode, false);
    const Refused refused(Refused::kMutex | Refused::kCondition);
    EXPECT_EQ(failures(mutex, event),
              "-122 CkesMutex::Lock()\n-122 CkesMutex::TryLock()\n-123 CkesMutex::Unlock()\n"
              "-133 CkesEvent::Wait()\n-133 CkesEvent::Wait(long)\n-134 CkesEvent::Signal()\n"
              "-134 CkesEvent::SignalAll()\n0, but -123 CkesMutex::Unlock()\n");
  }
  const Refused refused(Refused::kMutex);
  CkesMutex no_mutex;
  CkesEvent no_event;
  EXPECT_EQ(failures(no_mutex, no_event),
            "-120 CkesMutex::Lock()\n-120 CkesMutex::TryLock()\n-120 CkesMutex::Unlock()\n"
            "-130 CkesEvent::Wait()\n-130 CkesEvent::Wait(long)\n-130 CkesEvent::Signal()\n"
            "-130 CkesEvent::SignalAll()\n-130 CkesEvent::Reset()\n");
}

// Each row plays its steps on a new event: S signal, P pulse, R reset, and for each w (Wait(0)) the outcome
// is written as "0" or "t" for a time-out. Every step locks the event once.
TEST(Event, FlagAfterEachStep) {
  struct {
    TEventMode mode;
    bool up;
    const char* steps;
    const char* outcomes;
  } const rows[] = {
      {AUTO_RESET, false, "Sw", "t"},  // a signal for no waiter is lost
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
      const int before = Refused::locks;
      long code = 0;
      if (*step == 'S') code = event.Signal();
      if (*step == 'P') code = event.Pulse();
      if (*step == 'R') code = event.Reset();
      EXPECT_EQ(code, 0) << row.steps;
      if (*step == 'w') outcomes += event.Wait(0) == 0 ? "0" : "t";
      EXPECT_EQ(Refused::locks, before + 1) << *step;
    }
    EXPECT_EQ(outcomes, row.outcomes) << row.steps;
  }
}

TEST(Event, DeadlineOfATimedWait) {
  for (const long wait_ms : {0L, -1L, LONG_MIN, 999L, 2034L, long{INT_MAX}}) {
    const long want_ms = std::max(wait_ms, 0L);
    CkesEvent event;
    const time_t before = time(nullptr);
    const Refused refused(Refused::kCondition);
    EXPECT_EQ(event.Wait(wait_ms), -133);
    EXPECT_EQ(Refused::deadline.tv_nsec, want_ms % 1000 * 1'000'000) << wait_ms;
    EXPECT_GE(Refused::deadline.tv_sec, before + want_ms / 1000) << wait_ms;
    EXPECT_LE(Refused::deadline.tv_sec, time(nullptr) + want_ms / 1000) << wait_ms;
  }
  CkesEvent event;
  EXPECT_EQ(failure(event.Wait(100)), "-132 CkesEvent::Wait(long)\n");
}

// Threads that wait on an event, every other one with the longest time there is.
struct Waiters {
  Waiters(CkesEvent& event, int count) {
    const int before = Refused::waits;
    for (int i = 0; i < count; ++i) {
      threads.emplace_back([this, &event, i] {
        EXPECT_EQ(i % 2 == 0 ? event.Wait() : event.Wait(LONG_MAX), 0);
        ++released;
      });
    }
    EXPECT_TRUE(eventually([&] { return Refused::waits == before + count; }));
  }
  std::atomic<int> released = 0;
  std::vector<std::jthread> threads;
};

TEST(Event, SignalAndPulseReleaseWaiters) {
  for (const TEventMode mode : {AUTO_RESET, MANUAL_RESET}) {
    for (const bool pulse : {false, true}) {
      CkesEvent event(mode, false);
      Waiters waiters(event, 3);
      for (int signals = 1; waiters.released < 3; ++signals) {
        ASSERT_EQ(pulse ? event.Pulse() : event.Signal(), 0);
        ASSERT_TRUE(eventually([&] { return waiters.released >= (mode == AUTO_RESET ? signals : 3); }));
        EXPECT_EQ(waiters.released, mode == AUTO_RESET ? signals : 3);
      }
      EXPECT_EQ(event.Wait(0), mode == MANUAL_RESET && !pulse ? 0 : -132);
    }
  }
}

// Forked while another thread uses an event and a third one waits on it.
TEST(Event, IsFreeInAForkedChild) {
  auto* event = new CkesEvent(MANUAL_RESET, false);
  Waiters waiters(*event, 1);
  std::atomic<bool> stop = false;
  std::jthread busy([&] {
    while (!stop) event->Reset();
  });
  for (int i = 0; i < 100 && !stop; ++i) {
    const Child child([&] {
      const long code = event->Reset() + event->Signal();
      delete event;  // would wait for the waiter, which the child does not have
      return code;
    });
    stop = !eventually([&] { return child.ended(); });
  }
  EXPECT_FALSE(stop) << "a child hangs";
  stop = true;
  busy.join();
  event->Signal();
  waiters.threads.clear();
  delete event;
}

}  // namespace

}  // namespace mar
