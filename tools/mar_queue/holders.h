// Who holds the queue's heads and messages, and what ends that.
#pragma once

#include <sys/types.h>

#include <cstdint>
#include <string>
#include <vector>

#include "tools/mar_queue/check.h"
#include "tools/mar_queue/snapshot.h"

// A process with heads that no newcomer can have, or with messages that it has not read.
struct Holder {
  Owner owner = Owner::kNobody;
  pid_t process = 0;  // 0: unknown, or nobody
  bool stopped = false;
  uint32_t heads = 0;  // in use: not idle, not empty, or with a waiting reader
  uint32_t messages = 0;
};

// Those with most messages first. The snapshot has an image, `checked` is its check.
std::vector<Holder> find_holders(const Snapshot& snapshot, const CheckResult& checked);

// "client 4711 (t1, stopped) holds 3 messages"
std::string holding(const Holder& holder);

// "continue it (kill -CONT 4711) or end it", "wait until the engine has taken some", ... A restart for what
// only the repair that is planned elsewhere could have ended.
std::string remedy_for(const Holder& holder);
