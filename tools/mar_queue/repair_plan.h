// What `reap` can repair. It is decided here alone: `reap` carries out the plan, and
// `status` promises nothing else.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tools/mar_queue/check.h"
#include "tools/mar_queue/finding.h"
#include "tools/mar_queue/snapshot.h"

namespace mar::queue_tool {

struct RepairPlan {
  std::optional<Finding> obstacle;  // why nothing can be repaired now
  std::vector<uint16_t> heads;      // of ended processes, to be freed
  uint32_t messages = 0;            // that are freed with them
  Findings repairable;              // damage that the repair removes
  Findings lasting;                 // damage that remains

  bool nothing_to_do() const { return heads.empty() && repairable.empty(); }
};

// The snapshot has an image; `checked` is its check.
RepairPlan plan_repair(const Snapshot& snapshot, const CheckResult& checked);

// Whether this damage lasts until the engine is restarted. Otherwise ending a client removes it.
bool needs_restart(const Finding& damage);

}  // namespace mar::queue_tool
