// workers LOG: three threads that start together, share a counter and write to one log. One of them fails on
// purpose and shows where its error came from.
#include <mar/log/engine_log.h>
#include <mar/runtime/error_manager.h>
#include <mar/runtime/event.h>
#include <mar/runtime/mutex.h>
#include <mar/runtime/thread.h>

#include <cstdio>

namespace {

struct Shared {
  CkesEvent start{MANUAL_RESET, false};
  CkesEvent never;  // which no thread signals
  CkesMutex mutex;
  int finished = 0;  // guarded by mutex
};

class Worker : public CkesThread {
 public:
  Worker(const char* name, Shared& shared, bool fails) : CkesThread(name), shared_(shared), fails_(fails) {}

 private:
  long Run() override {
    shared_.start.Wait();
    const long code = work();
    if (code == 0) return 0;
    // The thread's own error stack: the operation that failed, then each function that passed the failure on.
    CkesErrorManager::AddFunction("Worker::Run()");
    char trail[200] = "";
    CkesErrorManager::GetStackDump(trail, sizeof trail);
    ZARNLog(MAR_LOG_COMMAND, MAR_LOG_MIN, "%s: error %d\n%s", GetName(), static_cast<int>(code), trail);
    return code;
  }

  long work() {
    if (fails_) {
      const long code = shared_.never.Wait(0);
      if (code != 0) CkesErrorManager::AddFunction("Worker::work()");
      return code;
    }
    const mar::MutexHold hold(shared_.mutex);
    ++shared_.finished;
    ZARNLog(MAR_LOG_COMMAND, MAR_LOG_MED, "%s: finished", GetName());
    return 0;
  }

  Shared& shared_;
  bool fails_;
};

}  // namespace

int main(int argc, char** argv) {
  // The first object or call of the run-time initialises it, so this comes before any thread.
  CkesThreadLibrary::Initialize();
  if (argc != 2 || ZARNLogInit(argv[1], 1'000'000, MAR_LOG_MAX, MAR_LOG_ALL, 0) != 0) {
    std::fprintf(stderr, "Usage: workers LOG\n");
    return 2;
  }
  Shared shared;
  Worker first("first", shared, false);
  Worker second("second", shared, true);
  Worker third("third", shared, false);
  CkesThread* workers[] = {&first, &second, &third};
  for (CkesThread* worker : workers) worker->Start();
  shared.start.Signal();
  if (CkesThreadLibrary::JoinAll(workers, 3) != 0) return 1;
  std::printf("%d of 3 finished\n", shared.finished);
  ZARNLogDeinit();
  return 0;
}
