// A forked process that runs a function. Its result comes back through a pipe, because an exit status holds
// only 8 bits.
#pragma once

#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <functional>
#include <thread>

#include "contract/identity.h"

namespace mar {

class Child {
 public:
  static constexpr long kNoResult = 0x7FFFFFFF;  // the child ended without a result

  explicit Child(const std::function<long()>& body) {
    int ends[2];
    if (pipe(ends) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      close(ends[0]);
      const long value = body();
      _exit(write(ends[1], &value, sizeof value) == sizeof value ? 0 : 1);
    }
    close(ends[1]);
    pipe_ = ends[0];
  }
  ~Child() {
    kill();
    close(pipe_);
  }
  Child(const Child&) = delete;
  Child& operator=(const Child&) = delete;

  pid_t pid() const { return pid_; }

  // Whether the body has ended, with or without a result.
  bool ended() const {
    pollfd end{pipe_, POLLIN, 0};
    return poll(&end, 1, 0) == 1;
  }
  // Waits until the body has ended.
  long result() {
    long value = kNoResult;
    if (read(pipe_, &value, sizeof value) != sizeof value) value = kNoResult;
    reap();
    return value;
  }
  void kill(int signal = SIGKILL) {
    if (pid_ > 0) ::kill(pid_, signal);
    reap();
  }

 private:
  void reap() {
    if (pid_ > 0) waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

  pid_t pid_ = -1;
  int pipe_ = -1;
};

// A queue user whose process has ended.
inline _TIPCIdentifier dead_process() {
  Child child([] { return 0; });
  const _TIPCIdentifier user{static_cast<uint32_t>(child.pid()), 1};
  child.result();
  return user;
}

// Polls until `condition` holds. Returns false if that takes more than ten seconds.
inline bool eventually(const std::function<bool()>& condition) {
  for (int tries = 0; tries < 5000; ++tries) {
    if (condition()) return true;
    std::this_thread::sleep_for(std::chrono::milliseconds(2));
  }
  return false;
}

}  // namespace mar
