// Endurance: client loops command the stand-in engine while one of them is killed each second, and in the end
// every living client has had its own answers, every slot and head is free, and the engine has not grown.
//   build/bench/bench/soak MAR_STANDIN [COMMANDS [LOOPS]]       1000000 commands from 8 loops unless told
//   otherwise
#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <string>
#include <thread>
#include <vector>

#include "bench/echoing_engine.h"
#include "contract/names.h"
#include "engine_client/exchange.h"
#include "ipc/naming.h"
#include "ipc/queue.h"
#include "tests/support/isolation.h"

using mar::bench::EchoRequest, mar::bench::end_engine, mar::bench::start_engine;

namespace {

constexpr char kSlots[] = "32";

struct Tally {
  std::atomic<long> commands, wrong;
};

// One command whose answer repeats its sender and payload.
bool command_echoed(uint32_t round) {
  const EchoRequest request(static_cast<uint32_t>(getpid()), round);
  uint8_t reply[CLI_MAX_BUFFER_SIZE];
  const _TIPCIdentifier self = GetIpcIdentifier(GetProcessID());
  return zarn_send_and_rcv(request.data(), request.size(), reply) == 1 &&
         std::memcmp(reply + 8, &self, 8) == 0 && request.is_repeated_in(reply);
}

pid_t start_loop(Tally& tally) {
  const pid_t loop = fork();
  if (loop != 0) return loop;
  prctl(PR_SET_PDEATHSIG, SIGKILL);
  for (uint32_t round = 0;; ++round) ++(command_echoed(round) ? tally.commands : tally.wrong);
}

long resident_kb(pid_t process) {
  std::ifstream status("/proc/" + std::to_string(process) + "/status");
  for (std::string word; status >> word;) {
    long kb = 0;
    if (word == "VmRSS:" && status >> kb) return kb;
  }
  return -1;
}

// Items queued and heads that are neither idle nor a channel, once the engine has had time to clear up.
void print_leftovers() {
  std::this_thread::sleep_for(std::chrono::seconds(1));
  CkesSharedMemory memory(CLI_IPC_NAME, false);
  const auto* bytes = static_cast<const uint8_t*>(memory.GetAddress());
  const auto* header = reinterpret_cast<const mar::QueueHeader*>(bytes);
  const uint64_t slots = mar::kCommandQueueLayout.capacity(memory.GetSize());
  uint64_t free = 0;
  for (uint32_t next = header->freeList; next != 0 && free <= slots; ++free) {
    std::memcpy(&next, bytes + next + sizeof(TCLIMessage), sizeof next);
  }
  int busy = 0;
  for (uint64_t i = 0; i < slots; ++i) {
    const auto* head =
        reinterpret_cast<const _TIPCHeadItem*>(bytes + mar::kCommandQueueLayout.head_offset(i));
    if (head->firstItem != 0 || (head->state != HEAD_IDLE && head->state != HEAD_CHANNEL)) ++busy;
  }
  std::printf("%u items queued, %lu of %lu slots free, %d heads busy\n", header->itemCount, free, slots,
              busy);
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return std::fprintf(stderr, "usage: soak MAR_STANDIN [COMMANDS [LOOPS]]\n"), 2;
  const long wanted = argc > 2 ? std::atol(argv[2]) : 1'000'000;
  const size_t loops = argc > 3 ? std::strtoul(argv[3], nullptr, 10) : 8;
  if (!mar::isolate_process()) return 1;
  auto& tally = *static_cast<Tally*>(
      mmap(nullptr, sizeof(Tally), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  const pid_t engine = start_engine(argv[1], kSlots);
  std::vector<pid_t> clients;
  for (size_t i = 0; i < loops; ++i) clients.push_back(start_loop(tally));
  const auto start = std::chrono::steady_clock::now();
  std::this_thread::sleep_for(std::chrono::seconds(1));
  const long resident_before_kb = resident_kb(engine);
  int killed = 0;
  for (; tally.commands < wanted; ++killed) {
    pid_t& victim = clients[static_cast<size_t>(killed) % loops];
    kill(victim, SIGKILL);
    waitpid(victim, nullptr, 0);
    victim = start_loop(tally);
    std::this_thread::sleep_for(std::chrono::seconds(1));
  }
  const std::chrono::duration<double> took = std::chrono::steady_clock::now() - start;
  for (const pid_t client : clients) kill(client, SIGKILL);
  for (const pid_t client : clients) waitpid(client, nullptr, 0);
  std::printf(
      "%ld commands in %.0f s, %ld wrong or lost, %d clients killed, engine %ld kB before, %ld kB after\n",
      tally.commands.load(), took.count(), tally.wrong.load(), killed, resident_before_kb,
      resident_kb(engine));
  print_leftovers();
  end_engine(engine, SIGTERM);
  return tally.wrong == 0 ? 0 : 1;
}
