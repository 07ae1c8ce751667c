#include "tools/mar_queue/service_diagnosis.h"

#include <algorithm>
#include <string>

#include "tools/mar_queue/holders.h"
#include "tools/mar_queue/repair_plan.h"
#include "tools/mar_queue/text.h"

namespace {

constexpr size_t kNamedHolders = 3;

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

bool is_stopped_client(const Holder& holder) { return holder.owner == Owner::kAlive && holder.stopped; }

// "client 7 (t1, stopped) holds 3 messages, the engine has 1 message to take"
std::string list_of(const std::vector<Holder>& holders) {
  std::string list;
  for (size_t i = 0; i < holders.size() && i < kNamedHolders; ++i)
    list += (i == 0 ? "" : ", ") + holding(holders[i]);
  return holders.size() > kNamedHolders ? list + ", ..." : list;
}

struct Service {
  const Snapshot& snapshot;
  const CheckResult& checked;
  const RepairPlan plan = plan_repair(snapshot, checked);
  const std::vector<Holder> holders = find_holders(snapshot, checked);
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
      Trouble("engine-stopped", text("The engine does not run, process %s: continue it (kill -CONT %d).",
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

  // What ends a lack: reap where that helps, else `otherwise`.
  std::string Remedy(bool reap_helps, const std::string& otherwise) const {
    if (in_another_process_namespace(snapshot)) {
      return "mar-queue status in the engine's process namespace tells which of them have ended";
    }
    if (!reap_helps) return otherwise;
    return snapshot.lock > 0 ? "mar-queue reap --yes, once the lock is free, frees some"
                             : "mar-queue reap --yes frees some";
  }

  void LookAtRoom() {
    const QueueImage& image = *snapshot.image;
    if (image.state != IPCQUEUE_OPEN) return;  // too late for more room
    if (image.items >= image.slots) {
      const bool reap_helps = plan.messages > 0 || !plan.repairable.empty();
      Trouble("full",
              text("The queue is full, all %s are taken (%s): %s.", count_of(image.slots, "slot").c_str(),
                   list_of(holders).c_str(),
                   Remedy(reap_helps, holders.empty() ? "restart the engine" : remedy_for(holders.front()))
                       .c_str()));
    }
    if (image.heads_in_use > image.slots) {
      Trouble("no-free-head",
              text("The header counts %u heads in use though there are %u, so no new client gets "
                   "one: restart the engine.",
                   image.heads_in_use, image.slots));
    } else if (!has_head_for_newcomer(snapshot)) {
      const auto stopped = std::find_if(holders.begin(), holders.end(), is_stopped_client);
      const std::string otherwise =
          stopped == holders.end() ? "wait until a client has finished" : remedy_for(*stopped);
      Trouble("no-free-head",
              text("No head is free for a new client, all %u are taken (%s): %s.", image.slots,
                   list_of(holders).c_str(), Remedy(!plan.heads.empty(), otherwise).c_str()));
    }
  }

  void LookAtDamage() {
    if (!snapshot.settled || checked.damage.empty() || snapshot.image->state != IPCQUEUE_OPEN) return;
    const bool restart = std::any_of(plan.lasting.begin(), plan.lasting.end(), needs_restart);
    std::string remedy;
    if (!plan.repairable.empty()) {
      const char* const where = plan.obstacle ? ", run in the engine's process namespace," : "";
      remedy = text("mar-queue reap --yes%s repairs %zu", where, plan.repairable.size());
    }
    if (!plan.lasting.empty()) {
      remedy += remedy.empty() ? "" : ", then ";
      remedy += restart ? "restart the engine" : "end the client that it names";
    }
    Trouble("damaged", text("The queue is damaged (%s found by mar-queue check): %s.",
                            count_of(checked.damage.size(), "problem").c_str(), remedy.c_str()));
  }
};

}  // namespace

Findings diagnose_service(const Snapshot& snapshot, const CheckResult& checked) {
  Service service{snapshot, checked};
  service.LookAtState();
  service.LookAtLock();
  if (snapshot.image->slots == 0) {
    service.Trouble(
        "no-slots",
        text("The engine runs but serves nobody, its queue has no slots (the segment has %s, one slot "
             "needs %s): restart it with room for some.",
             count_of(snapshot.segment->size, "byte").c_str(),
             count_of(kCommandQueueLayout.segment_size_bytes(1), "byte").c_str()));
  } else {
    service.LookAtEngine();
    service.LookAtRoom();
    service.LookAtDamage();
  }
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
  const RepairPlan plan = plan_repair(snapshot, checked);
  if (!plan.heads.empty() && !plan.obstacle) {
    note("dead-owners",
         text("Ended processes hold %s with %s: mar-queue reap --yes frees them.",
              count_of(plan.heads.size(), "head").c_str(), count_of(plan.messages, "message").c_str()));
  }
  for (const Holder& holder : find_holders(snapshot, checked)) {
    if (is_stopped_client(holder)) {
      note("client-stopped", text("On %s, %s: %s.", count_of(holder.heads, "head").c_str(),
                                  holding(holder).c_str(), remedy_for(holder).c_str()));
    }
  }
  if (in_another_process_namespace(snapshot)) {
    note("process-namespace",
         "The engine is in another process namespace: which owners of heads have ended cannot "
         "be told from here.");
  }
}
