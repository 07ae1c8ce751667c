// What the log and the trace writer share: how they open a file by its name, and how a call of theirs leaves
// its caller undisturbed. The log's names are UTF-8; the trace takes its path from the system's own
// configuration, as it stands there.
#pragma once

#include <pthread.h>
#include <signal.h>
#include <sys/types.h>

#include <cerrno>

// open, close-on-exec and restarted when a signal interrupts it. Never waits for the other end of a FIFO: one
// without a reader cannot be opened for writing. Waits for a lease on a regular file (fcntl F_SETLEASE) until
// its holder gives it up or the kernel takes it back, /proc/sys/fs/lease-break-time later.
// Returns the descriptor, or -1 with errno set.
int open_path(const char* path, int flags, mode_t mode);
int open_utf8_path(const char* path, int flags, mode_t mode);

// Ignores SIGXFSZ for the process where its action is still the default one, which is to kill it: a write
// past RLIMIT_FSIZE then just fails. Done once when log or trace is set up, since blocking the signal around
// each write would cost two system calls a line. A program's own handler stays; children inherit the
// ignoring.
void survive_file_size_limit();

namespace mar {

// For a scope: the calling thread is not cancelled. Cancelled in a call that opens or writes, it would take
// the log mutex or a descriptor with it. Costs no system call.
class CancellationDeferred {
 public:
  CancellationDeferred() { pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &state_before_); }
  ~CancellationDeferred() { pthread_setcancelstate(state_before_, nullptr); }
  CancellationDeferred(const CancellationDeferred&) = delete;
  CancellationDeferred& operator=(const CancellationDeferred&) = delete;

 private:
  int state_before_ = 0;
};

// What every call that logs or traces leaves as it was: errno, and a thread that may be cancelled later.
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

// For a scope: a write to a pipe without a reader fails with EPIPE and raises no SIGPIPE. Only the calling
// thread's mask is touched, never the process's signal settings; a SIGPIPE that was pending before stays so.
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
