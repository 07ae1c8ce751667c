#include "standin/service.h"

#include <unistd.h>

#include <algorithm>
#include <csignal>
#include <thread>

#include "ipc/naming.h"
#include "runtime/thread_library.h"
#include "standin/messages.h"

namespace {

using std::chrono::microseconds;
using std::chrono::milliseconds;

constexpr int kLookRoundMs = 250;  // how soon a signal and a dead client are noticed
constexpr int kShortestRestUs = 100;
constexpr int kLongestRestUs = 10000;
constexpr int kEndPatienceMs = 2000;
constexpr size_t kMaxJobs = 4096;

std::string client_name(_TIPCIdentifier client) {
  return std::to_string(client.process_id) + '/' + std::to_string(client.thread_id);
}

// An answer to the engine itself would come back as a request.
bool is_client(_TIPCIdentifier sender) {
  return !CIPCUtils::sameIPCIdentifiers(sender, ZARNENGINE_ID) &&
         !CIPCUtils::sameIPCIdentifiers(sender, NULL_IPC_ID);
}

void die() {
  kill(getpid(), SIGKILL);
  pause();  // until the signal is delivered
}

}  // namespace

StandInEngine::StandInEngine(EngineOptions options)
    : options_(std::move(options)), queue_(options_.name, options_.slots) {}

void StandInEngine::Tell(Notice notice, const std::string& text) const {
  if (options_.on_notice) options_.on_notice(notice, text);
}

mar::Outcome<> StandInEngine::Start() {
  // Before there can be a serving thread that the runtime would take for the main one.
  CkesThreadLibrary::Initialize();
  if (auto created = queue_.Create(); !created) return created;
  const FaultEffects effects = options_.faults.AtStart();
  full_ = effects.fill_queue;
  if (full_) queue_.Fill();
  if (effects.state) queue_.SetState(*effects.state);
  return {};
}

void StandInEngine::Stop() {
  stop_ = true;
  queue_.Wake();
}

bool StandInEngine::Run() {
  auto next_look_round = Clock::now();
  bool queue_is_ours = true;
  while (!stop_ && queue_is_ours) {
    queue_is_ours = Rest();
    TakeRequests();
    AdvanceJobs();
    if (Clock::now() < next_look_round) continue;
    LookRound();
    next_look_round = Clock::now() + milliseconds(kLookRoundMs);
  }
  if (queue_is_ours) {
    End();
  } else {
    Tell(Notice::kProblem, "somebody took the queue away");
  }
  queue_.Remove();
  return queue_is_ours;
}

// Waits for the next request, for a late answer to come due, or, when an answer finds no room, a moment.
// False when the queue is gone.
bool StandInEngine::Rest() {
  if (blocked_) {
    const int rest_us = rest_us_;
    rest_us_ = std::min(2 * rest_us_, kLongestRestUs);
    if (rest_us >= 1000) return queue_.WaitForRequest(rest_us / 1000);
    std::this_thread::sleep_for(microseconds(rest_us));
    return true;
  }
  rest_us_ = kShortestRestUs;
  auto wait = milliseconds(kLookRoundMs);
  for (const Job& job : jobs_) wait = std::min(wait, std::chrono::ceil<milliseconds>(job.due - Clock::now()));
  return queue_.WaitForRequest(static_cast<int>(std::max(wait, milliseconds(0)).count()));
}

// Empties the engine's head, whether its items were posted or not: their slots are what answers need.
void StandInEngine::TakeRequests() {
  while (jobs_.size() < kMaxJobs) {
    TCLIMessage request;
    bool taken = false;
    const long code = queue_.TakeRequest(request, taken);
    if (code != 0) Tell(Notice::kProblem, "taking a request failed with " + std::to_string(code));
    if (!taken) return;
    Accept(request);
  }
}

void StandInEngine::Accept(const TCLIMessage& request) {
  const uint32_t code = message_code(request);
  FaultEffects effects = options_.faults.ForRequest(code);
  const int32_t result = effects.result ? *effects.result : model_.Apply(request);
  effects.answer.result = result;
  effects.stop = effects.stop || model_.stop_requested();
  const ServedRequest served{++served_, request, result, effects.remark};
  if (options_.on_request) options_.on_request(served);
  if (options_.on_dump && code == CMD_DUMP && result == MAR_OK) options_.on_dump(model_.state());
  if (options_.keep_requests) {
    const std::lock_guard<std::mutex> lock(requests_mutex_);
    requests_.push_back(served);
  }
  const auto due = Clock::now() + milliseconds(effects.delay_ms);
  const auto give_up = due + milliseconds(options_.answer_patience_ms);
  std::erase_if(withdrawals_, [&](const Withdrawal& withdrawal) {
    return CIPCUtils::sameIPCIdentifiers(withdrawal.client, request.sender);  // it waits for a new answer
  });
  Answer answer(request, effects.answer);
  jobs_.push_back({request.sender, std::move(effects), std::move(answer), due, give_up});
}

void StandInEngine::AdvanceJobs() {
  blocked_ = false;
  for (auto job = jobs_.begin(); job != jobs_.end();) job = Advance(*job) ? jobs_.erase(job) : std::next(job);
  if (full_) StayFull();
}

// Every answer that is read leaves a free slot behind.
void StandInEngine::StayFull() {
  if (jobs_.empty() && !queue_.AnswersUnread(Clock::now())) {
    queue_.Fill();
  } else {
    blocked_ = true;
    rest_us_ = kShortestRestUs;
  }
}

// True when there is nothing more to do for the job.
bool StandInEngine::Advance(Job& job) {
  if (Clock::now() < job.due) return false;
  const FaultEffects& effects = job.effects;
  if (effects.death == Death::kBeforeAnswer) die();
  std::string wrong;
  bool done = true;
  if (effects.state) {
    queue_.SetState(*effects.state);
  } else if (!effects.no_answer) {
    done = AnswerClient(job, wrong);
  }
  if (!done && Clock::now() < job.give_up) {
    blocked_ = true;
    return false;
  }
  if (!done && wrong.empty()) wrong = "no room for too long";
  if (!wrong.empty()) GiveUp(job.client, wrong);
  if (effects.death == Death::kAfterAnswer) die();
  if (effects.fill_queue) full_ = true;
  if (effects.stop) stop_ = true;
  return true;
}

// True when the answer is put or, for the reason given in `wrong`, never will be.
bool StandInEngine::AnswerClient(Job& job, std::string& wrong) {
  if (!is_client(job.client)) {
    wrong = "it is no client";
    return true;
  }
  if (!queue_.Lives(job.client, Clock::now())) {
    wrong = "its process is gone";
    return ending_;  // it may be in another process namespace and yet come to wait
  }
  if (!job.effects.withdraw) return PutRecords(job, wrong);
  if (!queue_.Withdraw(job.client)) return false;
  withdrawals_.push_back({job.client, job.give_up, Clock::now() + milliseconds(kLookRoundMs)});
  return true;
}

// Puts what there is room for, in one go no more than the queue holds. True when all is put or, for the
// reason given in `wrong`, never will be.
bool StandInEngine::PutRecords(Job& job, std::string& wrong) {
  for (int round = 0; round <= queue_.slots(); ++round) {
    if (!job.record_waits && !job.answer.Next(job.record)) return true;
    job.record_waits = true;
    const long code = PutRecord(job);
    if (code == QUEUE_OVERFLOW) return false;
    if (code != 0) {
      wrong = "putting it failed with " + std::to_string(code);
      return true;
    }
    job.record_waits = false;
    job.give_up = Clock::now() + milliseconds(options_.answer_patience_ms);
    rest_us_ = kShortestRestUs;
  }
  return false;
}

// A put that fails may have met what a killed process has left: an empty free list in a queue that is not
// full.
long StandInEngine::PutRecord(const Job& job) {
  if (job.record.kind != CLI_SINGLE && !queue_.HasRoomToSpare()) return QUEUE_OVERFLOW;
  const long code = queue_.PutAnswer(job.client, job.record);
  if (code != QUEUE_PUT_FAILED || Recover() != 0) return code;
  return queue_.PutAnswer(job.client, job.record);
}

// A client that gets no answer any more must not sleep for it.
void StandInEngine::GiveUp(_TIPCIdentifier client, const std::string& why) {
  Tell(Notice::kProblem, "no answer to " + client_name(client) + ": " + why);
  queue_.Discard(client);
  if (!is_client(client)) return;
  if (withdrawals_.size() == kMaxJobs) withdrawals_.erase(withdrawals_.begin());
  withdrawals_.push_back({client, Clock::now() + milliseconds(options_.answer_patience_ms)});
  if (Settle(withdrawals_.back())) withdrawals_.pop_back();
}

// True when nothing is left to do. A head that has been withdrawn is looked at again a while later: its
// reader may have left without taking notice.
bool StandInEngine::Settle(Withdrawal& withdrawal) {
  const auto now = Clock::now();
  if (withdrawal.restore) return now >= *withdrawal.restore && queue_.Restore(withdrawal.client);
  if (queue_.Withdraw(withdrawal.client)) withdrawal.restore = now + milliseconds(kLookRoundMs);
  return !withdrawal.restore && now >= withdrawal.forget && !queue_.Lives(withdrawal.client, now);
}

// Slots that killed processes have lost. Damage that stays is told once.
long StandInEngine::Recover() {
  int recovered = 0;
  const long code = queue_.Recover(recovered);
  if (recovered > 0) Tell(Notice::kDetail, "recovered " + std::to_string(recovered) + " lost slots");
  const bool damaged = code == QUEUE_GET_FAILED;
  if (damaged && !damaged_) Tell(Notice::kProblem, "the queue is damaged, see mar-queue check");
  damaged_ = damaged;
  return code;
}

void StandInEngine::LookRound() {
  queue_.OpenHead();
  const auto now = Clock::now();
  const int reaped = queue_.Reap(now);
  if (reaped > 0) Tell(Notice::kDetail, "freed " + std::to_string(reaped) + " heads of dead clients");
  std::erase_if(withdrawals_, [this](Withdrawal& withdrawal) { return Settle(withdrawal); });
  if (now < next_recovery_) return;
  Recover();
  next_recovery_ = now + milliseconds(queue_.slots());  // it reads every slot under the lock
}

// What has been asked is still answered, and those who have been answered may still read.
void StandInEngine::End() {
  const auto deadline = Clock::now() + milliseconds(kEndPatienceMs);
  const auto rest = [] { std::this_thread::sleep_for(microseconds(kShortestRestUs)); };
  full_ = false;
  ending_ = true;
  queue_.Unfill();
  for (TakeRequests(), AdvanceJobs(); !jobs_.empty() && Clock::now() < deadline; AdvanceJobs()) rest();
  queue_.SetState(IPCQUEUE_CLOSE);
  while (queue_.AnswersUnread(Clock::now()) && Clock::now() < deadline) rest();
}

std::vector<ServedRequest> StandInEngine::Requests() const {
  const std::lock_guard<std::mutex> lock(requests_mutex_);
  return requests_;
}
