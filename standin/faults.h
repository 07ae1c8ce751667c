// Misbehaviour on demand. A fault is written WHEN:WHAT[,WHAT...], for example
//   add-edge-policy#2:result=-5     the second policy is refused
//   *%10:delay=50                   one request in ten is answered 50 ms late
//   stop-engine:die-after           killed right after its answer to a stop
//   start:full                      full before the first client comes
// WHEN is a message name, its code or * for every request; #n picks the n-th of them only, %p each with a
// chance of p percent, drawn from a seed, so the same requests meet the same faults again.
#pragma once

#include <cstdint>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "contract/queue_layout.h"
#include "standin/answer.h"
#include "util/outcome.h"

enum class Death { kNone, kBeforeAnswer, kAfterAnswer };

// What is to happen to one request, or at the start.
struct FaultEffects {
  std::optional<int32_t> result;  // instead of deciding; the request then changes nothing
  AnswerShape answer;             // its result is not used
  int delay_ms = 0;               // before the answer
  bool no_answer = false;
  bool withdraw = false;             // the client's head is withdrawn while it waits; no answer
  bool fill_queue = false;           // from the answer on every slot that is free is taken
  bool stop = false;                 // the engine ends, after the answer
  Death death = Death::kNone;        // by SIGKILL
  std::optional<TQueueState> state;  // set before the answer, which then cannot be put
  std::string remark;                // the faults' own text
};

struct FaultAction {
  std::string_view name;
  std::string_view value;  // what stands after "=", or empty
  std::string_view help;
  std::string_view example;
  int64_t minimum;
  int64_t maximum;
  void (*apply)(FaultEffects& effects, int64_t value);
};
std::span<const FaultAction> fault_actions();

class FaultPlan {
 public:
  FaultPlan() : FaultPlan(1) {}
  explicit FaultPlan(uint64_t seed) : random_(seed) {}

  // Adds the fault that `text` describes, or says what is wrong with the text.
  mar::Outcome<> Add(std::string_view text);

  // What all matching faults do together; of two that contradict each other the later counts. Counts the
  // request.
  FaultEffects ForRequest(uint32_t code);
  FaultEffects AtStart() const;

 private:
  struct Applied {
    const FaultAction* action;
    int64_t value;
  };
  struct Fault {
    bool at_start = false;
    std::optional<uint32_t> code;
    uint64_t only_nth = 0;  // 0: all
    uint64_t percent = 100;
    std::vector<Applied> actions;
    std::string text;
    uint64_t seen = 0;  // requests that it might have hit
  };

  static mar::Outcome<> ParseWhen(std::string_view when, Fault& fault);
  static mar::Outcome<> ParseWhat(std::string_view what, Fault& fault);
  static void Apply(const Fault& fault, FaultEffects& effects);

  std::vector<Fault> faults_;
  std::mt19937_64 random_;
};
