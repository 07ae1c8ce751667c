#include "tests/support/system_calls.h"

#include <signal.h>
#include <sys/ptrace.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdint>

namespace mar {

namespace {

[[noreturn]] void run_traced(const std::function<void()>& work) {
  alarm(20);
  ptrace(PTRACE_TRACEME, 0, nullptr, nullptr);
  kill(getpid(), SIGSTOP);
  work();
  syscall(SYS_exit_group, 0);  // _exit would let a sanitizer make calls of its own
  __builtin_unreachable();
}

// Lets the child run to its next stop, after it has received the signal `deliver` (0: none).
bool next_stop(pid_t child, int deliver, int* status) {
  if (ptrace(PTRACE_SYSCALL, child, nullptr, static_cast<uintptr_t>(deliver)) != 0) return false;
  return waitpid(child, status, 0) == child && WIFSTOPPED(*status);
}

}  // namespace

std::vector<long> system_calls_of(const std::function<void()>& work) {
  std::vector<long> calls;
  const pid_t child = fork();
  if (child == 0) run_traced(work);
  int status = 0;
  waitpid(child, &status, 0);
  ptrace(PTRACE_SETOPTIONS, child, nullptr, uintptr_t{PTRACE_O_TRACESYSGOOD | PTRACE_O_EXITKILL});
  int deliver = 0;
  while (next_stop(child, deliver, &status)) {
    deliver = WSTOPSIG(status);
    if (deliver != (SIGTRAP | 0x80)) continue;
    deliver = 0;
    __ptrace_syscall_info call{};
    ptrace(PTRACE_GET_SYSCALL_INFO, child, sizeof call, &call);
    if (call.op == PTRACE_SYSCALL_INFO_ENTRY) calls.push_back(static_cast<long>(call.entry.nr));
  }
  if (WIFSIGNALED(status)) {
    calls.push_back(-1);
  } else if (!calls.empty()) {
    calls.pop_back();  // the child's exit
  }
  return calls;
}

}  // namespace mar
