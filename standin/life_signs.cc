#include "standin/life_signs.h"

#include "ipc/naming.h"

namespace mar::standin {

bool LifeSigns::lives(_TIPCIdentifier client, Moment now) const {
  if (!process_is_gone(client.process_id)) return true;
  const auto found = last_seen_.find(key_of(client));
  return found != last_seen_.end() && now - found->second < kHold;
}

void LifeSigns::forget_old(Moment now) {
  std::erase_if(last_seen_, [now](const auto& entry) { return now - entry.second >= kHold; });
}

}  // namespace mar::standin
