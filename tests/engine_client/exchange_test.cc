// When the exchange asks whether the engine runs, how long it pauses before, and what it concludes: against a
// scripted channel, where sleeping takes no time.
#include "engine_client/exchange.h"

#include <gtest/gtest.h>

#include <cstring>
#include <ctime>
#include <vector>

#include "contract/message.h"
#include "ipc/channel.h"
#include "log/engine_log.h"

namespace {

std::vector<int> engine_states;  // one for each look; the last one stays
size_t looks = 0;
int64_t slept_ms = 0;
bool answers = false;

}  // namespace

CIPCQueue<TCLIMessage>* pcmd_channel = nullptr;
long cmd_channel_key = 0;
_TIPCIdentifier ipc_user_id = {};
CkesBuffer* prdbuff = nullptr;

int EngineIsRunning() {
  const size_t look = std::min(looks++, engine_states.size() - 1);
  return engine_states[look];
}
int zarn_ipc_openx() { return answers ? 0 : -276; }
long zarn_ipc_writex(const mar::Request&) { return 0; }
long zarn_ipc_readx() {
  prdbuff = new CkesBuffer(reinterpret_cast<const unsigned char*>("answered"), 8);
  return 0;
}
long zarn_ipc_closex() {
  delete prdbuff;
  prdbuff = nullptr;
  return 0;
}
long ZARNLog(long, int, const char*, ...) { return 0; }

extern "C" int __wrap_nanosleep(const timespec* wanted, timespec*) {
  slept_ms += wanted->tv_sec * 1000 + wanted->tv_nsec / 1000000;
  return 0;
}

namespace {

const unsigned char kRequest[8] = {0, 0, 0, 0, 0, 0, 0, 100};
unsigned char reply[CLI_MAX_BUFFER_SIZE];

int guarded() { return zarn_send_and_rcv(kRequest, sizeof kRequest, reply); }
int patient() { return zarnStartSend(kRequest, sizeof kRequest, reply); }
int whole() {
  unsigned char* answer = nullptr;
  const int result = zarn_send_and_rcv_long_msg(kRequest, sizeof kRequest, &answer, 0);
  free(answer);
  return result;
}

std::vector<int> states(size_t down, std::vector<int> then) {
  then.insert(then.begin(), down, 0);
  return then;
}

}  // namespace

TEST(Exchange, LooksPausesAndConcludes) {
  struct {
    const char* label;
    int (*exchange)();
    std::vector<int> engine;
    bool answers;
    int want, slept_s;
    size_t looks;
  } const rows[] = {
      {"answered", guarded, {1}, true, 1, 0, 1},
      {"no engine", guarded, {0}, false, -2, 0, 1},
      {"failed, engine still there", guarded, {1, 1}, false, -1, 2, 2},
      {"failed, engine gone", guarded, {1, 0}, false, -2, 2, 2},
      {"any state but 0 is running", guarded, {2, 2}, false, -1, 2, 2},
      {"whole answer", whole, {1}, true, 1, 0, 1},
      {"whole: no state but 1 is running", whole, {2}, true, -2, 0, 1},
      {"whole: failed, engine still there", whole, {1, 1}, false, -1, 2, 2},
      {"whole: failed, then no state but 1 is running", whole, {1, 2}, false, -2, 2, 2},
      {"start: there at once", patient, {1}, true, 1, 0, 2},
      {"start: comes at the last look", patient, states(30, {1}), true, 1, 60, 32},
      {"start: never comes", patient, states(31, {1}), true, -1, 60, 31},
      {"start: comes and goes", patient, states(1, {1, 1, 0}), false, -2, 4, 4},
  };
  for (const auto& row : rows) {
    engine_states = row.engine;
    answers = row.answers;
    looks = 0;
    slept_ms = 0;
    EXPECT_EQ(row.exchange(), row.want) << row.label;
    EXPECT_EQ(slept_ms, row.slept_s * 1000) << row.label;
    EXPECT_EQ(looks, row.looks) << row.label;
  }
  EXPECT_EQ(std::memcmp(reply, "answered", 9), 0);
}
