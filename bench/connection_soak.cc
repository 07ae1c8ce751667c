// Connections that stay open: how many commands a second 1, 4 and 16 threads get through with and without
// them; then an engine that answers late or not at all, and deadlines that pass; then commands on open
// connections while the engine is killed and started again, over and over. An answer in the wrong call ends
// it with status 1.
//   build/bench/bench/connection_soak MAR_STANDIN [COMMANDS [RESTARTS]]   1000000 and 100 unless told
//   otherwise
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <thread>
#include <vector>

#include "bench/echoing_engine.h"
#include "contract/message.h"
#include "engine_client/call.h"
#include "engine_client/connection.h"
#include "engine_client/exchange.h"
#include "ipc/naming.h"
#include "tests/support/isolation.h"

using mar::bench::EchoRequest, mar::bench::end_engine, mar::bench::start_engine;

namespace {

constexpr char kSlots[] = "64";

struct Tally {
  std::atomic<long> answered = 0, failed = 0, wrong = 0;
  std::atomic<bool> over = false;
};

// One command whose answer repeats its sender and payload.
void command(uint32_t thread, uint32_t round, Tally& tally) {
  const EchoRequest request(thread, round);
  uint8_t reply[CLI_MAX_BUFFER_SIZE];
  const mar::Call call;
  if (zarn_send_and_rcv(request.data(), request.size(), reply) != 1) {
    ++tally.failed;
  } else if (!request.is_repeated_in(reply)) {
    ++tally.wrong;
  } else {
    ++tally.answered;
  }
}

void ask_until_over(uint32_t thread, bool connected, int32_t limit_ms, Tally& tally) {
  mar_set_deadline(limit_ms);
  while (connected && mar_open() != 1 && !tally.over) continue;
  for (uint32_t round = 0; !tally.over; ++round) command(thread, round, tally);
}

constexpr int32_t kLongLimitMs = 2000, kShortLimitMs = 30;

// `connected` of the threads open a connection first.
std::vector<std::thread> start(uint32_t count, uint32_t connected, int32_t limit_ms, Tally& tally) {
  std::vector<std::thread> threads;
  for (uint32_t i = 0; i < count; ++i)
    threads.emplace_back([=, &tally] { ask_until_over(i, i < connected, limit_ms, tally); });
  return threads;
}

void end(std::vector<std::thread>& threads, Tally& tally) {
  tally.over = true;
  for (std::thread& thread : threads) thread.join();
}

void measure_rates() {
  constexpr std::chrono::seconds kSpan{2};
  for (const uint32_t count : {1u, 4u, 16u}) {
    for (const bool connected : {false, true}) {
      Tally tally;
      std::vector<std::thread> threads = start(count, connected ? count : 0, kLongLimitMs, tally);
      std::this_thread::sleep_for(kSpan);
      const long answered = tally.answered;
      end(threads, tally);
      std::printf("%2u threads %s: %7ld commands a second, %ld failed, %ld wrong\n", count,
                  connected ? "connected    " : "not connected", answered / kSpan.count(),
                  tally.failed.load(), tally.wrong.load());
      std::fflush(stdout);
    }
  }
}

long ask_a_late_engine(const char* program) {
  const pid_t engine = start_engine(program, kSlots, "*%5:delay=40");
  Tally tally;
  std::vector<std::thread> threads = start(8, 4, kShortLimitMs, tally);
  std::this_thread::sleep_for(std::chrono::seconds(20));
  end(threads, tally);
  end_engine(engine, SIGTERM);
  std::printf("late engine: %ld commands answered, %ld failed, %ld wrong\n", tally.answered.load(),
              tally.failed.load(), tally.wrong.load());
  return tally.wrong;
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 2) return std::fprintf(stderr, "usage: connection_soak MAR_STANDIN [COMMANDS [RESTARTS]]\n"), 2;
  const long wanted = argc > 2 ? std::atol(argv[2]) : 1'000'000;
  const int restarts = argc > 3 ? std::atoi(argv[3]) : 100;
  if (!mar::isolate_process()) return 1;
  pid_t engine = start_engine(argv[1], kSlots);
  measure_rates();
  end_engine(engine, SIGTERM);
  const long wrong = ask_a_late_engine(argv[1]);
  engine = start_engine(argv[1], kSlots);
  Tally tally;
  std::vector<std::thread> threads = start(4, 4, kLongLimitMs, tally);
  for (int i = 0; i < restarts || tally.answered < wanted; ++i) {
    std::this_thread::sleep_for(std::chrono::milliseconds(300));
    if (i >= restarts) continue;
    end_engine(engine, i % 4 == 0 ? SIGTERM : SIGKILL);
    engine = start_engine(argv[1], kSlots);
  }
  end(threads, tally);
  end_engine(engine, SIGTERM);
  std::printf("%ld commands answered, %ld failed, %ld wrong, %d restarts\n", tally.answered.load(),
              tally.failed.load(), tally.wrong.load(), restarts);
  return tally.wrong + wrong == 0 ? 0 : 1;
}
