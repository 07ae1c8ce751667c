// The serving loop. How answers reach their clients: service_answers.cc.
#include "standin/service.h"

#include <algorithm>
#include <utility>

#include "runtime/thread_library.h"
#include "standin/messages.h"

namespace mar::standin {

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;
using std::chrono::system_clock;

constexpr milliseconds kUpkeepPeriod{250};  // how soon a signal and a dead client are noticed
constexpr microseconds kLongestPause{10000};
constexpr milliseconds kEndPatience{2000};
constexpr size_t kMaxPendingAnswers = 4096;

}  // namespace

StandInEngine::StandInEngine(EngineOptions options)
    : options_(std::move(options)),
      queue_(options_.name, options_.slots),
      withdrawals_(queue_),
      pause_(kShortestPause) {}

void StandInEngine::notify(Notice notice, const std::string& text) const {
  if (options_.on_notice) options_.on_notice(notice, text);
}

Outcome<> StandInEngine::start() {
  // Done while there is no serving thread yet: the runtime takes the thread that
  // initialises it for the main thread.
  CkesThreadLibrary::Initialize();
  if (auto created = queue_.create(); !created) return created;
  const FaultEffects effects = options_.faults.at_start();
  full_ = effects.fill_queue;
  if (full_) queue_.fill();
  if (effects.state) queue_.set_state(*effects.state);
  return {};
}

void StandInEngine::stop() {
  stop_ = true;
  queue_.wake();
}

bool StandInEngine::run() {
  Moment next_upkeep = now();
  bool queue_is_ours = true;
  while (!stop_ && queue_is_ours) {
    queue_is_ours = wait_for_work();
    take_requests();
    advance_answers();
    if (now() < next_upkeep) continue;
    do_upkeep();
    next_upkeep = now() + kUpkeepPeriod;
  }
  if (queue_is_ours) {
    end();
  } else {
    notify(Notice::kProblem, "another process removed the queue");
  }
  queue_.remove();
  return queue_is_ours;
}

// Waits for the next request, for a late answer to come due or, while an answer finds no room, a moment.
// Nothing announces room, so the pauses start short and double. Returns false if the queue is gone.
bool StandInEngine::wait_for_work() {
  if (blocked_) {
    const microseconds pause = pause_;
    pause_ = std::min(2 * pause_, kLongestPause);
    if (pause >= milliseconds(1)) return queue_.wait_for_request(static_cast<int>(pause / milliseconds(1)));
    options_.time.rest(pause);
    return true;
  }
  pause_ = kShortestPause;
  milliseconds wait = kUpkeepPeriod;
  for (const PendingAnswer& pending : answers_)
    wait = std::min(wait, std::chrono::ceil<milliseconds>(pending.due - now()));
  return queue_.wait_for_request(static_cast<int>(std::max(wait, milliseconds(0)).count()));
}

// Empties the engine's head, even of items without a post: answers need their slots.
void StandInEngine::take_requests() {
  while (answers_.size() < kMaxPendingAnswers) {
    TCLIMessage request;
    bool taken = false;
    const long code = queue_.take_request(request, taken);
    if (code != 0) notify(Notice::kProblem, "taking a request failed with " + std::to_string(code));
    if (!taken) return;
    accept(request);
  }
}

void StandInEngine::accept(const TCLIMessage& request) {
  const uint32_t code = message_code(request);
  FaultEffects effects;
  ++served_;
  const int32_t result = result_for(request, effects);
  effects.answer.result = result;
  effects.stop = effects.stop || state_.stop_requested;
  const ServedRequest served{served_, request, result, effects.remark, effects.text, system_clock::now()};
  if (options_.on_request) options_.on_request(served);
  if (options_.on_dump && code == CMD_DUMP && result == MAR_OK) options_.on_dump(state_);
  if (options_.keep_requests) {
    const std::lock_guard<std::mutex> lock(requests_mutex_);
    requests_.push_back(served);
  }
  withdrawals_.drop(request.sender);
  const Moment due = now() + milliseconds(effects.delay_ms);
  const Moment give_up = due + milliseconds(options_.answer_patience_ms);
  Answer answer(request, effects.answer);
  answers_.push_back({request.sender, std::move(effects), std::move(answer), due, give_up});
}

// A recorded result stands, whatever the state says; one that refuses changes nothing.
int32_t StandInEngine::result_for(const TCLIMessage& request, FaultEffects& effects) {
  const uint32_t code = message_code(request);
  const RecordedRequest* recorded = options_.replay.next(code);
  if (recorded != nullptr) {
    recorded->faults.apply_to(effects);
    if (!recorded->is_same(request)) {
      notify(Notice::kProblem, "request " + std::to_string(served_) +
                                   " differs from the one recorded in line " +
                                   std::to_string(recorded->line));
    }
  }
  effects = options_.faults.for_request(code, std::move(effects));
  if (effects.result) return *effects.result;
  if (recorded == nullptr) return decide(state_, request);
  if (recorded->result == MAR_OK) decide(state_, request);
  return recorded->result;
}

// Each answer that a client reads frees a slot, which has to be taken again.
void StandInEngine::keep_full() {
  if (answers_.empty() && !queue_.has_unread_answers(now())) {
    queue_.fill();
  } else {
    blocked_ = true;
    pause_ = kShortestPause;
  }
}

void StandInEngine::do_upkeep() {
  queue_.open_head();
  const int reaped = queue_.reap(now());
  if (reaped > 0) notify(Notice::kDetail, "freed " + std::to_string(reaped) + " heads of dead clients");
  withdrawals_.advance(now());
  if (now() < next_recovery_) return;
  recover_slots();
  // The check reads every slot under the lock, so a large queue is checked less often.
  next_recovery_ = now() + milliseconds(queue_.slots());
}

// Puts slots that killed processes have lost back on the free list. Reports damage that stays only once.
long StandInEngine::recover_slots() {
  int recovered = 0;
  const long code = queue_.recover_slots(recovered);
  if (recovered > 0) notify(Notice::kDetail, "recovered " + std::to_string(recovered) + " lost slots");
  const bool damaged = code == QUEUE_GET_FAILED;
  if (damaged && !damaged_) notify(Notice::kProblem, "the queue is damaged, see mar-queue check");
  damaged_ = damaged;
  return code;
}

// Pending requests are answered first; clients that have an answer waiting get time to read it.
void StandInEngine::end() {
  const Moment deadline = now() + kEndPatience;
  full_ = false;
  ending_ = true;
  queue_.unfill();
  for (take_requests(), advance_answers(); !answers_.empty() && now() < deadline; advance_answers())
    options_.time.rest(kShortestPause);
  queue_.set_state(IPCQUEUE_CLOSE);
  while (queue_.has_unread_answers(now()) && now() < deadline) options_.time.rest(kShortestPause);
}

std::vector<ServedRequest> StandInEngine::requests() const {
  const std::lock_guard<std::mutex> lock(requests_mutex_);
  return requests_;
}

}  // namespace mar::standin
