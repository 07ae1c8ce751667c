// Base of every worker thread: the POSIX thread is created with the object, waits for Start, and runs the
// derived class's Run.
//
// Traps that belong to the contract:
//   - The destructor neither joins nor cancels a thread that was started. Destroy the object after Join, or
//     when it is THREAD_ENDED because Run has returned: its thread uses it until then.
//   - Start the thread only when the derived object is complete, never from a constructor. Join never returns
//     on a thread that was never started.
//   - Join on a thread that has ended returns without reaping it. A caller that starts many threads, or must
//     know that one is gone after Terminate, calls pthread_join with GetID's id instead.
#pragma once

#include <atomic>

#include "runtime/event.h"
#include "runtime/thread_library.h"

#pragma GCC visibility push(default)

namespace mar {

inline constexpr long kThreadPriorityUnsupported = -2;
inline constexpr long kThreadWrongState = -106;
inline constexpr long kThreadJoinDeadlock = -109;
inline constexpr long kThreadJoinFailed = -110;
inline constexpr long kThreadNotCurrent = -111;
inline constexpr long kThreadCancelFailed = -112;

}  // namespace mar

inline constexpr int THREAD_READY = 0;    // created, waits for Start
inline constexpr int THREAD_RUNNING = 1;  // from Start on
inline constexpr int THREAD_ENDED = 2;    // Run has returned, or Terminate was called
inline constexpr int THREAD_INVALID = 3;  // no thread could be created

// Accepted by the priority operations, none of which applies a priority.
enum TThreadPriority : int {};

// Any thread may call any operation except GiveWay; Join is a cancellation point. Operations that return
// a code return 0 for success and kThreadWrongState in a state that does not allow them. A failure is also
// recorded on the calling thread's error stack, with the operation's name, as in "CkesThread::Join()".
class CkesThread {
 public:
  CkesThread();  // named "Unnamed"
  // Keeps a copy of the text's first 33 characters; "Unnamed" if the text is null or no thread was created.
  explicit CkesThread(const char* text);
  // Lets a thread that was never started end without calling Run, and waits for that.
  virtual ~CkesThread();
  CkesThread(const CkesThread&) = delete;
  CkesThread& operator=(const CkesThread&) = delete;

  const char* GetName() const { return name; }
  int GetState() const { return state; }
  long GetID(unsigned long* out) const;  // unless THREAD_INVALID

  // When THREAD_READY. Can return a failure of the start event's Signal, with its own name added to that
  // trail; the state is THREAD_RUNNING all the same.
  long Start();

  // Waits for the thread to end; returns at once when THREAD_ENDED. Can return kThreadJoinDeadlock (a thread
  // joins itself) or kThreadJoinFailed.
  long Join();

  // When THREAD_RUNNING: asks for the thread's cancellation at its next cancellation point and does not wait.
  // The state is THREAD_ENDED afterwards, even if that failed with kThreadCancelFailed.
  long Terminate();

  // When THREAD_RUNNING, called by the thread itself: lets another thread go first. Returns kThreadNotCurrent
  // if any other thread calls.
  long GiveWay();

  // kThreadPriorityUnsupported when THREAD_READY or THREAD_RUNNING.
  long SetPriority(TThreadPriority priority);
  long GetPriority(TThreadPriority* priority);

 protected:
  // The thread's body; its result is ignored. Cancellation unwinds the stack, so destructors run.
  virtual long Run() = 0;

 private:
  static void* StartRoutine(void* self);
  long PriorityCode() const;

  bool implCreate();
  long implJoin();
  long implTerminate();

  unsigned long id = 0;
  std::atomic<int> state = THREAD_INVALID;  // written by the controlling thread and by the thread itself
  CkesEvent startEvent{MANUAL_RESET, false};
  char name[mar::kThreadNameSizeBytes] = "Unnamed";
};

#pragma GCC visibility pop
