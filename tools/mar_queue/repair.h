// The two commands that change something, and only when they are told to. Nothing here ever sets the value of
// a semaphore: that would clear the undo of those who hold it.
#pragma once

#include "tools/mar_queue/check.h"
#include "tools/mar_queue/finding.h"
#include "tools/mar_queue/snapshot.h"

// Frees the heads that ended processes hold, returns slots that are on no chain to the free list and corrects
// the count of queued items. Without `really` only tells what it would do; that is trouble, as is what cannot
// be done. The snapshot has an image.
Findings reap(const Snapshot& snapshot, const CheckResult& checked, bool really);

// Removes segment and semaphore sets of a dead creator, never those of a living one or what is not a queue's.
// The control file stays.
Findings remove_stale(const Snapshot& snapshot, bool really);
