// What `reap` can repair. Decided here alone: `reap` does it, and `status` promises nothing else.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tools/mar_queue/check.h"
#include "tools/mar_queue/finding.h"
#include "tools/mar_queue/snapshot.h"

struct RepairPlan {
  std::optional<Finding> obstacle;  // why nothing can be repaired now
  std::vector<uint16_t> heads;      // of ended processes, to be freed
  Findings repairable;              // damage that goes away
  Findings lasting;                 // damage that stays
  uint32_t messages = 0;            // that go with the heads

  bool nothing_to_do() const { return heads.empty() && repairable.empty(); }
};

// The snapshot has an image, `checked` is its check.
RepairPlan plan_repair(const Snapshot& snapshot, const CheckResult& checked);

// Whether only a new start of the engine ends this damage, and not the end of a client.
bool needs_restart(const Finding& damage);
