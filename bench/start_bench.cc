// t1 from start to exit, with an engine that answers, beside the least program that does the same. Prints the
// page faults of each, too. On one core, or with the engine on another. Compare copies of the programs: a
// file that the linker has written lies in the page cache in smaller pieces, and starts up to a tenth slower.
//   build/bench/bench/start_bench [--json FILE] one-core|two-cores MAR_STANDIN ONE_SHOT T1...
#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>

#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include "bench/echoing_engine.h"
#include "bench/side_by_side.h"
#include "contract/names.h"
#include "ipc/naming.h"
#include "tests/support/isolation.h"

namespace mar {

namespace {

// Runs a command to its end, its output dropped; returns its page faults that needed no input.
long run(const std::vector<std::string>& command) {
  std::vector<char*> arguments;
  for (const std::string& argument : command) arguments.push_back(const_cast<char*>(argument.c_str()));
  arguments.push_back(nullptr);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_addopen(&actions, STDOUT_FILENO, "/dev/null", O_WRONLY, 0);
  pid_t child = -1;
  if (posix_spawn(&child, arguments[0], &actions, nullptr, arguments.data(), environ) != 0) std::abort();
  posix_spawn_file_actions_destroy(&actions);
  int status = 0;
  rusage usage;
  if (wait4(child, &status, 0, &usage) != child || status != 0) {
    std::fprintf(stderr, "%s failed\n", arguments[0]);
    std::exit(1);
  }
  return usage.ru_minflt;
}

}  // namespace

}  // namespace mar

using namespace mar;

int main(int argc, char** argv) {
  Results results(argc, argv);
  if (argc < 5)
    return std::fputs("usage: start_bench one-core|two-cores MAR_STANDIN ONE_SHOT T1...\n", stderr), 2;
  const bool one_core = std::string(argv[1]) == "one-core";
  if (!isolate_process()) return 1;
  if (one_core) pin_to_core(0);
  const pid_t engine = bench::start_engine(argv[2], "50");
  if (!one_core) pin_to_core(0);
  IpcKeys keys;
  if (!impl_ipc_keys(CLI_IPC_NAME, keys)) return 1;

  std::vector<std::vector<std::string>> commands = {{argv[3], CLI_IPC_NAME}};
  for (const key_t key : {keys.segment_semaphores, keys.segment, keys.queue_semaphores})
    commands[0].push_back(std::to_string(key));
  for (int i = 4; i < argc; ++i) commands.push_back({argv[i], "dump"});

  std::vector<Competitor> competitors;
  for (const auto& command : commands) {
    competitors.push_back({command[0], [command] { run(command); }});
    std::printf("%ld page faults: %s\n", run(command), command[0].c_str());
  }
  side_by_side(results, one_core ? "From start to exit, one core" : "From start to exit, two cores",
               competitors, 1000, 1);
  bench::end_engine(engine, SIGTERM);
}
