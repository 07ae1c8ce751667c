// A snapshot as a drawing for a terminal of 80 columns, and as JSON for programs.
#pragma once

#include <optional>
#include <string>

#include "tools/mar_queue/check.h"
#include "tools/mar_queue/finding.h"
#include "tools/mar_queue/snapshot.h"

namespace mar::queue_tool {

const char* head_state_name(uint8_t state);    // "idle", ...
const char* queue_state_name(uint32_t state);  // "open", ...
const char* owner_name(Owner owner);           // "engine", ...

// The snapshot has an image; `checked` is its check.
std::string draw(const Snapshot& snapshot, const CheckResult& checked);

// One object on one line: {"command", "exit", "control_file", "findings": [{"severity", "code", "text"}],
// "queue": null or an object with the header's fields, the use of the slots, and all heads}. `checked` is the
// check of the image, or null. With `round_trip_ms` there is a member of that name too.
std::string json_report(const std::string& command, const Snapshot& snapshot, const CheckResult* checked,
                        const Findings& findings, std::optional<double> round_trip_ms);

}  // namespace mar::queue_tool
