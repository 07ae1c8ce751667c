#include "tools/mar_queue/repair.h"

#include <sys/sem.h>
#include <sys/shm.h>

#include <cerrno>
#include <cstring>

#include "ipc/queue.h"
#include "tools/mar_queue/repair_plan.h"
#include "tools/mar_queue/wording.h"
#include "util/outcome.h"

namespace mar::queue_tool {

namespace {

std::string head_label(const Snapshot& snapshot, uint16_t index, uint64_t items) {
  return fmt::format("head {} of ended process {}, with {}", index,
                     snapshot.image->heads[index].owner.process_id, count_of(items, "message"));
}

Findings describe(const Snapshot& snapshot, const CheckResult& checked, const RepairPlan& plan) {
  Findings findings;
  for (const uint16_t index : plan.heads) {
    findings.push_back(
        trouble("would-free", "Would free {}.", head_label(snapshot, index, checked.items[index])));
  }
  for (const Finding& damage : plan.repairable) {
    findings.push_back(trouble("would-repair", "Would repair: {}", damage.text));
  }
  return findings;
}

Finding free_head(QueueCore& queue, const Snapshot& snapshot, uint16_t index, bool has_items) {
  int freed = 0;
  const long code = queue.EmptyHead(index, snapshot.image->heads[index].owner, freed);
  if (code != 0) return trouble("not-freed", "Head {} could not be freed (code {}).", index, code);
  if (has_items && freed == 0)
    return note("not-freed", "Head {} has since come into use: it is left as it is.", index);
  return note("freed", "Freed {}.", head_label(snapshot, index, static_cast<uint64_t>(freed)));
}

Finding recover_slots(QueueCore& queue) {
  int recovered = 0;
  const long code = queue.RecoverSlots(recovered);
  if (code != 0)
    return trouble("not-repaired", "The lost slots or the count could not be repaired (code {}).", code);
  return note("repaired", "Returned {} to the free list and recounted the queue.",
              count_of(static_cast<uint64_t>(recovered), "lost slot"));
}

Findings carry_out(const RepairPlan& plan, const Snapshot& snapshot, const CheckResult& checked) {
  CIPCQueue<TCLIMessage> queue(snapshot.control_file.base.c_str(), false);
  if (!queue.IsInitialized() || queue.Capacity() != snapshot.image->slots) {
    return {blind("changed", "The queue has just been replaced: try again.")};
  }
  Findings findings;
  for (const uint16_t index : plan.heads) {
    findings.push_back(free_head(queue, snapshot, index, checked.items[index] > 0));
  }
  if (!plan.repairable.empty()) findings.push_back(recover_slots(queue));
  return findings;
}

// A kernel object that remove_stale would remove.
struct Target {
  const IpcObject& object;
  bool is_segment;
  bool fits;
  const char* name;

  Outcome<> remove() const {
    const int result = is_segment ? shmctl(object.id, IPC_RMID, nullptr) : semctl(object.id, 0, IPC_RMID);
    if (result != 0) return Failure{std::strerror(errno)};
    return {};
  }
};

// The lock set comes first: an engine that starts replaces it before anything else, so whoever has removed it
// has the other two to itself.
std::vector<Target> list_targets(const Snapshot& snapshot) {
  std::vector<Target> targets;
  if (snapshot.lock_set)
    targets.push_back({*snapshot.lock_set, false, snapshot.lock_set->size == 2, "lock set"});
  if (snapshot.segment) targets.push_back({*snapshot.segment, true, segment_fits(snapshot), "segment"});
  if (snapshot.wakeup_set) targets.push_back({*snapshot.wakeup_set, false, true, "wake-up set"});
  return targets;
}

// An engine makes its lock set before it uses what is left of the old queue.
bool engine_has_started_since(const Snapshot& snapshot) {
  const int set = semget(snapshot.control_file.keys.segment_semaphores, 0, 0);
  return set != -1 && (!snapshot.lock_set || set != snapshot.lock_set->id);
}

// Succeeds if the creator is dead, or nothing shows that there ever was one.
Outcome<> prove_stale(const Snapshot& snapshot) {
  if (!snapshot.lock_set) return {};
  if (creator_lives(snapshot)) {
    return Failure{snapshot.creator > 0 ? "Its creator lives, process " + process_label(snapshot.creator)
                                        : "Its creator lives, in another process namespace"};
  }
  if (snapshot.creator_alive == 0) return Failure{"The queue is still being made"};
  if (snapshot.creator_alive == -1) return Failure{"You may not see whether its creator lives"};
  return {};
}

}  // namespace

Findings reap(const Snapshot& snapshot, const CheckResult& checked, bool really) {
  const RepairPlan plan = plan_repair(snapshot, checked);
  if (plan.obstacle) return {*plan.obstacle};
  Findings findings = really && !plan.nothing_to_do() ? carry_out(plan, snapshot, checked)
                                                      : describe(snapshot, checked, plan);
  for (const Finding& damage : plan.lasting) {
    const char* const advice = needs_restart(damage) ? "Only a restart of the engine repairs this: " : "";
    findings.push_back(trouble("not-repaired", "{}{}", advice, damage.text));
  }
  if (findings.empty()) findings.push_back(note("nothing-to-do", "There is nothing to repair."));
  return findings;
}

Findings remove_stale(const Snapshot& snapshot, bool really) {
  if (const auto stale = prove_stale(snapshot); !stale) {
    return {trouble("not-stale", "{}: nothing is removed.", stale.reason())};
  }
  Findings findings;
  for (const Target& target : list_targets(snapshot)) {
    const std::string object = fmt::format("the {}, id {}", target.name, target.object.id);
    if (!target.fits) {
      findings.push_back(trouble("key-clash", "Left alone {}: it is not a queue's.", object));
    } else if (!really) {
      findings.push_back(trouble("would-remove", "Would remove {}.", object));
    } else if (engine_has_started_since(snapshot)) {
      findings.push_back(trouble("not-stale", "An engine is starting: the rest is left to it."));
      break;
    } else if (const auto removed = target.remove(); removed) {
      findings.push_back(note("removed", "Removed {}.", object));
    } else {
      findings.push_back(blind("not-removed", "Could not remove {}: {}.", object, removed.reason()));
      break;  // another process is at work here, or this one has no right to be
    }
  }
  if (findings.empty()) findings.push_back(note("nothing-to-do", "There is nothing to remove."));
  return findings;
}

}  // namespace mar::queue_tool
