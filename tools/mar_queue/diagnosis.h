// Why a client gets an answer from the engine, or why not: every reason told apart, in one sentence that says
// what to do.
#pragma once

#include <optional>

#include "tools/mar_queue/check.h"
#include "tools/mar_queue/finding.h"
#include "tools/mar_queue/snapshot.h"

// The first finding is the answer; what follows adds to it. `checked` belongs to the snapshot's image.
Findings diagnose(const Snapshot& snapshot, const std::optional<CheckResult>& checked);

// Why nothing can be said about the inside of the queue; empty if there is an image.
Findings why_no_image(const Snapshot& snapshot);
