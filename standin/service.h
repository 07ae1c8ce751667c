// The stand-in engine: owns the command queue, decides requests and answers each of them exactly once, or
// misbehaves as told.
//
//   StandInEngine engine(options);
//   engine.start();                                     // from here on clients can come
//   std::thread server([&engine] { engine.run(); });    // or run() on the main thread of a child process
//   ...
//   engine.stop();
//   server.join();                                      // all kernel objects and files are gone
//
// Requests are decided in the order in which they come. Answers do not hold each other up: one that is late,
// long or short of room makes progress beside the others.
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <functional>
#include <list>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "contract/message.h"
#include "contract/names.h"
#include "standin/decisions.h"
#include "standin/faults.h"
#include "standin/queue_owner.h"
#include "standin/recording.h"
#include "standin/served_request.h"
#include "standin/withdrawals.h"
#include "util/outcome.h"

namespace mar::standin {

enum class Notice {
  kDetail,   // part of normal work
  kProblem,  // something went wrong; the engine goes on unless run() returns false
};

// The clock that the serving loop reads, and how it lets time pass. A simulation hands in its own.
struct EngineTime {
  std::function<QueueOwner::Moment()> now = std::chrono::steady_clock::now;
  std::function<void(std::chrono::microseconds)> rest = [](std::chrono::microseconds time) {
    std::this_thread::sleep_for(time);
  };
};

struct EngineOptions {
  std::string name = CLI_IPC_NAME;
  uint16_t slots = 16;
  FaultPlan faults;
  Recording replay;  // answers to give again; --fault adds to them
  int answer_patience_ms =
      5000;  // how long one record of an answer waits for room, and for a sign of its client
  bool keep_requests = false;  // for requests(); memory grows with each one
  EngineTime time;

  // Called on the serving thread; on_request and on_dump before the answer is put. May be empty.
  std::function<void(const ServedRequest&)> on_request;
  std::function<void(const EngineState&)> on_dump;
  std::function<void(Notice, const std::string&)> on_notice;
};

class StandInEngine {
 public:
  explicit StandInEngine(EngineOptions options);

  // Makes the queue; see QueueOwner::create. The calling process is the queue's creator.
  Outcome<> start();

  // Serves until stop(), an accepted stop request or a fault ends it. Then answers the pending requests,
  // gives living clients time to read their answers, at most 2 seconds for both, and removes the queue.
  // Returns false if another process has removed the queue.
  bool run();

  // Ends run(). Any thread, between start() and the end of the object.
  void stop();

  // Ends run() at the next upkeep, at most 250 ms later. For signal handlers.
  void stop_soon() { stop_ = true; }

  std::vector<ServedRequest> requests() const;  // any thread

 private:
  using Moment = QueueOwner::Moment;

  static constexpr std::chrono::microseconds kShortestPause{100};

  struct PendingAnswer {
    _TIPCIdentifier client;
    FaultEffects effects;
    Answer answer;
    Moment due;      // not before
    Moment give_up;  // moves on with every record that is put
    TCLIMessage record = {};
    bool record_waits = false;  // `record` has not been put yet
  };

  enum class Progress { kDone, kWaits, kImpossible };

  // The serving loop: service.cc.
  bool wait_for_work();
  void take_requests();
  void accept(const TCLIMessage& request);
  int32_t result_for(const TCLIMessage& request, FaultEffects& effects);
  void keep_full();
  void do_upkeep();
  long recover_slots();
  void end();
  Moment now() const { return options_.time.now(); }
  void notify(Notice notice, const std::string& text) const;

  // Answers: service_answers.cc.
  void advance_answers();
  bool advance(PendingAnswer& pending);
  void hold_lock(int time_ms);
  Progress answer_client(PendingAnswer& pending, std::string& reason);
  Progress put_records(PendingAnswer& pending, std::string& reason);
  long put_record(const PendingAnswer& pending);
  void give_up(_TIPCIdentifier client, const std::string& reason);

  EngineOptions options_;
  QueueOwner queue_;
  Withdrawals withdrawals_;
  EngineState state_;
  std::list<PendingAnswer> answers_;
  std::chrono::microseconds pause_{};  // before the next round, while blocked_
  bool blocked_ = false;               // an answer that is due could not be finished in the last round
  bool full_ = false;                  // keep every slot taken
  bool ending_ = false;                // do not wait for signs of life
  bool damaged_ = false;               // a chain was broken at the last recovery
  Moment next_recovery_;
  uint64_t served_ = 0;
  std::atomic<bool> stop_ = false;

  mutable std::mutex requests_mutex_;
  std::vector<ServedRequest> requests_;  // guarded by requests_mutex_
};

}  // namespace mar::standin
