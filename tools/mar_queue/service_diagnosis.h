// What keeps a living engine's queue from serving a client.
#pragma once

#include "tools/mar_queue/check.h"
#include "tools/mar_queue/finding.h"
#include "tools/mar_queue/snapshot.h"

// The snapshot has an image and a living creator.
Findings diagnose_service(const Snapshot& snapshot, const CheckResult& checked);

// What is worth knowing in any case.
void add_notes(const Snapshot& snapshot, const CheckResult& checked, Findings& findings);
