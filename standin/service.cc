#include "standin/service.h"

#include <unistd.h>

#include <chrono>
#include <csignal>
#include <thread>

#include "ipc/naming.h"
#include "standin/messages.h"

namespace {

using Clock = std::chrono::steady_clock;
using Milliseconds = std::chrono::milliseconds;

constexpr int kLookRoundMs = 250;  // how soon a signal and a dead client are noticed
constexpr int kRoomWaitMs = 10;
constexpr int kEndPatienceMs = 2000;
constexpr size_t kMaxBacklog = 4096;  // requests

std::string client_name(_TIPCIdentifier client) {
  return std::to_string(client.process_id) + '/' + std::to_string(client.thread_id);
}

bool is_nobody(_TIPCIdentifier client) {
  return CIPCUtils::sameIPCIdentifiers(client, ZARNENGINE_ID) ||
         CIPCUtils::sameIPCIdentifiers(client, NULL_IPC_ID);
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

std::string StandInEngine::Start() {
  std::string wrong = queue_.Create();
  if (wrong.empty()) ApplyAtStart();
  return wrong;
}

void StandInEngine::ApplyAtStart() {
  const FaultEffects effects = options_.faults.AtStart();
  if (effects.fill_queue) queue_.Fill();
  if (effects.state) queue_.SetState(*effects.state);
}

void StandInEngine::Stop() {
  stop_ = true;
  queue_.Wake();
}

bool StandInEngine::Run() {
  auto next_reaping = Clock::now();
  bool served_to_the_end = true;
  while (!stop_) {
    if (!queue_.WaitForRequest(kLookRoundMs)) {
      Tell(Notice::kProblem, "somebody took the queue away");
      served_to_the_end = false;
      break;
    }
    ServeQueued();
    if (Clock::now() < next_reaping) continue;
    Reap();
    next_reaping = Clock::now() + Milliseconds(kLookRoundMs);
  }
  End();
  return served_to_the_end;
}

// Everything that is queued, whether posted or not, in the order of arrival.
void StandInEngine::ServeQueued() {
  do {
    Collect();
    if (backlog_.empty()) return;
    const TCLIMessage request = backlog_.front();
    backlog_.pop_front();
    Serve(request);
  } while (!stop_);
}

// Moves what is queued for the engine to the backlog: its slots are what answers need.
void StandInEngine::Collect() {
  while (backlog_.size() < kMaxBacklog) {
    TCLIMessage request;
    bool taken = false;
    const long code = queue_.TakeRequest(request, taken);
    if (code != 0) Tell(Notice::kProblem, "taking a request failed with " + std::to_string(code));
    if (!taken) return;
    backlog_.push_back(request);
  }
}

void StandInEngine::Serve(const TCLIMessage& request) {
  const uint32_t code = message_code(request);
  const FaultEffects effects = options_.faults.ForRequest(code);
  ServedRequest served{++served_, request, 0, effects.remark};
  served.result = effects.result ? *effects.result : model_.Apply(request);
  if (options_.on_request) options_.on_request(served);
  if (options_.on_dump && code == CMD_DUMP && served.result == MAR_OK) options_.on_dump(model_.state());
  AnswerShape shape = effects.answer;
  shape.result = served.result;
  if (options_.keep_requests) {
    const std::lock_guard<std::mutex> lock(requests_mutex_);
    requests_.push_back(std::move(served));
  }

  Pause(effects.delay_ms);
  if (effects.death == Death::kBeforeAnswer) die();
  if (effects.state) queue_.SetState(*effects.state);
  if (effects.withdraw) {
    WithdrawHead(request.sender);
  } else if (!effects.no_answer && !effects.state) {
    SendAnswer(request, shape);
  }
  if (effects.death == Death::kAfterAnswer) die();
  if (effects.fill_queue) queue_.Fill();
  if (effects.stop || model_.stop_requested()) stop_ = true;
}

void StandInEngine::SendAnswer(const TCLIMessage& request, const AnswerShape& shape) {
  const _TIPCIdentifier client = request.sender;
  std::string wrong;
  if (is_nobody(client)) {
    wrong = "its sender is no client";
  } else if (process_is_gone(client.process_id)) {
    wrong = "its sender is gone";
  }
  Answer answer(request, shape);
  TCLIMessage record;
  while (wrong.empty() && answer.Next(record)) {
    if (!PutRecord(client, record, wrong)) queue_.Discard(client);
  }
  if (!wrong.empty()) Tell(Notice::kProblem, "no answer to " + client_name(client) + ": " + wrong);
}

// Puts one record of an answer, waiting for room (or for a free head) while there is hope. What waits in the engine's own
// head is taken out meanwhile, and dead clients' heads are freed.
bool StandInEngine::PutRecord(_TIPCIdentifier client, const TCLIMessage& record, std::string& wrong) {
  const auto deadline = Clock::now() + Milliseconds(options_.answer_patience_ms);
  for (;;) {
    const long code = queue_.PutAnswer(client, record);
    if (code == 0) return true;
    if (code != QUEUE_OVERFLOW) wrong = "putting it failed with " + std::to_string(code);
    if (stop_) wrong = "the engine ends";
    if (Clock::now() >= deadline) wrong = "there is no room for it";
    if (process_is_gone(client.process_id)) wrong = "its sender has gone";
    if (!wrong.empty()) return false;
    Collect();
    Reap();
    queue_.WaitForRoom(kRoomWaitMs);
  }
}

// The reader must be waiting: before, its head's state would be overwritten when it begins to.
void StandInEngine::WithdrawHead(_TIPCIdentifier client) {
  while (!stop_ && !process_is_gone(client.process_id)) {
    if (queue_.Withdraw(client)) return;
    Pause(1);
  }
}

void StandInEngine::Pause(int duration_ms) const {
  const auto end = Clock::now() + Milliseconds(duration_ms);
  while (!stop_ && Clock::now() < end) {
    const auto left = std::chrono::duration_cast<Milliseconds>(end - Clock::now()) + Milliseconds(1);
    std::this_thread::sleep_for(std::min(left, Milliseconds(kRoomWaitMs)));
  }
}

void StandInEngine::Reap() {
  const int reaped = queue_.Reap();
  if (reaped > 0) Tell(Notice::kDetail, "freed " + std::to_string(reaped) + " heads of dead clients");
}

// No more requests; those who have been answered may still read.
void StandInEngine::End() {
  queue_.Unfill();
  queue_.SetState(IPCQUEUE_CLOSE);
  const auto deadline = Clock::now() + Milliseconds(kEndPatienceMs);
  while (queue_.AnswersUnread() && Clock::now() < deadline) std::this_thread::sleep_for(Milliseconds(1));
  queue_.Remove();
}

std::vector<ServedRequest> StandInEngine::Requests() const {
  const std::lock_guard<std::mutex> lock(requests_mutex_);
  return requests_;
}
