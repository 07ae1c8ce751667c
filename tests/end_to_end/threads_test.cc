// Several threads of one process command the engine at once: the exchanges take turns, and each thread gets
// its own answer.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/shm.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "contract/message.h"
#include "contract/names.h"
#include "engine_client/commands.h"
#include "engine_client/connection.h"
#include "engine_client/exchange.h"
#include "ipc/naming.h"
#include "tests/support/child.h"
#include "tests/support/program.h"

namespace mar {

TEST(Threads, EachGetsItsOwnAnswer) {
  Program engine({STANDIN_PATH, "--quiet", "--fault", "*:echo"});
  ASSERT_EQ(engine.line(), "ready");
  std::atomic<int> answered = 0;
  std::vector<std::thread> threads;
  for (uint32_t number = 0; number < 6; ++number) {
    threads.emplace_back([&answered, number] {
      for (uint32_t round = 0; round < 50; ++round) {
        uint8_t request[16] = {0, 0, 0, 0, 0, 0, 0, 127};
        const uint32_t payload[2] = {number, round};
        std::memcpy(request + 8, payload, sizeof payload);
        uint8_t reply[CLI_MAX_BUFFER_SIZE];
        if (zarn_send_and_rcv(request, sizeof request, reply) != 1) return;
        const _TIPCIdentifier self = GetIpcIdentifier(GetProcessID());
        if (std::memcmp(reply + 8, &self, 8) == 0 && std::memcmp(reply + 16, payload, 8) == 0) ++answered;
      }
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(answered, 6 * 50);
}

// How often the queue's segment is attached, by whomever.
static unsigned long attached() {
  shmid_ds segment{};
  shmctl(shmget(ftok(CLI_IPC_NAME, 2), 0, 0), IPC_STAT, &segment);
  return segment.shm_nattch;
}

// A thread with a connection of its own waits for no other, and each gets its own answers.
TEST(Threads, WithConnectionsDoNotWaitForEachOther) {
  Program engine({STANDIN_PATH, "--quiet", "--fault", "clear-engine:silent", "--fault",
                  "ping-engine:result=3", "--fault", "debug:result=4"});
  ASSERT_EQ(engine.line(), "ready");
  const unsigned long by_engine = attached();
  pthread_t silent;
  const auto ask = [](void*) -> void* { return mar_clear_eng(), nullptr; };
  ASSERT_EQ(pthread_create(&silent, nullptr, ask, nullptr), 0);
  std::atomic<int> answered = 0;
  std::vector<std::thread> threads;
  for (int number = 0; number < 4; ++number) {
    threads.emplace_back([&answered, number] {
      if (mar_open() != 1) return;
      for (int round = 0; round < 50; ++round)
        answered += number % 2 == 0 ? mar_ping_engine() == 3 : mar_debug(1) == 4;
    });
  }
  for (auto& thread : threads) thread.join();
  EXPECT_EQ(answered, 4 * 50);
  pthread_cancel(silent);
  ASSERT_TRUE(eventually([&] { return pthread_tryjoin_np(silent, nullptr) == 0; }));
  EXPECT_EQ(attached(), by_engine) << "nothing is left open";
  EXPECT_EQ(mar_ping_engine(), 3) << "the cancelled call has given back its turn";
}

}  // namespace mar
