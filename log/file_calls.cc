#include "log/file_calls.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>

#include "util/utf8_files.h"

namespace {

template <typename Open>
int open_safely(Open open_named, const char* path, int flags, mode_t mode) {
  int fd;
  do {
    fd = open_named(path, flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, mode);
  } while (fd == -1 && errno == EINTR);
  return fd;
}

}  // namespace

int open_path(const char* path, int flags, mode_t mode) { return open_safely(open, path, flags, mode); }

int open_utf8_path(const char* path, int flags, mode_t mode) {
  return open_safely(utf8_open, path, flags, mode);
}

void survive_file_size_limit() {
  struct sigaction action {};
  if (sigaction(SIGXFSZ, nullptr, &action) != 0) return;
  if ((action.sa_flags & SA_SIGINFO) != 0 || action.sa_handler != SIG_DFL) return;
  action.sa_handler = SIG_IGN;
  sigaction(SIGXFSZ, &action, nullptr);
}
