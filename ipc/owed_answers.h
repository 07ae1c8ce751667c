// Answers that the engine may still put for a request whose caller has stopped waiting. A record does not
// name the request that it answers, so such an answer would pass for the answer to the next request of the
// same identity.
#pragma once

#include <cstddef>
#include <cstdint>

#include "contract/identity.h"

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
// not answer what was asked of this one. Remembers the last kLimit of them. No lock: the channel's owner
// serialises.
class OwedAnswers {
 public:
  static constexpr size_t kLimit = 64;

  void remember(_TIPCIdentifier owner, int engine, AnswerProgress progress);

  bool empty() const { return count_ == 0; }

  // Whether any engine owes `owner` an answer.
  bool owed(_TIPCIdentifier owner) const;

  // What `engine` owes `owner`, or null. Valid until the next call of remember() or forget_complete().
  AnswerProgress* find(_TIPCIdentifier owner, int engine);

  // Ends the debts whose answers have come.
  void forget_complete();

 private:
  struct Debt {
    _TIPCIdentifier owner = {};
    int engine = -1;
    AnswerProgress progress;
  };

  Debt debts_[kLimit] = {};  // the oldest first
  size_t count_ = 0;
};

}  // namespace mar
