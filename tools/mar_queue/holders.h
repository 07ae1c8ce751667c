// Who holds the queue's heads and messages, and what an operator can do about it.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tools/mar_queue/check.h"
#include "tools/mar_queue/snapshot.h"

namespace mar::queue_tool {

// A process whose heads are in use: not idle, not empty, or with a waiting reader.
struct Holder {
  Owner owner = Owner::kNobody;
  pid_t process = 0;  // 0 if unknown
  bool stopped = false;
  uint32_t heads = 0;
  uint32_t messages = 0;

  bool is_stopped_client() const { return owner == Owner::kAlive && stopped; }
};

// Those with the most messages first. The snapshot has an image; `checked` is its check.
std::vector<Holder> find_holders(const Snapshot& snapshot, const CheckResult& checked);

// "client 4711 (t1, stopped) holds 3 messages"
std::string holding(const Holder& holder);

// "wait until the engine has taken some", "continue client 4711 (kill -CONT 4711) or end it", ...; a restart
// of the engine where neither waiting nor ending a client helps.
std::string remedy_for(const Holder& holder);

}  // namespace mar::queue_tool
