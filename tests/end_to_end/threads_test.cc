// Several threads of one process command the engine at once: the exchanges take turns, and each thread gets
// its own answer.
#include <gtest/gtest.h>

#include <atomic>
#include <cstring>
#include <thread>
#include <vector>

#include "contract/message.h"
#include "engine_client/exchange.h"
#include "ipc/naming.h"
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

}  // namespace mar
