#include "tools/mar_queue/holders.h"

#include <fmt/format.h>

#include <algorithm>
#include <map>
#include <utility>

#include "tools/mar_queue/wording.h"

namespace mar::queue_tool {

namespace {

pid_t process_of(const Snapshot& snapshot, uint16_t head) {
  const Owner owner = snapshot.uses[head].owner;
  if (owner == Owner::kEngine) return snapshot.creator;
  return owner == Owner::kNobody ? 0 : static_cast<pid_t>(snapshot.image->heads[head].owner.process_id);
}

}  // namespace

std::vector<Holder> find_holders(const Snapshot& snapshot, const CheckResult& checked) {
  std::map<std::pair<Owner, pid_t>, Holder> found;
  for (uint16_t i = 0; i < snapshot.image->slots; ++i) {
    const HeadUse& use = snapshot.uses[i];
    if (snapshot.image->heads[i].state == HEAD_IDLE && checked.items[i] == 0 && use.waiting <= 0) continue;
    const pid_t process = process_of(snapshot, i);
    const auto [entry, fresh] = found.try_emplace({use.owner, process}, Holder{use.owner, process});
    Holder& holder = entry->second;
    if (fresh) holder.stopped = process > 0 && is_stopped(process);
    ++holder.heads;
    holder.messages += checked.items[i];
  }
  std::vector<Holder> holders;
  holders.reserve(found.size());
  for (const auto& [key, holder] : found) holders.push_back(holder);
  std::stable_sort(holders.begin(), holders.end(),
                   [](const Holder& a, const Holder& b) { return a.messages > b.messages; });
  return holders;
}

std::string holding(const Holder& holder) {
  const std::string messages = count_of(holder.messages, "message");
  switch (holder.owner) {
    case Owner::kEngine:
      return fmt::format("the engine has {} to take", messages);
    case Owner::kAlive:
      return fmt::format("client {} holds {}", process_label(holder.process), messages);
    case Owner::kGone:
      return fmt::format("ended process {} holds {}", holder.process, messages);
    case Owner::kNobody:
      break;
  }
  return fmt::format("heads without an owner hold {}", messages);
}

std::string remedy_for(const Holder& holder) {
  const pid_t process = holder.process;
  if (holder.owner == Owner::kEngine && !holder.stopped) return "wait until the engine has taken some";
  if (holder.owner == Owner::kEngine) return fmt::format("continue the engine (kill -CONT {})", process);
  if (holder.owner != Owner::kAlive) return "restart the engine";
  if (holder.stopped) return fmt::format("continue client {0} (kill -CONT {0}) or end it", process);
  return fmt::format("wait until client {} is done, or end it", process);
}

}  // namespace mar::queue_tool
