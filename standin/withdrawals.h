// Clients whose answers have been given up. A reader without an answer would sleep as long as the engine
// lives, so its head is withdrawn: now if it waits, else when it comes to wait.
#pragma once

#include <chrono>
#include <optional>
#include <vector>

#include "contract/identity.h"
#include "standin/queue_owner.h"

namespace mar::standin {

class Withdrawals {
 public:
  using Moment = QueueOwner::Moment;

  explicit Withdrawals(QueueOwner& queue) : queue_(queue) {}

  // Ends the wait of `client`. Forgets a client that does not seem to live once `give_up` has passed.
  void add(_TIPCIdentifier client, Moment now, Moment give_up);

  // Withdraws the head of `client` at once, if its reader waits. Returns false if it does not.
  bool withdraw_now(_TIPCIdentifier client, Moment now);

  // `client` has made a new request: it waits for a new answer.
  void drop(_TIPCIdentifier client);

  // Goes on with what could not be finished at once. To be called now and then.
  void advance(Moment now);

 private:
  struct Withdrawal {
    _TIPCIdentifier client;
    Moment give_up;
    std::optional<Moment> restore = {};  // when to look at a withdrawn head again
  };

  void push(const Withdrawal& withdrawal);
  bool settle(Withdrawal& withdrawal, Moment now);

  QueueOwner& queue_;
  std::vector<Withdrawal> pending_;
};

}  // namespace mar::standin
