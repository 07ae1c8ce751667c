// What the endurance programs share: the stand-in engine as a process that repeats each request in its
// answer, and a request to be repeated.
#pragma once

#include <fcntl.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <csignal>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <string>

#include "contract/message.h"

namespace mar::bench {

// Returns once the engine answers, with `fault` (mar-standin(1), --fault) besides its echo. What it prints is
// dropped.
inline pid_t start_engine(const char* program, const char* slots, const char* fault = "*:echo") {
  int ready[2];
  if (pipe(ready) != 0) std::abort();
  const pid_t engine = fork();
  if (engine == 0) {
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    dup2(open("/dev/null", O_WRONLY | O_CLOEXEC), STDOUT_FILENO);
    const std::string ready_fd = std::to_string(ready[1]);
    execl(program, program, "--quiet", "--slots", slots, "--fault", "*:echo", "--fault", fault, "--ready-fd",
          ready_fd.c_str(), nullptr);
    _exit(127);
  }
  close(ready[1]);
  char byte = 0;
  if (read(ready[0], &byte, 1) != 1) std::abort();
  close(ready[0]);
  return engine;
}

inline void end_engine(pid_t engine, int signal) {
  kill(engine, signal);
  waitpid(engine, nullptr, 0);
}

// A command whose answer is an answer's header, the sender's identity and the same two numbers.
class EchoRequest {
 public:
  EchoRequest(uint32_t first, uint32_t second) : numbers_{first, second} {
    std::memcpy(bytes_ + kRequestHeaderSize, numbers_, sizeof numbers_);
  }
  const uint8_t* data() const { return bytes_; }
  int size() const { return sizeof bytes_; }
  bool is_repeated_in(const uint8_t* reply) const {
    return std::memcmp(reply + kEchoOffset, numbers_, sizeof numbers_) == 0;
  }

 private:
  static constexpr size_t kEchoOffset = 16;  // in the answer, past its header and the identity

  uint32_t numbers_[2];
  uint8_t bytes_[16] = {0, 0, 0, 0, 0, 0, 0, 127};
};

}  // namespace mar::bench
