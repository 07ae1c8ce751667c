#include "standin/withdrawals.h"

namespace mar::standin {

namespace {

constexpr size_t kMaxPending = 4096;

// A reader that waits takes notice long before this.
constexpr std::chrono::milliseconds kTimeToNotice{250};

}  // namespace

void Withdrawals::add(_TIPCIdentifier client, Moment now, Moment give_up) {
  push({client, give_up});
  if (settle(pending_.back(), now)) pending_.pop_back();
}

bool Withdrawals::withdraw_now(_TIPCIdentifier client, Moment now) {
  if (!queue_.withdraw(client)) return false;
  push({client, now, now + kTimeToNotice});
  return true;
}

// Drops the oldest rather than grow without limit: clients make up their identities.
void Withdrawals::push(const Withdrawal& withdrawal) {
  if (pending_.size() == kMaxPending) pending_.erase(pending_.begin());
  pending_.push_back(withdrawal);
}

void Withdrawals::drop(_TIPCIdentifier client) {
  std::erase_if(pending_, [client](const Withdrawal& withdrawal) {
    return CIPCUtils::sameIPCIdentifiers(withdrawal.client, client);
  });
}

void Withdrawals::advance(Moment now) {
  std::erase_if(pending_, [&](Withdrawal& withdrawal) { return settle(withdrawal, now); });
}

// Returns true when nothing is left to do. A reader whose time was up may have left without taking notice of
// the withdrawal: its head is looked at again and, if need be, brought back into use.
bool Withdrawals::settle(Withdrawal& withdrawal, Moment now) {
  if (withdrawal.restore) return now >= *withdrawal.restore && queue_.restore(withdrawal.client);
  if (queue_.withdraw(withdrawal.client)) withdrawal.restore = now + kTimeToNotice;
  return !withdrawal.restore && now >= withdrawal.give_up && !queue_.lives(withdrawal.client, now);
}

}  // namespace mar::standin
