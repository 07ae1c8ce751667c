#include "runtime/thread.h"

#include <gtest/gtest.h>
#include <pthread.h>

#include <functional>
#include <memory>
#include <string>

#include "tests/runtime/runtime_test.h"

namespace mar {

namespace {

// Runs `body` once it is started. Join leaves a thread that has ended unreaped, so `reap` joins it for good.
class Worker : public CkesThread {
 public:
  explicit Worker(std::function<void()> body, const char* text = nullptr)
      : CkesThread(text), body_(std::move(body)) {}
  ~Worker() override { reap(); }
  void reap() {
    unsigned long thread = 0;
    if (reaped || GetState() == THREAD_READY || GetID(&thread) != 0) return;
    EXPECT_EQ(pthread_join(thread, nullptr), 0);
    reaped = true;
  }
  bool reaped = false;

 private:
  long Run() override {
    body_();
    return 1;
  }
  std::function<void()> body_;
};

// A worker without a thread: its stack would be larger than the address space.
std::unique_ptr<Worker> invalid_worker() {
  pthread_attr_t usual, huge;
  pthread_getattr_default_np(&usual);
  pthread_attr_init(&huge);
  pthread_attr_setstacksize(&huge, size_t{1} << 62);
  EXPECT_EQ(pthread_setattr_default_np(&huge), 0);
  auto worker = std::make_unique<Worker>([] { ADD_FAILURE() << "ran"; }, "name");
  pthread_setattr_default_np(&usual);
  return worker;
}

// The state, what the operations that do not change it return, and what the last of them records.
std::string codes(CkesThread& thread) {
  TThreadPriority priority{};
  unsigned long id;
  std::string text = std::to_string(thread.GetState()) + ":";
  for (const long code :
       {thread.GetID(&id), thread.SetPriority(priority), thread.GetPriority(&priority), thread.GiveWay()}) {
    text += " " + std::to_string(code);
  }
  return text + ", " + recorded();
}

TEST(Thread, OperationsFollowTheState) {
  CkesEvent gate(MANUAL_RESET, false);
  Worker worker([&] { gate.Wait(); });
  EXPECT_EQ(codes(worker), "0: 0 -2 -2 -106, -106 CkesThread::GiveWay()\n");
  EXPECT_EQ(failure(worker.Terminate()), "-106 CkesThread::Terminate()\n");

  EXPECT_EQ(worker.Start(), 0);
  EXPECT_EQ(codes(worker), "1: 0 -2 -2 -111, -111 CkesThread::GiveWay()\n");
  EXPECT_EQ(failure(worker.Start()), "-106 CkesThread::Start()\n");

  gate.Signal();
  while (worker.GetState() == THREAD_RUNNING) CkesThreadLibrary::GiveWay();
  EXPECT_EQ(codes(worker), "2: 0 -106 -106 -106, -106 CkesThread::GiveWay()\n");
  EXPECT_EQ(worker.Join(), 0);  // at once: a second join of the thread would be undefined

  const auto invalid = invalid_worker();
  EXPECT_EQ(codes(*invalid), "3: -106 -106 -106 -106, -106 CkesThread::GiveWay()\n");
  EXPECT_EQ(invalid->Start(), -106);
  EXPECT_EQ(failure(invalid->Join()), "-106 CkesThread::Join()\n");
  EXPECT_EQ(invalid->Terminate(), -106);
}

TEST(Thread, RunSeesItsOwnThread) {
  std::unique_ptr<Worker> worker;
  const auto body = [&] {
    char text[kThreadNameSizeBytes];
    EXPECT_EQ(CkesThreadLibrary::GetCurrentThreadName(text), 0);
    EXPECT_STREQ(text, "123456789012345678901234567890123");
    EXPECT_EQ(worker->GiveWay(), 0);
    EXPECT_EQ(recorded(), "0 Error code not set.\n");
    EXPECT_EQ(failure(worker->Join()), "-109 CkesThread::Join()\n");
  };
  worker = std::make_unique<Worker>(body, "123456789012345678901234567890123 and more");
  EXPECT_EQ(worker->Start(), 0);
  worker->reap();
  EXPECT_STREQ(Worker([] { ADD_FAILURE() << "ran"; }).GetName(), "Unnamed");
}

// The first thread leaves its body without returning, so it stays in the running state and is joined.
TEST(Thread, JoinAllStopsAtTheFirstFailure) {
  bool done = false;
  Worker first([&] {
    done = true;
    pthread_exit(nullptr);
  });
  Worker third([] {});
  const auto second = invalid_worker();
  first.Start();
  CkesThread* threads[] = {&first, second.get(), &third};  // the third is not started: joining it would hang
  EXPECT_EQ(CkesThreadLibrary::JoinAll(threads, 3), -106);
  first.reaped = true;
  EXPECT_TRUE(done);
  EXPECT_EQ(recorded(), "-106 CkesThread::Join()\nCkesThreadLibrary::JoinAll()\n");
}

TEST(Thread, StartPassesAFailedSignalOn) {
  Worker worker([] {});
  {
    const Refused refused(Refused::kCondition);
    EXPECT_EQ(failure(worker.Start()), "-134 CkesEvent::Signal()\nCkesThread::Start()\n");
  }
  EXPECT_EQ(worker.Terminate(), 0);  // it waits on, or runs
}

// A cancelled wait must not keep the event's lock, nor its thread the error stack (seen by the leak check).
TEST(Thread, TerminatedInAWaitItLeavesTheEventUsable) {
  CkesEvent gate(MANUAL_RESET, false), waiting(MANUAL_RESET, false);
  Worker worker([&] {
    waiting.Signal();
    gate.Wait();
    ADD_FAILURE() << "came back from a cancelled wait";
  });
  worker.Start();
  waiting.Wait();
  EXPECT_EQ(worker.Terminate(), 0);
  EXPECT_EQ(worker.GetState(), THREAD_ENDED);
  EXPECT_EQ(worker.Join(), 0);
  worker.reap();
  EXPECT_EQ(gate.Signal(), 0);
  EXPECT_EQ(gate.Wait(), 0);
}

}  // namespace

}  // namespace mar
