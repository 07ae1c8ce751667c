// How answers reach their clients, or are given up.
#include <unistd.h>

#include <csignal>
#include <utility>

#include "ipc/naming.h"
#include "standin/service.h"

namespace mar::standin {

namespace {

constexpr std::chrono::milliseconds kLockCheckPeriod{1};

std::string client_name(_TIPCIdentifier client) {
  return std::to_string(client.process_id) + '/' + std::to_string(client.thread_id);
}

void die() {
  kill(getpid(), SIGKILL);
  pause();  // until the signal is delivered
}

}  // namespace

void StandInEngine::advance_answers() {
  blocked_ = false;
  for (auto pending = answers_.begin(); pending != answers_.end();)
    pending = advance(*pending) ? answers_.erase(pending) : std::next(pending);
  if (full_) keep_full();
}

// Returns true when nothing is left to do for the answer.
bool StandInEngine::advance(PendingAnswer& pending) {
  if (now() < pending.due) return false;
  FaultEffects& effects = pending.effects;
  if (effects.hold_lock_ms > 0) hold_lock(std::exchange(effects.hold_lock_ms, 0));
  if (effects.death == Death::kBeforeAnswer) die();
  std::string reason = "no room for too long";
  Progress progress = Progress::kDone;
  if (effects.state) {
    queue_.set_state(*effects.state);
  } else if (!effects.no_answer) {
    progress = answer_client(pending, reason);
  }
  if (progress == Progress::kWaits && now() < pending.give_up) {
    blocked_ = true;
    return false;
  }
  if (progress != Progress::kDone) give_up(pending.client, reason);
  if (effects.death == Death::kAfterAnswer) die();
  if (effects.fill_queue) full_ = true;
  if (effects.stop) stop_ = true;
  return true;
}

// Nothing else can be served meanwhile: the engine's own steps need the lock too.
void StandInEngine::hold_lock(int time_ms) {
  const Moment until = now() + std::chrono::milliseconds(time_ms);
  if (!queue_.lock()) return notify(Notice::kProblem, "the queue's lock cannot be taken");
  while (now() < until && !stop_) options_.time.rest(kLockCheckPeriod);
  queue_.unlock();
}

// `reason` receives why the answer cannot be put, where that is not for want of room.
StandInEngine::Progress StandInEngine::answer_client(PendingAnswer& pending, std::string& reason) {
  if (!is_client(pending.client)) {
    reason = "its sender is not a client";
    return Progress::kImpossible;
  }
  if (!queue_.lives(pending.client, now())) {
    // A client of another process namespace has just not come to wait yet.
    reason = "its process is gone";
    return ending_ ? Progress::kImpossible : Progress::kWaits;
  }
  if (!pending.effects.withdraw) return put_records(pending, reason);
  return withdrawals_.withdraw_now(pending.client, now()) ? Progress::kDone : Progress::kWaits;
}

// Puts what there is room for, but no more at once than the queue holds: other answers have their turn.
StandInEngine::Progress StandInEngine::put_records(PendingAnswer& pending, std::string& reason) {
  for (int round = 0; round <= queue_.slots(); ++round) {
    if (!pending.record_waits && !pending.answer.next(pending.record)) return Progress::kDone;
    pending.record_waits = true;
    const long code = put_record(pending);
    if (code == QUEUE_OVERFLOW) return Progress::kWaits;
    if (code != 0) {
      reason = "putting it failed with " + std::to_string(code);
      return Progress::kImpossible;
    }
    pending.record_waits = false;
    pending.give_up = now() + std::chrono::milliseconds(options_.answer_patience_ms);
    pause_ = kShortestPause;
  }
  return Progress::kWaits;
}

// A put fails on a free list that is empty in a queue that is not full. A killed process leaves such a list,
// and it can be mended.
long StandInEngine::put_record(const PendingAnswer& pending) {
  if (pending.record.kind != CLI_SINGLE && !queue_.has_room_to_spare()) return QUEUE_OVERFLOW;
  const long code = queue_.put_answer(pending.client, pending.record);
  if (code != QUEUE_PUT_FAILED || recover_slots() != 0) return code;
  return queue_.put_answer(pending.client, pending.record);
}

void StandInEngine::give_up(_TIPCIdentifier client, const std::string& reason) {
  notify(Notice::kProblem, "no answer to " + client_name(client) + ": " + reason);
  queue_.discard(client);
  if (!is_client(client)) return;
  withdrawals_.add(client, now(), now() + std::chrono::milliseconds(options_.answer_patience_ms));
}

}  // namespace mar::standin
