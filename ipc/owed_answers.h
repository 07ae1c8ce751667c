// Answers that the engine may still put for a request whose caller has stopped waiting. A record does not
// name the request that it answers, so such an answer would pass for the answer to the next request of
// the same identity.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "contract/identity.h"
#include "runtime/fork_order.h"
#include "runtime/static_mutex.h"

namespace mar {

// How far the answers to an identity's requests have come. An answer is one record, or a long one: a header
// record and all that follows it up to an end record.
struct AnswerProgress {
  int missing = 0;           // answers whose last record has not come
  bool long_answer = false;  // the first of them is a long one, and its header has come

  bool complete() const { return missing == 0; }
  void note_record(uint32_t kind);
};

// The identities of this process to which answers are owed, by the engine that owes them: another engine does
// not answer what was asked of this one. Remembers the last kLimit of them. Any thread may call; what is owed
// to an identity is taken and remembered by that thread alone.
class OwedAnswers {
 public:
  static constexpr size_t kLimit = 64;

  // Adds to what `engine` owes `owner`. Nothing happens if `progress` is complete.
  void remember(_TIPCIdentifier owner, int engine, AnswerProgress progress);

  // Forgets what `engine` owes `owner`, and returns it.
  AnswerProgress take(_TIPCIdentifier owner, int engine);

  bool empty() const { return count_ == 0; }

  // Whether any engine owes `owner` an answer.
  bool owed(_TIPCIdentifier owner);

 private:
  struct Debt {
    _TIPCIdentifier owner = {};
    int engine = -1;
    AnswerProgress progress;
  };

  // A fork waits for the thread that holds the mutex, so the child finds it free. Nothing is owed to a child.
  static void lock_for_fork() MAR_UNCHECKED;
  static void unlock_after_fork() MAR_UNCHECKED;
  static void unlock_in_child() MAR_UNCHECKED;
  [[gnu::constructor(kForkInnermost)]] static void hold_during_fork();

  StaticMutex mutex_;
  Debt debts_[kLimit] MAR_GUARDED_BY(mutex_) = {};  // the oldest first
  std::atomic<size_t> count_ = 0;                   // written with the mutex held
};

OwedAnswers& owed_answers();  // the process's

}  // namespace mar
