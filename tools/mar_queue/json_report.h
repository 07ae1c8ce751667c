// The same for programs: one JSON object on one line.
#pragma once

#include <string>

#include "tools/mar_queue/check.h"
#include "tools/mar_queue/finding.h"
#include "tools/mar_queue/snapshot.h"

// {"command", "exit", "control_file", "findings": [{"severity", "code", "text"}], "queue": null or an object
// with the header's fields, slot use and all heads}. checked: null, or the check of the snapshot's image.
std::string json_report(const std::string& command, const Snapshot& snapshot, const CheckResult* checked,
                        const Findings& findings);
