#include "ipc/owed_answers.h"

#include <pthread.h>

#include <algorithm>

#include "contract/message.h"
#include "ipc/naming.h"
#include "ipc/shared_field.h"
#include "util/deadline.h"

namespace mar {

namespace {

constexpr int64_t kSweepMs = 100;  // other threads may wait for it, whatever their deadline

}  // namespace

void AnswerProgress::note_record(uint32_t kind) {
  if (missing == 0) return;  // a surplus record, which nothing has asked for
  // Within a long answer only the end record counts: any other kind is one of its records.
  const bool last = long_answer ? kind == CLI_END : kind != CLI_HEADER;
  long_answer = !last;
  if (last) --missing;
}

void OwedAnswers::remember(_TIPCIdentifier owner, int engine, AnswerProgress progress) {
  if (progress.complete()) return;
  const AnswerProgress earlier = take(owner, engine);
  progress.missing += earlier.missing;
  progress.long_answer = progress.long_answer || earlier.long_answer;
  const StaticMutexHold hold(mutex_);
  size_t count = count_;
  if (count == kLimit) std::move(debts_ + 1, debts_ + count--, debts_);
  debts_[count] = {owner, engine, progress};
  count_ = count + 1;
}

AnswerProgress OwedAnswers::take(_TIPCIdentifier owner, int engine) {
  if (empty()) return {};
  const StaticMutexHold hold(mutex_);
  Debt* const end = debts_ + count_;
  Debt* const found = std::find_if(debts_, end, [&](const Debt& debt) {
    return debt.engine == engine && CIPCUtils::sameIPCIdentifiers(debt.owner, owner);
  });
  if (found == end) return {};
  const AnswerProgress progress = found->progress;
  std::move(found + 1, end, found);
  --count_;
  return progress;
}

bool OwedAnswers::owed(_TIPCIdentifier owner, int engine) {
  const StaticMutexHold hold(mutex_);
  return std::any_of(debts_, debts_ + count_, [&](const Debt& debt) {
    return debt.engine == engine && CIPCUtils::sameIPCIdentifiers(debt.owner, owner);
  });
}

template <typename Gone>
void OwedAnswers::forget_if(Gone gone) {
  count_ = static_cast<size_t>(std::remove_if(debts_, debts_ + count_, gone) - debts_);
}

void OwedAnswers::forget_others(int engine) {
  const StaticMutexHold hold(mutex_);
  forget_if([&](const Debt& debt) { return debt.engine != engine; });
}

// Holds the mutex throughout, so that no thread takes up an identity whose answers are being freed.
bool OwedAnswers::has_room(CIPCQueue<TCLIMessage>& queue) {
  if (count_ < kEnough) return true;
  const CallDeadline limit(Deadline::in_ms(kSweepMs));
  const StaticMutexHold hold(mutex_);
  for (Debt* debt = debts_; debt != debts_ + count_; ++debt) {
    queue.EmptyHeadOf(debt->owner, [&](const TCLIMessage& record) {
      debt->progress.note_record(load_shared(record.kind));
    });
  }
  forget_if([](const Debt& debt) { return debt.progress.complete(); });
  return count_ < kEnough;
}

namespace {

constinit OwedAnswers process_answers;

}  // namespace

OwedAnswers& owed_answers() { return process_answers; }

void OwedAnswers::lock_for_fork() { process_answers.mutex_.lock(); }
void OwedAnswers::unlock_after_fork() { process_answers.mutex_.unlock(); }
void OwedAnswers::unlock_in_child() {
  process_answers.count_ = 0;
  unlock_after_fork();
}
void OwedAnswers::hold_during_fork() { pthread_atfork(lock_for_fork, unlock_after_fork, unlock_in_child); }

}  // namespace mar
