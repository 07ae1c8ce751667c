// Runs a program as an operator does: as a process of its own, with its standard output in a pipe.
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <string>
#include <vector>

namespace mar {

class Program {
 public:
  // `environment` entries ("NAME=value") are added to the test's own.
  explicit Program(const std::vector<std::string>& command,
                   const std::vector<std::string>& environment = {}) {
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0) return;
    pid_ = fork();
    if (pid_ == 0) {
      dup2(ends[1], STDOUT_FILENO);
      for (const auto& entry : environment) putenv(const_cast<char*>(entry.c_str()));
      std::vector<char*> arguments;
      for (const auto& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
      arguments.push_back(nullptr);
      execvp(arguments[0], arguments.data());
      _exit(126);
    }
    close(ends[1]);
    output_ = ends[0];
  }
  ~Program() {
    if (pid_ > 0) kill(pid_, SIGKILL);
    status();
    close_output();
  }
  Program(const Program&) = delete;
  Program& operator=(const Program&) = delete;

  pid_t pid() const { return pid_; }

  // The next line of output without its line end. Empty when there is no more.
  std::string line() {
    std::string text;
    char byte = 0;
    while (read(output_, &byte, 1) == 1 && byte != '\n') text += byte;
    return text;
  }
  // The rest of the output.
  std::string output() {
    std::string text;
    char bytes[4096];
    ssize_t count = 0;
    while ((count = read(output_, bytes, sizeof bytes)) > 0) text.append(bytes, static_cast<size_t>(count));
    return text;
  }
  // Closes the reading end of the pipe, as a reader that leaves early does.
  void close_output() {
    if (output_ >= 0) close(output_);
    output_ = -1;
  }
  // Waits until the program has ended. Returns its exit status, or 128 plus the number of the signal that
  // ended it.
  int status() {
    if (pid_ > 0) {
      int ended = 0;
      waitpid(pid_, &ended, 0);
      status_ = WIFEXITED(ended) ? WEXITSTATUS(ended) : 128 + WTERMSIG(ended);
      pid_ = -1;
    }
    return status_;
  }

 private:
  pid_t pid_ = -1;
  int output_ = -1;
  int status_ = -1;
};

}  // namespace mar
