// Misbehaviour on demand. A fault is written WHEN:WHAT[,WHAT...], for example
//   add-edge-policy#2:result=-5     refuse the second policy
//   *%10:delay=50                   answer one request in ten 50 ms late
//   stop-engine:die-after           be killed just after answering a stop request
//   start:full                      have a full queue before the first client comes
// WHEN is a message name, its code, * for every request, or start. #n picks the n-th of these
// requests only, #n-m the n-th to the m-th, and #n- the n-th and all later ones; %p picks each with a chance
// of p percent, drawn from a seed, so the same requests meet the same faults again.
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

namespace mar::standin {

enum class Death { kNone, kBeforeAnswer, kAfterAnswer };

// What happens to one request, or at the start.
struct FaultEffects {
  std::optional<int32_t> result;  // instead of a decision; the request then changes nothing
  AnswerShape answer;             // its result is not used
  int delay_ms = 0;               // before the answer
  int hold_lock_ms = 0;           // the queue's lock is held so long before the answer
  bool no_answer = false;
  bool withdraw = false;             // the client's head is withdrawn while it waits; no answer
  bool fill_queue = false;           // from the answer on, every free slot is taken
  bool stop = false;                 // the engine ends after the answer
  Death death = Death::kNone;        // by SIGKILL
  std::optional<TQueueState> state;  // set instead of answering
  std::string remark;                // the text of the faults that apply
  std::string text;                  // their part after the colon
};

// A row of the table of faults, from which the help text is made too.
struct FaultAction {
  std::string_view name;
  std::string_view value;  // name of the value that follows "=", or empty
  std::string_view help;
  std::string_view example;
  int64_t minimum;
  int64_t maximum;
  void (*apply)(FaultEffects& effects, int64_t value);
};
std::span<const FaultAction> fault_actions();

// What a fault does: WHAT[,WHAT...].
class FaultActions {
 public:
  static Outcome<FaultActions> parse(std::string_view text);

  void apply_to(FaultEffects& effects) const;
  std::string_view first_for_requests() const;  // the first without a meaning before requests come, or empty

 private:
  struct Applied {
    const FaultAction* action;
    int64_t value;
  };
  std::vector<Applied> actions_;
  std::string text_;
};

class FaultPlan {
 public:
  FaultPlan() : FaultPlan(1) {}
  explicit FaultPlan(uint64_t seed) : random_(seed) {}

  // Adds the fault that `text` describes, or says what is wrong with the text.
  Outcome<> add(std::string_view text);

  // Adds the effects of all faults that match to `effects`, and counts the request. If two contradict each
  // other, the later one holds.
  FaultEffects for_request(uint32_t code, FaultEffects effects = {});
  FaultEffects at_start() const;

 private:
  struct Fault {
    bool at_start = false;
    std::optional<uint32_t> code;  // none: every request
    uint64_t first = 1;            // of the requests that match `code`, counted from 1
    uint64_t last = UINT64_MAX;
    uint64_t percent = 100;
    FaultActions actions;
    std::string text;
    uint64_t seen = 0;  // requests that match `code`
  };

  static Outcome<> parse_when(std::string_view when, Fault& fault);
  static void apply_to(FaultEffects& effects, const Fault& fault);

  std::vector<Fault> faults_;
  std::mt19937_64 random_;
};

}  // namespace mar::standin
