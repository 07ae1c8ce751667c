#include "tools/mar_queue/repair_plan.h"

#include <string_view>

namespace mar::queue_tool {

namespace {

std::optional<Finding> find_obstacle(const Snapshot& snapshot) {
  if (!snapshot.lock_set || !snapshot.wakeup_set || !snapshot.segment->usable || !snapshot.lock_set->usable ||
      !snapshot.wakeup_set->usable) {
    return blind("no-permission", "The queue is incomplete, or you may not change it: see mar-queue status.");
  }
  if (snapshot.image->state != IPCQUEUE_OPEN) {
    return blind("not-open", "The queue is not open, and nothing is repaired while it ends.");
  }
  if (snapshot.lock > 0) return blind("lock-held", "The lock is never released: see mar-queue status.");
  if (in_another_process_namespace(snapshot)) {
    return blind("process-namespace",
                 "The engine is in another process namespace, and from here all its clients seem "
                 "to have ended: run this command there.");
  }
  return {};
}

// Whether a new count of the queue, under its lock, removes this damage.
bool is_repairable(const Finding& damage, const CheckResult& checked) {
  const std::string_view code(damage.code);
  return checked.chains_sound && (code == "lost-slots" || code == "item-count");
}

}  // namespace

RepairPlan plan_repair(const Snapshot& snapshot, const CheckResult& checked) {
  RepairPlan plan;
  plan.obstacle = find_obstacle(snapshot);
  for (uint16_t i = 0; i < snapshot.image->slots; ++i) {
    const _TIPCHeadItem& head = snapshot.image->heads[i];
    const HeadUse& use = snapshot.uses[i];
    const bool unused = head.state == HEAD_IDLE && head.firstItem == 0;
    if (use.owner != Owner::kGone || use.waiting > 0 || unused) continue;
    if (checked.damaged[i] || (snapshot.settled && !checked.free_list_sound)) continue;
    plan.heads.push_back(i);
    plan.messages += checked.items[i];
  }
  if (!snapshot.settled) return plan;  // what looks like damage may be a writer's work in progress
  for (const Finding& damage : checked.damage) {
    (is_repairable(damage, checked) ? plan.repairable : plan.lasting).push_back(damage);
  }
  return plan;
}

bool needs_restart(const Finding& damage) { return std::string_view(damage.code) != "asleep"; }

}  // namespace mar::queue_tool
