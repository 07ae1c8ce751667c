// The stand-in engine: owns the command queue, decides requests and answers each exactly once, or misbehaves as told.
//
//   StandInEngine engine(options);
//   engine.Start();                                     // from here on clients can come
//   std::thread server([&engine] { engine.Run(); });    // or Run() on the main thread of a child process
//   ...
//   engine.Stop();
//   server.join();                                      // all kernel objects and files are gone
//
// Requests are served one after the other; a delayed or long answer holds up the next.
#pragma once

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <vector>

#include "contract/message.h"
#include "contract/names.h"
#include "standin/engine_model.h"
#include "standin/faults.h"
#include "standin/queue_owner.h"

struct ServedRequest {
  uint64_t number;  // from 1
  TCLIMessage record;
  int32_t result;
  std::string remark;  // faults that were applied to it
};

enum class Notice {
  kDetail,   // part of normal work
  kProblem,  // something went wrong, the engine goes on unless Run returns false
};

struct EngineOptions {
  std::string name = CLI_IPC_NAME;
  uint16_t slots = 16;
  FaultPlan faults;
  int answer_patience_ms = 5000;  // how long one record of an answer waits for room while its client lives
  bool keep_requests = false;     // for Requests(); memory grows with them

  // Called on the serving thread, on_request before the answer is put. May be empty.
  std::function<void(const ServedRequest&)> on_request;
  std::function<void(const EngineState&)> on_dump;
  std::function<void(Notice, const std::string&)> on_notice;
};

class StandInEngine {
 public:
  explicit StandInEngine(EngineOptions options);

  // Makes the queue. Returns what went wrong, or an empty text. The calling process is the queue's creator.
  std::string Start();

  // Serves until it is stopped by Stop, an accepted stop request or a fault, then waits up to 2 seconds until living
  // clients have read their answers, and removes the queue. False when somebody took the queue away.
  bool Run();

  // Ends Run. Any thread, after Start and before the engine goes.
  void Stop();

  // The same, but takes effect at the next look round, at most 250 ms later. For signal handlers.
  void StopSoon() { stop_ = true; }

  std::vector<ServedRequest> Requests() const;  // any thread

 private:
  void ServeQueued();
  void Collect();
  void Serve(const TCLIMessage& request);
  void SendAnswer(const TCLIMessage& request, const AnswerShape& shape);
  bool PutRecord(_TIPCIdentifier client, const TCLIMessage& record, std::string& wrong);
  void WithdrawHead(_TIPCIdentifier client);
  void ApplyAtStart();
  void End();
  void Pause(int duration_ms) const;
  void Reap();
  void Tell(Notice notice, const std::string& text) const;

  EngineOptions options_;
  QueueOwner queue_;
  EngineModel model_;
  std::deque<TCLIMessage> backlog_;  // taken from the queue to make room, not served yet
  uint64_t served_ = 0;
  std::atomic<bool> stop_ = false;

  mutable std::mutex requests_mutex_;
  std::vector<ServedRequest> requests_;  // guarded by requests_mutex_
};
