// Answers that the engine may still put for a request whose caller has stopped waiting. A record does not
// name the request that it answers, so such an answer would pass for the answer to the next request of
// the same identity.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "contract/identity.h"
#include "contract/message.h"
#include "ipc/queue.h"
#include "runtime/fork_order.h"
#include "runtime/static_mutex.h"

namespace mar {

// How far the answers to an identity's requests have come. An answer is one record, or a long one: a header
// record and all that follows it up to an end record.
struct AnswerProgress {
  int missing = 0;           // answers whose last record has not come
  bool long_answer = false;  // the first of them is a long one, and its header has come

  bool complete() const { return missing == 0; }
  // The records of the rest of a long answer are known by their kind; a whole answer is not.
  bool only_rest() const { return missing == (long_answer ? 1 : 0); }
  void note_record(uint32_t kind);
};

// The identities of this process to which answers are owed, by the engine that owes them: another engine does
// not answer what was asked of this one. Any thread may call. An identity that stands here with more than a
// rest asks nothing.
class OwedAnswers {
 public:
  // Past kEnough a thread asks no more, and past kLimit, which only threads that asked at the same time can
  // reach, the oldest debt is forgotten.
  static constexpr size_t kEnough = 64;
  static constexpr size_t kLimit = 256;

  // Adds to what `engine` owes `owner`. Nothing happens if `progress` is complete.
  void remember(_TIPCIdentifier owner, int engine, AnswerProgress progress);

  // Forgets what `engine` owes `owner`, and returns it.
  AnswerProgress take(_TIPCIdentifier owner, int engine);

  bool empty() const { return count_ == 0; }

  // Whether `engine` owes `owner` an answer.
  bool owed(_TIPCIdentifier owner, int engine);

  // Forgets what other engines than this one owe: they have gone.
  void forget_others(int engine);

  // Whether there is room for a thread that asks. If there is little, first frees what has come for all
  // identities that stand here.
  bool has_room(CIPCQueue<TCLIMessage>& queue);

 private:
  struct Debt {
    _TIPCIdentifier owner = {};
    int engine = -1;
    AnswerProgress progress;
  };

  template <typename Gone>
  void forget_if(Gone gone) MAR_REQUIRES(mutex_);

  // A fork waits for the thread that holds the mutex, so the child finds it free. Nothing is owed to a child.
  static void lock_for_fork() MAR_UNCHECKED;
  static void unlock_after_fork() MAR_UNCHECKED;
  static void unlock_in_child() MAR_UNCHECKED;
  [[gnu::constructor(kForkInnermost)]] static void hold_during_fork();

  // What every command uses comes last, so that t1 writes one page of this object (cli/start_order.ld).
  Debt debts_[kLimit] MAR_GUARDED_BY(mutex_) = {};  // the oldest first
  std::atomic<size_t> count_ = 0;                   // written with the mutex held
  StaticMutex mutex_;
};

OwedAnswers& owed_answers();  // the process's

}  // namespace mar
