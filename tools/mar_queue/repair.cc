#include "tools/mar_queue/repair.h"

#include <sys/sem.h>
#include <sys/shm.h>

#include <algorithm>
#include <cerrno>
#include <cstring>

#include "ipc/queue.h"
#include "tools/mar_queue/text.h"

namespace {

bool holds_something(const _TIPCHeadItem& head) { return head.state != HEAD_IDLE || head.firstItem != 0; }

// Heads of ended processes with nobody asleep on them.
std::vector<uint16_t> heads_to_free(const Snapshot& snapshot) {
  std::vector<uint16_t> heads;
  for (uint16_t i = 0; i < snapshot.image->slots; ++i) {
    const HeadUse& use = snapshot.uses[i];
    if (use.owner == Owner::kGone && holds_something(snapshot.image->heads[i]) && use.waiting <= 0)
      heads.push_back(i);
  }
  return heads;
}

// Why the lock must not be asked for, or nothing would tell who is dead.
Findings obstacles(const Snapshot& snapshot) {
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
  if (snapshot.sign > 1 && snapshot.creator == 0) {
    return {{Severity::kBlind, "process-namespace",
             "The engine is in another process namespace: run this there, here every process of it looks "
             "ended."}};
  }
  return {};
}

std::string head_text(const _TIPCHeadItem& head, uint16_t index, uint32_t items) {
  return text("head %u of ended process %u, with %s", index, head.owner.process_id,
              count_of(items, "message").c_str());
}

bool is_repairable(const Finding& damage) {
  return damage.code == std::string_view("lost-slots") || damage.code == std::string_view("item-count");
}

Findings reap_plan(const Snapshot& snapshot, const CheckResult& checked) {
  Findings plan;
  for (const uint16_t index : heads_to_free(snapshot)) {
    plan.push_back(
        {Severity::kTrouble, "would-free",
         "Would free " + head_text(snapshot.image->heads[index], index, checked.items[index]) + '.'});
  }
  for (const Finding& damage : checked.damage) {
    if (is_repairable(damage)) {
      plan.push_back({Severity::kTrouble, "would-repair", "Would repair: " + damage.text});
    }
  }
  return plan;
}

void free_head(QueueCore& queue, const Snapshot& snapshot, uint16_t index, Findings& done) {
  const _TIPCHeadItem& head = snapshot.image->heads[index];
  int freed = 0;
  const long code = queue.EmptyHead(index, head.owner, freed);
  if (code == 0) {
    done.push_back(
        {Severity::kNote, "freed", "Freed " + head_text(head, index, static_cast<uint32_t>(freed)) + '.'});
  } else if (code == QUEUE_GET_FAILED) {
    done.push_back(
        {Severity::kTrouble, "not-freed",
         text("Left head %u as it is: it is damaged, only a restart of the engine helps.", index)});
  } else {
    done.push_back(
        {Severity::kTrouble, "not-freed", text("Head %u could not be freed (code %ld).", index, code)});
  }
}

void recover_slots(QueueCore& queue, const CheckResult& checked, Findings& done) {
  if (std::none_of(checked.damage.begin(), checked.damage.end(), is_repairable)) return;
  int recovered = 0;
  const long code = queue.RecoverSlots(recovered);
  if (code == 0) {
    done.push_back({Severity::kNote, "repaired",
                    text("Put %s back on the free list and counted the queue anew.",
                         count_of(static_cast<uint64_t>(recovered), "lost slot").c_str())});
  } else {
    done.push_back(
        {Severity::kTrouble, "not-repaired",
         text("The queue's damage needs a restart of the engine (code %ld): see mar-queue check.", code)});
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
    targets.push_back({*snapshot.segment, true, is_queue_size(snapshot.segment->size), "segment"});
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
  Findings findings = obstacles(snapshot);
  if (!findings.empty()) return findings;
  findings = reap_plan(snapshot, checked);
  if (findings.empty()) return {{Severity::kNote, "nothing-to-do", "No ended process holds anything."}};
  if (!really) return findings;
  findings.clear();
  CIPCQueue<TCLIMessage> queue(snapshot.place.base.c_str(), false);
  if (!queue.IsInitialized() || queue.Capacity() != snapshot.image->slots) {
    return {{Severity::kBlind, "changed", "The queue was replaced while this looked at it: try again."}};
  }
  for (const uint16_t index : heads_to_free(snapshot)) free_head(queue, snapshot, index, findings);
  recover_slots(queue, checked, findings);
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
