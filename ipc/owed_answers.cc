#include "ipc/owed_answers.h"

#include <algorithm>

#include "contract/message.h"
#include "ipc/naming.h"

namespace mar {

void AnswerProgress::note_record(uint32_t kind) {
  if (missing == 0) return;  // a surplus record, which nothing has asked for
  // Within a long answer only the end record counts: any other kind is one of its records.
  const bool last = long_answer ? kind == CLI_END : kind != CLI_HEADER;
  long_answer = !last;
  if (last) --missing;
}

void OwedAnswers::remember(_TIPCIdentifier owner, int engine, AnswerProgress progress) {
  if (AnswerProgress* const known = find(owner, engine)) {
    known->missing += progress.missing;
    known->long_answer = known->long_answer || progress.long_answer;
    return;
  }
  if (count_ == kLimit) std::move(debts_ + 1, debts_ + count_--, debts_);
  debts_[count_++] = {owner, engine, progress};
}

bool OwedAnswers::owed(_TIPCIdentifier owner) const {
  return std::any_of(debts_, debts_ + count_,
                     [&](const Debt& debt) { return CIPCUtils::sameIPCIdentifiers(debt.owner, owner); });
}

AnswerProgress* OwedAnswers::find(_TIPCIdentifier owner, int engine) {
  Debt* const found = std::find_if(debts_, debts_ + count_, [&](const Debt& debt) {
    return debt.engine == engine && CIPCUtils::sameIPCIdentifiers(debt.owner, owner);
  });
  return found == debts_ + count_ ? nullptr : &found->progress;
}

void OwedAnswers::forget_complete() {
  Debt* const end =
      std::remove_if(debts_, debts_ + count_, [](const Debt& debt) { return debt.progress.complete(); });
  count_ = static_cast<size_t>(end - debts_);
}

}  // namespace mar
