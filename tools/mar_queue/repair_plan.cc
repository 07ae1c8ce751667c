#include "tools/mar_queue/repair_plan.h"

#include <string_view>

namespace {

bool holds_something(const _TIPCHeadItem& head) { return head.state != HEAD_IDLE || head.firstItem != 0; }

// Why the lock must not be asked for, or nothing would tell who is dead.
std::optional<Finding> obstacle(const Snapshot& snapshot) {
  if (!snapshot.segment_set || !snapshot.queue_set || !snapshot.segment->usable ||
      !snapshot.segment_set->usable || !snapshot.queue_set->usable) {
    return {{Severity::kBlind, "no-permission",
             "The queue is not complete or not ours to change: see mar-queue status."}};
  }
  if (snapshot.image->state != IPCQUEUE_OPEN) {
    return {{Severity::kBlind, "not-open", "The queue is not open: nothing is repaired while it ends."}};
  }
  if (snapshot.lock > 0) {
    return {{Severity::kBlind, "lock-held", "The lock is held all the time: see mar-queue status."}};
  }
  if (in_another_process_namespace(snapshot)) {
    return {{Severity::kBlind, "process-namespace",
             "The engine is in another process namespace: run this there, here every process of it looks "
             "ended."}};
  }
  return {};
}

// Whether counting the queue anew, under its lock, mends this.
bool is_repairable(const Finding& damage, const CheckResult& checked) {
  const std::string_view code(damage.code);
  return checked.chains_sound && (code == "lost-slots" || code == "item-count");
}

}  // namespace

RepairPlan plan_repair(const Snapshot& snapshot, const CheckResult& checked) {
  RepairPlan plan;
  plan.obstacle = obstacle(snapshot);
  for (uint16_t i = 0; i < snapshot.image->slots; ++i) {
    const HeadUse& use = snapshot.uses[i];
    if (use.owner != Owner::kGone || use.waiting > 0 || !holds_something(snapshot.image->heads[i])) continue;
    if (checked.damaged[i] || (snapshot.settled && !checked.free_list_sound)) continue;
    plan.heads.push_back(i);
    plan.messages += checked.items[i];
  }
  if (!snapshot.settled) return plan;  // what looks damaged may be work in progress
  for (const Finding& damage : checked.damage) {
    (is_repairable(damage, checked) ? plan.repairable : plan.lasting).push_back(damage);
  }
  return plan;
}

bool needs_restart(const Finding& damage) { return std::string_view(damage.code) != "asleep"; }
