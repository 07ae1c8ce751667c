// What the log and the trace writer share: how they open a file by its name, and how their calls leave
// the caller undisturbed. The log's names are UTF-8; the trace takes its path as it stands in the
// system's own configuration.
#pragma once

#include <pthread.h>
#include <signal.h>
#include <sys/types.h>

#include <cerrno>

namespace mar {

// open with close-on-exec, restarted when a signal interrupts it. Never waits for the other end of a FIFO:
// one without a reader cannot be opened for writing. Does wait for a lease on a regular file (fcntl
// F_SETLEASE), until its holder gives it up or the kernel breaks it, /proc/sys/fs/lease-break-time later.
// Return the descriptor, or -1 with errno set.
int open_path(const char* path, int flags, mode_t mode);
int open_utf8_path(const char* path, int flags, mode_t mode);

// Ignores SIGXFSZ for the process if its action is the default one, which is to kill: a write past
// RLIMIT_FSIZE then merely fails. Done once, when log or trace is set up, because blocking the signal
// around each write would cost two system calls a line. A program's own handler stays; child processes
// inherit the ignored signal.
void survive_file_size_limit();

// For a scope, the calling thread is not cancelled: cancelled in a call that opens or writes, it would leave
// the log mutex locked or a descriptor open. Costs no system call.
class CancellationDeferred {
 public:
  CancellationDeferred() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state_before_); }
  ~CancellationDeferred() { pthread_setcancelstate(state_before_, nullptr); }
  CancellationDeferred(const CancellationDeferred&) = delete;
  CancellationDeferred& operator=(const CancellationDeferred&) = delete;

 private:
  int state_before_ = 0;
};

// What every call that logs or traces does for its caller: it restores errno and defers cancellation.
class CallerUndisturbed {
 public:
  CallerUndisturbed() = default;
  ~CallerUndisturbed() { errno = errno_before_; }
  CallerUndisturbed(const CallerUndisturbed&) = delete;
  CallerUndisturbed& operator=(const CallerUndisturbed&) = delete;

 private:
  int errno_before_ = errno;
  CancellationDeferred deferred_;
};

// For a scope, a write to a pipe without a reader fails with EPIPE but raises no SIGPIPE.
// Changes only the calling thread's mask, never the process's signal settings; a SIGPIPE that
// was already pending stays pending.
class SigpipeHeldBack {
 public:
  SigpipeHeldBack();
  ~SigpipeHeldBack();
  SigpipeHeldBack(const SigpipeHeldBack&) = delete;
  SigpipeHeldBack& operator=(const SigpipeHeldBack&) = delete;

 private:
  bool pending_before_;
  sigset_t mask_before_;
};

}  // namespace mar
