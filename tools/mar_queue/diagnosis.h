// Why a client is answered by the engine, or why not: every cause told apart, in one
// sentence that says what to do.
#pragma once

#include <optional>

#include "tools/mar_queue/check.h"
#include "tools/mar_queue/finding.h"
#include "tools/mar_queue/snapshot.h"

namespace mar::queue_tool {

// The first finding is the answer; the others add to it. `checked` is the check of the snapshot's image.
Findings diagnose(const Snapshot& snapshot, const std::optional<CheckResult>& checked);

// Why the inside of the queue cannot be seen; empty if the snapshot has an image.
Findings explain_missing_image(const Snapshot& snapshot);

// What keeps a living engine's queue from serving a client. The snapshot has an image and a living creator.
Findings diagnose_service(const Snapshot& snapshot, const CheckResult& checked);

// Adds what is worth knowing in any case.
void add_notes(const Snapshot& snapshot, const CheckResult& checked, Findings& findings);

}  // namespace mar::queue_tool
