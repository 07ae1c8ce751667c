// Which clients live. A process number speaks of our own process namespace only: a client of another one
// seems dead here. Such a client is known to live while it waits on its head, and for a while after: a reader
// that has just been woken does not wait, and still has its answer to read.
#pragma once

#include <chrono>
#include <cstdint>
#include <map>
#include <utility>

#include "contract/identity.h"

namespace mar::standin {

class LifeSigns {
 public:
  using Moment = std::chrono::steady_clock::time_point;

  static constexpr std::chrono::seconds kHold{5};  // how long a sign of life is good for

  // `client` has been seen waiting.
  void saw_waiting(_TIPCIdentifier client, Moment now) { last_seen_[key_of(client)] = now; }

  // Whether `client` has a process here or has given a sign of life lately.
  bool lives(_TIPCIdentifier client, Moment now) const;

  void forget_old(Moment now);

 private:
  using Key = std::pair<uint32_t, uint32_t>;  // process, thread
  static Key key_of(_TIPCIdentifier client) { return {client.process_id, client.thread_id}; }

  std::map<Key, Moment> last_seen_;
};

}  // namespace mar::standin
