#include "tools/mar_queue/repair.h"

#include <sys/sem.h>
#include <sys/shm.h>

#include <cerrno>
#include <cstring>

#include "ipc/queue.h"
#include "tools/mar_queue/repair_plan.h"
#include "tools/mar_queue/text.h"

namespace {

std::string head_text(const _TIPCHeadItem& head, uint16_t index, uint32_t items) {
  return text("head %u of ended process %u, with %s", index, head.owner.process_id,
              count_of(items, "message").c_str());
}

Finding lasting_damage(const Finding& damage) {
  const char* const remedy = needs_restart(damage) ? "Only a restart of the engine mends this: " : "";
  return {Severity::kTrouble, "not-repaired", remedy + damage.text};
}

Findings foretell(const Snapshot& snapshot, const CheckResult& checked, const RepairPlan& plan) {
  Findings findings;
  for (const uint16_t index : plan.heads) {
    findings.push_back(
        {Severity::kTrouble, "would-free",
         "Would free " + head_text(snapshot.image->heads[index], index, checked.items[index]) + '.'});
  }
  for (const Finding& damage : plan.repairable) {
    findings.push_back({Severity::kTrouble, "would-repair", "Would repair: " + damage.text});
  }
  return findings;
}

void free_head(QueueCore& queue, const Snapshot& snapshot, uint16_t index, Findings& done) {
  const _TIPCHeadItem& head = snapshot.image->heads[index];
  int freed = 0;
  const long code = queue.EmptyHead(index, head.owner, freed);
  if (code == 0) {
    done.push_back(
        {Severity::kNote, "freed", "Freed " + head_text(head, index, static_cast<uint32_t>(freed)) + '.'});
  } else {
    done.push_back(
        {Severity::kTrouble, "not-freed", text("Head %u could not be freed (code %ld).", index, code)});
  }
}

void recover_slots(QueueCore& queue, Findings& done) {
  int recovered = 0;
  const long code = queue.RecoverSlots(recovered);
  if (code == 0) {
    done.push_back({Severity::kNote, "repaired",
                    text("Put %s back on the free list and counted the queue anew.",
                         count_of(static_cast<uint64_t>(recovered), "lost slot").c_str())});
  } else {
    done.push_back({Severity::kTrouble, "not-repaired",
                    text("The lost slots or the count could not be repaired (code %ld).", code)});
  }
}

struct Target {
  const IpcObject& object;
  bool segment;
  bool fits;
  const char* name;

  int Remove() const {
    return segment ? shmctl(object.id, IPC_RMID, nullptr) : semctl(object.id, 0, IPC_RMID);
  }
};

// The lock's set first: an engine that starts replaces it before it touches anything else, so whoever removes
// it has the rest to himself.
std::vector<Target> stale_objects(const Snapshot& snapshot) {
  std::vector<Target> targets;
  if (snapshot.segment_set) {
    targets.push_back(
        {*snapshot.segment_set, false, snapshot.segment_set->size == 2, "lock's semaphore set"});
  }
  if (snapshot.segment) {
    targets.push_back({*snapshot.segment, true, segment_fits(snapshot), "segment"});
  }
  if (snapshot.queue_set) {
    targets.push_back({*snapshot.queue_set, false, true, "wake-up semaphore set"});
  }
  return targets;
}

// Whether an engine has started since the snapshot: it makes the lock's set before it uses what is left of
// us.
bool engine_has_started(const Snapshot& snapshot) {
  const int set = semget(snapshot.place.keys.segment_semaphores, 0, 0);
  return set != -1 && (!snapshot.segment_set || set != snapshot.segment_set->id);
}

// Why the objects must stay; empty if their creator is dead or there is nothing to show that there ever was
// one.
std::string why_not_stale(const Snapshot& snapshot) {
  if (!snapshot.segment_set) return "";
  if (creator_lives(snapshot)) {
    return snapshot.creator > 0 ? "Its creator lives, process " + process_label(snapshot.creator)
                                : "Its creator lives, in another process namespace";
  }
  if (snapshot.sign == 0) return "It is just being made";
  return snapshot.sign == -1 ? "Whether its creator lives cannot be told" : "";
}

}  // namespace

Findings reap(const Snapshot& snapshot, const CheckResult& checked, bool really) {
  const RepairPlan plan = plan_repair(snapshot, checked);
  if (plan.obstacle) return {*plan.obstacle};
  Findings findings;
  if (really && !plan.nothing_to_do()) {
    CIPCQueue<TCLIMessage> queue(snapshot.place.base.c_str(), false);
    if (!queue.IsInitialized() || queue.Capacity() != snapshot.image->slots) {
      return {{Severity::kBlind, "changed", "The queue was replaced while this looked at it: try again."}};
    }
    for (const uint16_t index : plan.heads) free_head(queue, snapshot, index, findings);
    if (!plan.repairable.empty()) recover_slots(queue, findings);
  } else {
    findings = foretell(snapshot, checked, plan);
  }
  for (const Finding& damage : plan.lasting) findings.push_back(lasting_damage(damage));
  if (findings.empty())
    findings.push_back({Severity::kNote, "nothing-to-do", "No ended process holds anything."});
  return findings;
}

Findings remove_stale(const Snapshot& snapshot, bool really) {
  if (const std::string reason = why_not_stale(snapshot); !reason.empty()) {
    return {{Severity::kTrouble, "not-stale", reason + ": nothing is removed."}};
  }
  Findings findings;
  for (const Target& target : stale_objects(snapshot)) {
    const std::string what = text("the %s, id %d", target.name, target.object.id);
    if (!target.fits) {
      findings.push_back({Severity::kTrouble, "key-clash", "Left alone, it is not a queue's: " + what + '.'});
    } else if (!really) {
      findings.push_back({Severity::kTrouble, "would-remove", "Would remove " + what + '.'});
    } else if (engine_has_started(snapshot)) {
      findings.push_back({Severity::kTrouble, "not-stale", "An engine is starting: the rest is left to it."});
      break;
    } else if (target.Remove() == 0) {
      findings.push_back({Severity::kNote, "removed", "Removed " + what + '.'});
    } else {
      findings.push_back({Severity::kBlind, "not-removed",
                          text("Could not remove %s: %s.", what.c_str(), std::strerror(errno))});
      break;  // somebody else is at work here, or we may not
    }
  }
  if (findings.empty()) findings.push_back({Severity::kNote, "nothing-to-do", "There is nothing to remove."});
  return findings;
}
