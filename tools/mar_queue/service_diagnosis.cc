#include <algorithm>
#include <ctime>
#include <functional>
#include <set>
#include <string>

#include "tools/mar_queue/diagnosis.h"
#include "tools/mar_queue/holders.h"
#include "tools/mar_queue/repair_plan.h"
#include "tools/mar_queue/wording.h"

namespace mar::queue_tool {

namespace {

constexpr size_t kNamedHolders = 3;
constexpr time_t kHungAfterS = 3;  // a client that waits reads its answer at once

// Whether a new client would get a head, by the rules of claiming one.
bool has_head_for_newcomer(const Snapshot& snapshot) {
  const QueueImage& image = *snapshot.image;
  for (uint16_t i = 0; i < image.slots; ++i) {
    const HeadUse& use = snapshot.uses[i];
    if (image.heads_in_use < image.slots && use.owner == Owner::kNobody) return true;
    if (image.heads[i].state == HEAD_IDLE && image.heads[i].firstItem == 0 && use.waiting <= 0) return true;
  }
  return false;
}

// "client 7 (t1, stopped) holds 3 messages, the engine has 1 message to take"
std::string list_of(const std::vector<Holder>& holders) {
  std::string list;
  for (size_t i = 0; i < holders.size() && i < kNamedHolders; ++i)
    list += (i == 0 ? "" : ", ") + holding(holders[i]);
  return holders.size() > kNamedHolders ? list + ", ..." : list;
}

class ServiceDiagnosis {
 public:
  ServiceDiagnosis(const Snapshot& snapshot, const CheckResult& checked)
      : snapshot_(snapshot), checked_(checked) {}

  Findings run() {
    diagnose_state();
    diagnose_lock();
    if (image_.slots == 0) {
      report("no-slots",
             "The engine runs but can serve no client: its queue has no slots (the segment has {}, one slot "
             "needs {}). Restart it with a larger queue.",
             count_of(snapshot_.segment->size, "byte"),
             count_of(kCommandQueueLayout.segment_size_bytes(1), "byte"));
    } else {
      diagnose_engine();
      diagnose_room();
      diagnose_damage();
    }
    if (findings_.empty()) {
      const pid_t engine = snapshot_.creator;
      findings_.push_back(
          note("running", "The engine runs: {} serves a queue of {}, {} queued.",
               engine > 0 ? "process " + process_label(engine) : "a process of another process namespace",
               count_of(image_.slots, "slot"), checked_.queued));
    }
    return std::move(findings_);
  }

 private:
  template <typename... Args>
  void report(const char* code, fmt::format_string<Args...> format, Args&&... args) {
    findings_.push_back(trouble(code, format, std::forward<Args>(args)...));
  }

  void diagnose_state() {
    if (image_.state == IPCQUEUE_OPEN) return;
    if (image_.state == IPCQUEUE_CLOSE) {
      report("closing", "{}", sentence_of(MAR_CAUSE_CLOSING));
    } else if (image_.state == IPCQUEUE_DESTROY) {
      report("destroyed", "{}", sentence_of(MAR_CAUSE_DESTROYED));
    } else {
      report("bad-state", "The queue has the unknown state {}: restart the engine.", image_.state);
    }
  }

  void diagnose_lock() {
    if (snapshot_.lock <= 0) return;
    const pid_t holder = snapshot_.lock_user;
    if (holder > 0 && process_is_gone(static_cast<uint32_t>(holder))) {
      report("lock-lost",
             "The lock is held although process {}, the last to use it, has ended (the semaphore was set by "
             "hand): restart the engine.",
             holder);
    } else {
      report("lock-held",
             "Process {} never releases the lock, and all others wait for it: continue it if it is stopped, "
             "or end it.",
             process_label(holder));
    }
  }

  void diagnose_engine() {
    const pid_t engine = snapshot_.creator;
    if (engine > 0 && is_stopped(engine)) {
      report("engine-stopped", "The engine, process {}, does not run: continue it (kill -CONT {}).",
             process_label(engine), engine);
    }
    if (engine > 0 && process_is_gone(static_cast<uint32_t>(engine))) {
      report("false-life",
             "Clients take the engine for alive, but process {}, the last to declare that, has ended (the "
             "semaphore was set by hand): start the engine if none runs, otherwise restart it.",
             engine);
    }
    for (uint16_t i = 0; i < image_.slots; ++i) {
      if (snapshot_.uses[i].owner == Owner::kEngine && image_.heads[i].state == HEAD_CHANNEL) return;
    }
    report("no-engine-head",
           "The engine has not opened its own head, so it reads no requests: look again in a moment, "
           "then restart the engine.");
  }

  // What ends a shortage: reap if that helps, otherwise `otherwise`.
  std::string remedy(bool reap_helps, const std::string& otherwise) const {
    if (in_another_process_namespace(snapshot_)) {
      return "mar-queue status in the engine's process namespace tells which of them have ended";
    }
    if (!reap_helps) return otherwise;
    return fmt::format("mar-queue reap --yes{} frees some",
                       snapshot_.lock > 0 ? ", once the lock is free," : "");
  }

  void diagnose_room() {
    if (image_.state != IPCQUEUE_OPEN) return;  // it takes no more messages anyway
    if (image_.items >= image_.slots) {
      report("full", "The queue is full, all {} are taken ({}): {}.", count_of(image_.slots, "slot"),
             list_of(holders_),
             remedy(plan_.messages > 0 || !plan_.repairable.empty(),
                    holders_.empty() ? "restart the engine" : remedy_for(holders_.front())));
    }
    if (image_.heads_in_use > image_.slots) {
      report("no-free-head",
             "No new client gets a head, because the header counts {} of {} in use: restart the engine.",
             image_.heads_in_use, image_.slots);
    } else if (!has_head_for_newcomer(snapshot_)) {
      const auto stopped =
          std::find_if(holders_.begin(), holders_.end(), std::mem_fn(&Holder::is_stopped_client));
      report("no-free-head", "No head is free for a new client, all {} are taken ({}): {}.", image_.slots,
             list_of(holders_),
             remedy(!plan_.heads.empty(),
                    stopped == holders_.end() ? "wait until a client has finished" : remedy_for(*stopped)));
    }
  }

  void diagnose_damage() {
    if (!snapshot_.settled || checked_.damage.empty() || image_.state != IPCQUEUE_OPEN) return;
    std::string remedy;
    if (!plan_.repairable.empty()) {
      remedy = fmt::format("mar-queue reap --yes{} repairs {}",
                           plan_.obstacle ? ", run in the engine's process namespace," : "",
                           plan_.repairable.size());
    }
    if (!plan_.lasting.empty()) {
      const bool restart = std::any_of(plan_.lasting.begin(), plan_.lasting.end(), needs_restart);
      remedy += remedy.empty() ? "" : ", then ";
      remedy += restart ? "restart the engine" : "end the client that it names";
    }
    report("damaged", "The queue is damaged (mar-queue check finds {}): {}.",
           count_of(checked_.damage.size(), "problem"), remedy);
  }

  const Snapshot& snapshot_;
  const CheckResult& checked_;
  const QueueImage& image_ = *snapshot_.image;
  const RepairPlan plan_ = plan_repair(snapshot_, checked_);
  const std::vector<Holder> holders_ = find_holders(snapshot_, checked_);
  Findings findings_;
};

// Messages carry no time. The last operation on the wake-up set is the latest moment at which the oldest of
// them can have been put.
time_t least_age_s(const Snapshot& snapshot) {
  return std::max<time_t>(0, std::time(nullptr) - snapshot.wakeup_set->used);
}

// "process 7 (t1), process 8 (t1), ..."
std::string list_of(const std::set<pid_t>& processes) {
  std::string list;
  size_t named = 0;
  for (const pid_t process : processes) {
    if (named++ == kNamedHolders) return list + ", ...";
    list += (list.empty() ? "process " : ", process ") + process_label(process);
  }
  return list;
}

// Requests that the engine has not taken, and clients that wait for its answer.
void add_unanswered(const Snapshot& snapshot, const CheckResult& checked, Findings& findings) {
  uint32_t requests = 0;
  uint32_t clients = 0;
  std::set<pid_t> waiting;
  for (uint16_t i = 0; i < snapshot.image->slots; ++i) {
    const bool engine = snapshot.uses[i].owner == Owner::kEngine;
    if (engine) requests += checked.items[i];
    if (engine || checked.items[i] != 0 || snapshot.uses[i].waiting <= 0) continue;
    ++clients;
    waiting.insert(static_cast<pid_t>(snapshot.image->heads[i].owner.process_id));
  }
  if ((requests == 0 && clients == 0) || !snapshot.wakeup_set) return;
  findings.push_back(
      note("unanswered",
           "{} not yet taken by the engine, {} waiting for an answer{}: the oldest unanswered request is at "
           "least {} s old.",
           count_of(requests, "request"), count_of(clients, "client"),
           waiting.empty() ? "" : " (" + list_of(waiting) + ")", least_age_s(snapshot)));
}

// Clients that run but do not read what has come for them.
void add_hung_clients(const Snapshot& snapshot, const CheckResult& checked, Findings& findings) {
  if (!snapshot.wakeup_set || least_age_s(snapshot) < kHungAfterS) return;
  std::set<pid_t> hung;
  for (uint16_t i = 0; i < snapshot.image->slots; ++i) {
    const auto process = static_cast<pid_t>(snapshot.image->heads[i].owner.process_id);
    const HeadUse& use = snapshot.uses[i];
    if (use.owner == Owner::kAlive && checked.items[i] > 0 && use.waiting == 0 && !is_stopped(process))
      hung.insert(process);
  }
  if (hung.empty()) return;
  findings.push_back(
      note("client-hung", "{} has not read its answer for at least {} s: see what it does, or end it.",
           count_of(hung.size(), "client") + " (" + list_of(hung) + ")", least_age_s(snapshot)));
}

}  // namespace

Findings diagnose_service(const Snapshot& snapshot, const CheckResult& checked) {
  return ServiceDiagnosis(snapshot, checked).run();
}

void add_notes(const Snapshot& snapshot, const CheckResult& checked, Findings& findings) {
  if (!snapshot.settled) {
    findings.push_back(
        note("unsettled", "The queue was in use all the time: its numbers may be of different moments."));
  }
  if (creator_lives(snapshot)) add_unanswered(snapshot, checked, findings);
  add_hung_clients(snapshot, checked, findings);
  const RepairPlan plan = plan_repair(snapshot, checked);
  if (!plan.heads.empty() && !plan.obstacle) {
    findings.push_back(note("dead-owners",
                            "Ended processes hold {} with {}: mar-queue reap --yes frees them.",
                            count_of(plan.heads.size(), "head"), count_of(plan.messages, "message")));
  }
  for (const Holder& holder : find_holders(snapshot, checked)) {
    if (!holder.is_stopped_client()) continue;
    findings.push_back(note("client-stopped", "On {}, {}: {}.", count_of(holder.heads, "head"),
                            holding(holder), remedy_for(holder)));
  }
  if (in_another_process_namespace(snapshot)) {
    findings.push_back(note("process-namespace",
                            "The engine is in another process namespace: which owners of heads have "
                            "ended cannot be seen from here."));
  }
}

}  // namespace mar::queue_tool
