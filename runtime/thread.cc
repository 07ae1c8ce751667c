#include "runtime/thread.h"

#include <errno.h>
#include <pthread.h>
#include <string.h>

#include <type_traits>

#include "runtime/error_manager.h"

using namespace mar;

static_assert(std::is_same_v<pthread_t, unsigned long>);

namespace {

// Gives the calling thread an error stack for a scope. Cancellation unwinds the scope and so frees the stack.
struct Registration {
  Registration() { CkesErrorManager::RegisterThread(); }
  ~Registration() { CkesErrorManager::UnregisterThread(); }
  Registration(const Registration&) = delete;
  Registration& operator=(const Registration&) = delete;
};

}  // namespace

CkesThread::CkesThread() {
  // If the thread library could not be initialised, neither is the start event.
  if (startEvent.IsInitialized() && implCreate()) state = THREAD_READY;
}

CkesThread::CkesThread(const char* text) : CkesThread() {
  if (state == THREAD_INVALID || text == nullptr) return;
  const size_t length = strnlen(text, sizeof name - 1);
  memcpy(name, text, length);
  name[length] = '\0';
}

CkesThread::~CkesThread() {
  int expected = THREAD_READY;
  if (!state.compare_exchange_strong(expected, THREAD_ENDED)) return;
  // Never started: its thread waits on the event, and destroying the event would wait for that thread.
  startEvent.Signal();
  implJoin();
}

long CkesThread::GetID(unsigned long* out) const {
  if (state == THREAD_INVALID) return record_failure(kThreadWrongState, "CkesThread::GetID()");
  *out = id;
  return 0;
}

long CkesThread::Start() {
  int expected = THREAD_READY;
  if (!state.compare_exchange_strong(expected, THREAD_RUNNING)) {
    return record_failure(kThreadWrongState, "CkesThread::Start()");
  }
  const long code = startEvent.Signal();
  if (code != 0) CkesErrorManager::AddFunction("CkesThread::Start()");  // the event began the trail
  return code;
}

long CkesThread::Join() {
  const int now = state;
  if (now == THREAD_ENDED) return 0;
  return record_failure(now == THREAD_INVALID ? kThreadWrongState : implJoin(), "CkesThread::Join()");
}

long CkesThread::Terminate() {
  long code = kThreadWrongState;
  if (state == THREAD_RUNNING) {
    code = implTerminate();
    state = THREAD_ENDED;
  }
  return record_failure(code, "CkesThread::Terminate()");
}

long CkesThread::GiveWay() {
  long code = kThreadWrongState;
  if (state == THREAD_RUNNING) {
    unsigned long caller = 0;
    CkesThreadLibrary::GetCurrentThreadID(&caller);
    code = CkesThreadLibrary::SameThreadIDs(caller, id) ? CkesThreadLibrary::GiveWay() : kThreadNotCurrent;
  }
  return record_failure(code, "CkesThread::GiveWay()");
}

long CkesThread::SetPriority(TThreadPriority) {
  return record_failure(PriorityCode(), "CkesThread::SetPriority()");
}

long CkesThread::GetPriority(TThreadPriority*) {
  return record_failure(PriorityCode(), "CkesThread::GetPriority()");
}

long CkesThread::PriorityCode() const {
  const int now = state;
  return now == THREAD_READY || now == THREAD_RUNNING ? kThreadPriorityUnsupported : kThreadWrongState;
}

void* CkesThread::StartRoutine(void* self) {
  auto* thread = static_cast<CkesThread*>(self);
  const Registration registration;
  CkesThreadLibrary::SetThreadName(thread->name);
  // A wait may end without a signal, and before Start the derived object may not be complete.
  int now;
  do {
    thread->startEvent.Wait();
    now = thread->state;
  } while (now == THREAD_INVALID || now == THREAD_READY);
  if (now == THREAD_RUNNING) thread->Run();
  thread->state = THREAD_ENDED;  // from here on the object may have been destroyed
  return nullptr;
}

bool CkesThread::implCreate() { return pthread_create(&id, nullptr, StartRoutine, this) == 0; }

long CkesThread::implJoin() {
  const int error = pthread_join(id, nullptr);
  if (error == 0) return 0;
  return error == EDEADLK ? kThreadJoinDeadlock : kThreadJoinFailed;
}

long CkesThread::implTerminate() { return pthread_cancel(id) == 0 ? 0 : kThreadCancelFailed; }

long CkesThreadLibrary::JoinAll(CkesThread** threads, int count) {
  if (!Ready()) return kThreadLibraryNotInitialised;
  for (int i = 0; i < count; ++i) {
    const long code = threads[i]->Join();
    if (code != 0) {
      CkesErrorManager::AddFunction("CkesThreadLibrary::JoinAll()");
      return code;
    }
  }
  return 0;
}
