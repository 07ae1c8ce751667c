#include "tools/mar_queue/service_diagnosis.h"

#include <algorithm>
#include <string>

#include "tools/mar_queue/text.h"

namespace {

bool is_stopped(pid_t process) {
  const char state = process_state(process);
  return state == 'T' || state == 't';
}

// Whether a new client would get a head: by the rules of claiming.
bool has_head_for_newcomer(const Snapshot& snapshot) {
  const QueueImage& image = *snapshot.image;
  for (uint16_t i = 0; i < image.slots; ++i) {
    const HeadUse& use = snapshot.uses[i];
    const bool idle = image.heads[i].state == HEAD_IDLE && image.heads[i].firstItem == 0 && use.waiting <= 0;
    if (image.heads_in_use < image.slots && use.owner == Owner::kNobody) return true;
    if (image.heads_in_use <= image.slots && idle) return true;
  }
  return false;
}

// Heads that stay taken because their owner has ended in the middle of something.
long stuck_heads(const Snapshot& snapshot) {
  long stuck = 0;
  for (uint16_t i = 0; i < snapshot.image->slots; ++i) {
    const _TIPCHeadItem& head = snapshot.image->heads[i];
    stuck += snapshot.uses[i].owner == Owner::kGone && (head.state != HEAD_IDLE || head.firstItem != 0);
  }
  return stuck;
}

std::string remedy(bool reapable) {
  return reapable ? "mar-queue reap --yes frees some" : "wait until the engine has taken some";
}

struct Service {
  const Snapshot& snapshot;
  const CheckResult& checked;
  Findings findings = {};

  void Trouble(const char* code, std::string sentence) {
    findings.push_back({Severity::kTrouble, code, std::move(sentence)});
  }

  void LookAtState() {
    const uint32_t state = snapshot.image->state;
    if (state == IPCQUEUE_OPEN) return;
    if (state == IPCQUEUE_CLOSE) {
      Trouble("closing",
              "The engine is closing its queue and takes no more requests: wait for its end, then start it "
              "again.");
    } else if (state == IPCQUEUE_DESTROY) {
      Trouble("destroyed", "The engine has given its queue up: wait for its end, then start it again.");
    } else {
      Trouble("bad-state", text("The queue has the unknown state %u: restart the engine.", state));
    }
  }

  void LookAtLock() {
    if (snapshot.lock <= 0) return;
    const pid_t holder = snapshot.lock_process;
    if (holder > 0 && process_is_gone(static_cast<uint32_t>(holder))) {
      Trouble("lock-lost",
              text("The lock is taken but process %d, the last to use it, has ended (the semaphore was "
                   "set by hand): restart the engine.",
                   holder));
    } else {
      Trouble("lock-held",
              text("Process %s holds the lock all the time and everybody waits for it: continue it if it "
                   "is stopped, or end it.",
                   process_label(holder).c_str()));
    }
  }

  void LookAtEngine() {
    if (snapshot.creator > 0 && is_stopped(snapshot.creator)) {
      Trouble("engine-stopped", text("The engine's process %s is stopped: continue it (kill -CONT %d).",
                                     process_label(snapshot.creator).c_str(), snapshot.creator));
    }
    if (snapshot.creator > 0 && process_is_gone(static_cast<uint32_t>(snapshot.creator))) {
      Trouble("false-life", text("Clients take the engine for alive, but process %d, the last to say so, has "
                                 "ended (the semaphore was "
                                 "set by hand): start the engine if none runs, else restart it.",
                                 snapshot.creator));
    }
    const QueueImage& image = *snapshot.image;
    for (uint16_t i = 0; i < image.slots; ++i) {
      if (snapshot.uses[i].owner == Owner::kEngine && image.heads[i].state == HEAD_CHANNEL) return;
    }
    Trouble("no-engine-head",
            "The engine has not opened its own head, so nobody reads requests: look again in a "
            "moment, then restart the engine.");
  }

  void LookAtRoom() {
    const QueueImage& image = *snapshot.image;
    if (image.items >= image.slots) {
      Trouble("full",
              text("The queue is full, all %s are taken, %u of them by ended processes' messages: %s.",
                   count_of(image.slots, "slot").c_str(), checked.queued_for_dead,
                   remedy(checked.queued_for_dead > 0 || checked.lost > 0).c_str()));
    }
    if (!has_head_for_newcomer(snapshot)) {
      const long stuck = stuck_heads(snapshot);
      Trouble("no-free-head",
              text("No head is free for a new client, all %u are taken, %ld of them by ended "
                   "processes: %s.",
                   image.slots, stuck,
                   stuck > 0 ? "mar-queue reap --yes frees those" : "wait until a client has finished"));
    }
  }

  void LookAtDamage() {
    if (!snapshot.settled || checked.damage.empty()) return;
    const bool lost_only =
        std::all_of(checked.damage.begin(), checked.damage.end(), [](const Finding& damage) {
          return std::string_view(damage.code) == "lost-slots" ||
                 std::string_view(damage.code) == "item-count";
        });
    Trouble("damaged", text("The queue is damaged (%s found by mar-queue check): %s.",
                            count_of(checked.damage.size(), "problem").c_str(),
                            lost_only ? "mar-queue reap --yes repairs it" : "restart the engine"));
  }
};

}  // namespace

Findings diagnose_service(const Snapshot& snapshot, const CheckResult& checked) {
  Service service{snapshot, checked};
  service.LookAtState();
  service.LookAtLock();
  service.LookAtEngine();
  service.LookAtRoom();
  service.LookAtDamage();
  if (service.findings.empty()) {
    const std::string process = snapshot.creator > 0 ? "process " + process_label(snapshot.creator)
                                                     : std::string("a process of another process namespace");
    service.findings.push_back({Severity::kNote, "running",
                                text("The engine runs: %s serves a queue of %s, %u queued.", process.c_str(),
                                     count_of(snapshot.image->slots, "slot").c_str(), checked.queued)});
  }
  return service.findings;
}

void add_notes(const Snapshot& snapshot, const CheckResult& checked, Findings& findings) {
  const auto note = [&](const char* code, std::string sentence) {
    findings.push_back({Severity::kNote, code, std::move(sentence)});
  };
  if (!snapshot.settled) {
    note("unsettled", "The queue was in use all the time: its numbers may be those of different moments.");
  }
  if (const long stuck = stuck_heads(snapshot); stuck > 0) {
    note("dead-owners", text("Ended processes hold %s with %s: mar-queue reap --yes frees them.",
                             count_of(static_cast<uint64_t>(stuck), "head").c_str(),
                             count_of(checked.queued_for_dead, "message").c_str()));
  }
  if (snapshot.sign > 1 && snapshot.creator == 0) {
    note("process-namespace",
         "The engine is in another process namespace: which owners of heads have ended cannot "
         "be told from here.");
  }
}
