// Gives the process kernel IPC objects and a /var of its own, so that a test may create queues and control
// files under their real names without meeting a running engine or another test.
#pragma once

// Moves the process into new IPC and mount namespaces (and a user namespace unless it is root already). In
// them /var shows the host's directories and two new ones, the empty /var/zarn and /var/qxo; both vanish with
// the last process of the namespace, and so do all System V objects. Call it before any thread is started.
// Returns null, or the name of the step that the system refused, errno being set.
const char* isolate_process();
