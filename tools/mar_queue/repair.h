// The two commands that change something, and only when told to. Nothing here sets the value of a semaphore:
// that would clear the undo values of the processes that hold it.
#pragma once

#include "tools/mar_queue/check.h"
#include "tools/mar_queue/finding.h"
#include "tools/mar_queue/snapshot.h"

namespace mar::queue_tool {

// Frees the heads that ended processes hold, returns lost slots to the free list and corrects the count of
// queued items. Unless `really`, only reports what it would do; that is trouble, as is damage that it cannot
// repair. The snapshot has an image.
Findings reap(const Snapshot& snapshot, const CheckResult& checked, bool really);

// Removes the segment and the semaphore sets of a dead creator; never those of a living one, nor objects that
// are not a queue's. The control file stays.
Findings remove_stale(const Snapshot& snapshot, bool really);

}  // namespace mar::queue_tool
