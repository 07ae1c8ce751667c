#include "log/file_calls.h"

#include <errno.h>
#include <fcntl.h>
#include <signal.h>

int open_path(const char* path, int flags, mode_t mode) {
  int fd;
  do {
    fd = open(path, flags | O_CLOEXEC | O_NOCTTY | O_NONBLOCK, mode);
  } while (fd == -1 && errno == EINTR);
  return fd;
}

int stat_path(const char* path, struct stat* out) { return stat(path, out); }

int make_directory(const char* path, mode_t mode) { return mkdir(path, mode); }

void survive_file_size_limit() {
  struct sigaction action {};
  if (sigaction(SIGXFSZ, nullptr, &action) != 0) return;
  if ((action.sa_flags & SA_SIGINFO) != 0 || action.sa_handler != SIG_DFL) return;
  action.sa_handler = SIG_IGN;
  sigaction(SIGXFSZ, &action, nullptr);
}
