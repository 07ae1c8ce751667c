// The queue drawn for a terminal of 80 columns.
#pragma once

#include <string>

#include "tools/mar_queue/check.h"
#include "tools/mar_queue/snapshot.h"

const char* state_name(uint8_t head_state);    // "idle", ...
const char* queue_state_name(uint32_t state);  // "open", ...
const char* owner_name(Owner owner);           // "engine", ...
bool worth_a_line(const _TIPCHeadItem& head,
                  const HeadUse& use);  // not one of the many that are just free to take

// The snapshot has an image, `checked` is its check.
std::string picture(const Snapshot& snapshot, const CheckResult& checked);
