// The report for programs: one JSON object on one line.
#pragma once

#include <string>

#include "tools/mar_queue/check.h"
#include "tools/mar_queue/finding.h"
#include "tools/mar_queue/snapshot.h"

namespace mar::queue_tool {

// {"command", "exit", "control_file", "findings": [{"severity", "code", "text"}], "queue": null or an object
// with the header's fields, the use of the slots, and all heads}. checked: the check of the snapshot's image,
// or null.
std::string json_report(const std::string& command, const Snapshot& snapshot, const CheckResult* checked,
                        const Findings& findings);

}  // namespace mar::queue_tool
