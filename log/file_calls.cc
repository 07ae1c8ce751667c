#include "log/file_calls.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <time.h>

#include "util/utf8_files.h"

namespace mar {
namespace {

bool is_regular(int stat_result, const struct stat& found) {
  return stat_result == 0 && S_ISREG(found.st_mode);
}

// O_NONBLOCK is meant for FIFOs. On a regular file it has one effect: an open that conflicts with another
// process's lease fails at once instead of waiting. Such a file is opened again without the flag.
template <typename Open, typename Stat>
int open_safely(Open open_named, Stat stat_named, const char* path, int flags, mode_t mode) {
  flags |= O_CLOEXEC | O_NOCTTY;
  const int fd = open_named(path, flags | O_NONBLOCK, mode);
  if (fd != -1 || errno != EWOULDBLOCK) return fd;
  struct stat found {};
  if (is_regular(stat_named(path, &found), found)) return open_named(path, flags, mode);
  errno = EWOULDBLOCK;
  return -1;
}

int open_restarted(const char* path, int flags, mode_t mode) {
  int fd;
  do {
    fd = open(path, flags, mode);
  } while (fd == -1 && errno == EINTR);
  return fd;
}

sigset_t only_sigpipe() {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, SIGPIPE);
  return set;
}

bool sigpipe_is_pending() {
  sigset_t pending;
  return sigpending(&pending) == 0 && sigismember(&pending, SIGPIPE) == 1;
}

}  // namespace

int open_path(const char* path, int flags, mode_t mode) {
  return open_safely(open_restarted, stat, path, flags, mode);
}

int open_utf8_path(const char* path, int flags, mode_t mode) {
  return open_safely(utf8_open, utf8_stat, path, flags, mode);
}

void survive_file_size_limit() {
  struct sigaction action {};
  if (sigaction(SIGXFSZ, nullptr, &action) != 0) return;
  if ((action.sa_flags & SA_SIGINFO) != 0 || action.sa_handler != SIG_DFL) return;
  action.sa_handler = SIG_IGN;
  sigaction(SIGXFSZ, &action, nullptr);
}

SigpipeHeldBack::SigpipeHeldBack() : pending_before_(sigpipe_is_pending()) {
  const sigset_t sigpipe = only_sigpipe();
  pthread_sigmask(SIG_BLOCK, &sigpipe, &mask_before_);
}

SigpipeHeldBack::~SigpipeHeldBack() {
  const int error = errno;
  const sigset_t sigpipe = only_sigpipe();
  const timespec at_once{};
  while (!pending_before_ && sigtimedwait(&sigpipe, nullptr, &at_once) == -1 && errno == EINTR) continue;
  pthread_sigmask(SIG_SETMASK, &mask_before_, nullptr);
  errno = error;
}

}  // namespace mar
