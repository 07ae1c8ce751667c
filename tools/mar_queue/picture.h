// The queue drawn for a terminal of 80 columns.
#pragma once

#include <string>

#include "tools/mar_queue/check.h"
#include "tools/mar_queue/snapshot.h"

namespace mar::queue_tool {

const char* head_state_name(uint8_t state);    // "idle", ...
const char* queue_state_name(uint32_t state);  // "open", ...
const char* owner_name(Owner owner);           // "engine", ...

// The snapshot has an image; `checked` is its check.
std::string draw(const Snapshot& snapshot, const CheckResult& checked);

}  // namespace mar::queue_tool
