// Gives the process kernel IPC objects and a /var of its own, so that a test may create queues and control
// files under their real names without meeting a running engine or another test.
#pragma once

namespace mar {

// Moves the process into new IPC and mount namespaces, and into a user namespace if it may not make them
// otherwise. There /var shows the host's directories and two new, empty ones: /var/zarn and /var/qxo. Both
// vanish with the last process of the namespace, as do all its System V objects. Call it before any thread is
// started. If the system refuses, prints the reason and the remedy on standard error and returns false: the
// test has failed. A test that skipped itself here would let the whole suite pass without running.
[[nodiscard]] bool isolate_process();

}  // namespace mar
