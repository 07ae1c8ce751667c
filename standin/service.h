// The stand-in engine: owns the command queue, decides requests and answers each exactly once, or misbehaves
// as told.
//
//   StandInEngine engine(options);
//   engine.Start();                                     // from here on clients can come
//   std::thread server([&engine] { engine.Run(); });    // or Run() on the main thread of a child process
//   ...
//   engine.Stop();
//   server.join();                                      // all kernel objects and files are gone
//
// Requests are decided in the order in which they come. Their answers do not hold each other up: one that is
// late, long or finds no room is carried on beside the others.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
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
  int answer_patience_ms = 5000;  // how long one record of an answer waits for room, and for its client
  bool keep_requests = false;     // for Requests(); memory grows with them

  // Called on the serving thread, on_request before the answer is put. May be empty.
  std::function<void(const ServedRequest&)> on_request;
  std::function<void(const EngineState&)> on_dump;
  std::function<void(Notice, const std::string&)> on_notice;
};

class StandInEngine {
 public:
  explicit StandInEngine(EngineOptions options);

  // Makes the queue; see QueueOwner::Create. The calling process is the queue's creator.
  mar::Outcome<> Start();

  // Serves until it is stopped by Stop, an accepted stop request or a fault; then finishes what it has been
  // asked, gives living clients time to read it, 2 seconds at most for both, and removes the queue. False
  // when somebody else took the queue away.
  bool Run();

  // Ends Run. Any thread, after Start and before the engine goes.
  void Stop();

  // The same, but takes effect at the next look round, at most 250 ms later. For signal handlers.
  void StopSoon() { stop_ = true; }

  std::vector<ServedRequest> Requests() const;  // any thread

 private:
  using Clock = std::chrono::steady_clock;

  // An answer under way.
  struct Job {
    _TIPCIdentifier client;
    FaultEffects effects;
    Answer answer;
    Clock::time_point due;      // not before
    Clock::time_point give_up;  // moves on with every record that is put
    TCLIMessage record = {};
    bool record_waits = false;  // for room
  };

  // A client whose answer was given up. Its reader is to fail, now or when it comes to wait.
  struct Withdrawal {
    _TIPCIdentifier client;
    Clock::time_point forget;                       // a client that does not seem to live by then
    std::optional<Clock::time_point> restore = {};  // once its head is withdrawn: when to look at it again
  };

  void TakeRequests();
  void Accept(const TCLIMessage& request);
  void AdvanceJobs();
  bool Advance(Job& job);
  bool AnswerClient(Job& job, std::string& wrong);
  bool PutRecords(Job& job, std::string& wrong);
  long PutRecord(const Job& job);
  void GiveUp(_TIPCIdentifier client, const std::string& why);
  bool Settle(Withdrawal& withdrawal);
  long Recover();
  bool Rest();
  void StayFull();
  void LookRound();
  void End();
  void Tell(Notice notice, const std::string& text) const;

  EngineOptions options_;
  QueueOwner queue_;
  EngineModel model_;
  std::list<Job> jobs_;
  std::vector<Withdrawal> withdrawals_;
  bool blocked_ = false;  // a job that is due could not be finished in the last round
  int rest_us_ = 0;       // before the next round, while blocked
  bool full_ = false;     // keeps every slot taken
  bool ending_ = false;   // no time to wait for clients that do not seem to live
  bool damaged_ = false;  // a chain is broken, as last reported
  Clock::time_point next_recovery_;
  uint64_t served_ = 0;
  std::atomic<bool> stop_ = false;

  mutable std::mutex requests_mutex_;
  std::vector<ServedRequest> requests_;  // guarded by requests_mutex_
};
