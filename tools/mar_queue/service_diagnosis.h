// What keeps a living engine's queue from serving a client.
#pragma once

#include "tools/mar_queue/check.h"
#include "tools/mar_queue/finding.h"
#include "tools/mar_queue/snapshot.h"

namespace mar::queue_tool {

// The snapshot has an image and a living creator.
Findings diagnose_service(const Snapshot& snapshot, const CheckResult& checked);

// Adds what is worth knowing in any case.
void add_notes(const Snapshot& snapshot, const CheckResult& checked, Findings& findings);

}  // namespace mar::queue_tool
