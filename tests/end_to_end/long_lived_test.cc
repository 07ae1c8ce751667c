// Clients that live longer than one command: deadlines, causes, and connections that stay open while engines
// come and go.
#include <gtest/gtest.h>
#include <pthread.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <sys/syscall.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <thread>

#include "contract/status.h"
#include "engine_client/commands.h"
#include "engine_client/connection.h"
#include "engine_client/exchange.h"
#include "tests/end_to_end/scripted_engine.h"
#include "tests/support/program.h"
#include "tests/support/system_calls.h"

namespace mar {

namespace {

constexpr int32_t kSoonMs = 50;

int cause() { return mar_last_error()->code; }

std::string said;  // the sentence of the last ping_within()

int gate[2];       // a pipe that lets a client go on
int back[2];       // a pipe that tells that it has come so far
long said_at_end;  // by a call in a cleanup handler

// Result and cause of one command under a deadline, as one number: -1 with cause 28 is -128.
int ping_within(int32_t milliseconds) {
  mar_set_deadline(milliseconds);
  const int32_t result = mar_ping_engine();
  const int outcome = result == MAR_OK ? 1 : result * 100 - cause();
  said = mar_last_error()->text;
  mar_set_deadline(0);
  return outcome;
}

struct LongLived : testing::Test {
  void SetUp() override { ASSERT_EQ(pipe(gate) + pipe(back), 0); }
  void TearDown() override { mar_set_deadline(0), mar_close(); }
};

// A user of the segment's lock that never lets go of it.
struct LockHolder {
  LockHolder() : memory(CLI_IPC_NAME, false) { EXPECT_EQ(memory.Lock(), 0); }
  ~LockHolder() { memory.Unlock(); }
  CkesSharedMemory memory;
};

}  // namespace

// Each of these waits for ever without a deadline.
TEST_F(LongLived, ADeadlineEndsEveryWait) {
  for (const bool connected : {false, true}) {
    SCOPED_TRACE(connected);
    ScriptedEngine engine;
    ASSERT_TRUE(engine.usable());
    ASSERT_TRUE(!connected || mar_open() == 1);
    EXPECT_EQ(ping_within(kSoonMs), -100 - MAR_CAUSE_DEADLINE) << "the answer does not come";
    {
      const LockHolder holder;
      EXPECT_EQ(ping_within(kSoonMs), -100 - MAR_CAUSE_DEADLINE) << "the lock is not free";
      mar_queue_use use{};
      EXPECT_EQ(mar_get_queue_use(&use), 1) << "a look needs no lock";
      EXPECT_EQ(use.slots * 10 + use.queued, 81u) << "the first request is still there";
    }
    EXPECT_EQ(said, "The deadline passed before the engine had answered.");
    EXPECT_EQ(engine.made().u16(MadeQueue::head(1)), HEAD_IDLE) << "others can have the head";
    mar_close();
  }
  std::thread waiting;
  {
    ScriptedEngine engine;
    waiting = std::thread([] { EXPECT_EQ(mar_ping_engine(), -2); });
    ASSERT_TRUE(engine.request());
    EXPECT_EQ(ping_within(kSoonMs), -100 - MAR_CAUSE_DEADLINE) << "another thread has the turn";
  }
  waiting.join();
}

TEST_F(LongLived, ALateAnswerReachesNobody) {
  for (const bool connected : {false, true}) {
    SCOPED_TRACE(connected);
    ScriptedEngine engine;
    Child client([&] {
      const bool opened_before = connected && mar_open() == 1 && mar_close() == 1 && mar_open() == 1;
      const bool timed_out = ping_within(kSoonMs) == -100 - MAR_CAUSE_DEADLINE;
      if (opened_before) mar_close();
      if (connected) mar_open();  // the new connection inherits the debt
      const int32_t second = mar_ping_engine();
      return timed_out ? second * 10 + mar_ping_engine() : 0;
    });
    const auto first = engine.request();
    const auto second = engine.request();
    ASSERT_TRUE(first && second);
    ASSERT_TRUE(engine.answer(*first, 7) && engine.answer(*second, 2));
    const auto third = engine.request();
    ASSERT_TRUE(third && engine.answer(*third, 3));
    EXPECT_EQ(client.result(), 23);
  }
}

TEST_F(LongLived, AnAnswerWithoutDataIsNotTheOneBefore) {
  for (const bool connected : {false, true}) {
    ScriptedEngine engine;
    Child client([&] {
      if (connected) mar_open();
      const int32_t first = mar_ping_engine();
      return first * 100 + mar_ping_engine();
    });
    const auto first = engine.request();
    ASSERT_TRUE(first && engine.answer(*first, 7));
    const auto second = engine.request();
    ASSERT_TRUE(second && engine.send(*second, CLI_SINGLE, 0, ""));
    EXPECT_EQ(client.result(), 7 * 100 + MAR_BAD_REPLY) << connected;
  }
}

// What is cancelled leaves its answer owed, its head to others, and no turn taken, whatever it was waiting
// for.
TEST_F(LongLived, ACancelledCallGivesBackEverything) {
  for (const bool connected : {false, true}) {
    for (const bool on_own_thread : {false, true}) {
      SCOPED_TRACE(connected * 10 + on_own_thread);
      static bool open_first, time_out_first;
      open_first = connected;
      time_out_first = on_own_thread;
      ScriptedEngine engine;
      Child client([] {
        const auto ask_for_ever = [](void*) -> void* {
          pthread_cleanup_push([](void* said) { *static_cast<long*>(said) = mar_ping_engine(); },
                               &said_at_end);
          if (open_first) mar_open();
          if (time_out_first) ping_within(kSoonMs);
          mar_ping_engine();
          pthread_cleanup_pop(0);
          return nullptr;
        };
        pthread_t thread;
        if (pthread_create(&thread, nullptr, ask_for_ever, nullptr) != 0) return 1L;
        char byte;
        if (read(gate[0], &byte, 1) != 1 || pthread_cancel(thread) != 0) return 2L;
        pthread_join(thread, nullptr);
        return said_at_end;
      });
      std::vector<TCLIMessage> requests;
      for (int i = 0; i < 1 + on_own_thread; ++i)
        requests.push_back(engine.request().value_or(TCLIMessage{}));
      ASSERT_EQ(write(gate[1], "", 1), 1);
      const auto last = engine.request();
      ASSERT_TRUE(last.has_value());
      for (const TCLIMessage& request : requests) EXPECT_TRUE(engine.answer(request, 7));
      EXPECT_TRUE(engine.answer(*last, 2));
      EXPECT_EQ(client.result(), 2);
      for (uint32_t i = 0; i < 8; ++i) EXPECT_NE(*engine.made().at(MadeQueue::head(i)), HEAD_READER) << i;
    }
  }
}

// Threads whose requests time out come to an end, and their numbers come back.
TEST_F(LongLived, TooManyOwedAnswersRefuseTheNextRequest) {
  constexpr int kEnough = 64;
  ScriptedEngine engine(200);
  Child client([] {
    std::vector<std::thread> threads;
    for (int i = 0; i < kEnough; ++i) threads.emplace_back([] { mar_open(), ping_within(1000); });
    for (std::thread& thread : threads) thread.join();
    const int refused = ping_within(0);
    char byte;
    return write(back[1], "", 1) == 1 && read(gate[0], &byte, 1) == 1 &&
                   refused == -100 - MAR_CAUSE_ANSWERS_OWED
               ? ping_within(0)
               : refused;
  });
  std::vector<TCLIMessage> requests;
  while (requests.size() < kEnough) {
    const auto request = engine.request();
    ASSERT_TRUE(request.has_value());
    requests.push_back(*request);
  }
  char byte;
  ASSERT_EQ(read(back[0], &byte, 1), 1);
  for (const TCLIMessage& request : requests) EXPECT_TRUE(engine.answer(request, 7));
  ASSERT_EQ(write(gate[1], "", 1), 1);
  const auto next = engine.request();
  ASSERT_TRUE(next && engine.answer(*next, 1));
  EXPECT_EQ(client.result(), 1);
}

// On an open connection the surplus answer is there when the next request is written.
TEST_F(LongLived, AnAnswerThatComesTwiceIsDropped) {
  ScriptedEngine engine;
  Child client([&] {
    char byte;
    const int32_t opened = mar_open();
    const int32_t first = mar_ping_engine();
    return read(gate[0], &byte, 1) == 1 ? opened * 100 + first * 10 + mar_ping_engine() : 0;
  });
  const auto first = engine.request();
  ASSERT_TRUE(first && engine.answer(*first, 1) && engine.answer(*first, 9));
  ASSERT_EQ(write(gate[1], "", 1), 1);
  const auto second = engine.request();
  ASSERT_TRUE(second && engine.answer(*second, 2));
  EXPECT_EQ(client.result(), 112);
}

TEST_F(LongLived, EachFailureHasItsCause) {
  constexpr int kNotRunning = -200, kFailed = -100;
  EXPECT_EQ(ping_within(0), kNotRunning - MAR_CAUSE_NO_CONTROL_FILE);
  EXPECT_EQ(said, "There is no control file /var/zarn/controls_cl.zarn: start the engine.");
  EXPECT_EQ(mar_open(), -2);
  EXPECT_EQ(cause(), MAR_CAUSE_NO_CONTROL_FILE);
  close(creat(CLI_IPC_NAME, 0666));
  EXPECT_EQ(ping_within(0), kNotRunning - MAR_CAUSE_NO_QUEUE);
  {
    ScriptedEngine engine;
    const std::pair<uint32_t, int> states[] = {{IPCQUEUE_CLOSE, MAR_CAUSE_CLOSING},
                                               {IPCQUEUE_DESTROY, MAR_CAUSE_DESTROYED},
                                               {77, MAR_CAUSE_BAD_STATE}};
    for (const auto& [state, wanted] : states) {
      const uint32_t open = std::exchange(engine.made().u32(8), state);
      EXPECT_EQ(ping_within(0), kNotRunning - wanted);
      engine.made().u32(8) = open;
    }
    const uint32_t free_list = std::exchange(engine.made().u32(4), 13);
    EXPECT_EQ(ping_within(0), kFailed - MAR_CAUSE_DAMAGED);
    engine.made().u32(4) = free_list;
    engine.made().u16(0) = 8;
    EXPECT_EQ(ping_within(0), kFailed - MAR_CAUSE_QUEUE_FULL);
    engine.made().u16(0) = 0;
  }
  struct {
    uint32_t marker;
    int32_t result;
    int wanted;
  } const answers[] = {{1200, 1, 1},
                       {1200, -5, -500 - MAR_CAUSE_ENGINE_SAID},
                       {1200, -27, -2700 - MAR_CAUSE_ENGINE_SAID},
                       {1201, 1, -2700 - MAR_CAUSE_WRONG_MARKER}};
  for (const auto& row : answers) {
    ScriptedEngine engine;
    Child client([] { return ping_within(0); });
    const auto request = engine.request();
    ASSERT_TRUE(request &&
                engine.send(*request, CLI_SINGLE, 8, ScriptedEngine::reply(row.marker, row.result)));
    EXPECT_EQ(client.result(), row.wanted);
  }
}

TEST_F(LongLived, WrongCallsHaveAnOutcome) {
  EXPECT_EQ(mar_close(), -1);
  EXPECT_EQ(cause(), MAR_CAUSE_NOT_OPEN);
  EXPECT_EQ(mar_get_queue_use(nullptr), -1);
  EXPECT_EQ(cause(), MAR_CAUSE_BAD_ARGUMENT);
  ScriptedEngine engine;
  ASSERT_EQ(mar_set_deadline(kSoonMs), 1);
  EXPECT_EQ(mar_set_deadline(-1), -1);
  EXPECT_EQ(cause(), MAR_CAUSE_BAD_ARGUMENT);
  EXPECT_EQ(mar_ping_engine(), -1) << "the earlier limit holds";
  EXPECT_EQ(mar_request_data_upload(1, 0, 0, 0, 0, 0, {}, {}, {}), -400);
  EXPECT_EQ(cause(), MAR_CAUSE_BAD_ARGUMENT);
  mar_set_deadline(0);
  EXPECT_EQ(mar_open(), 1);
  EXPECT_EQ(mar_open(), 1);
  EXPECT_EQ(cause(), MAR_CAUSE_NONE);
  EXPECT_STREQ(mar_last_error()->text, "");
  EXPECT_EQ(mar_close(), 1);
  EXPECT_EQ(mar_close(), -1);
}

// One lock, post and unlock each way, and the wait: nothing is opened, looked up or closed.
TEST_F(LongLived, ACommandOnAConnectionTakesNineSystemCalls) {
  Program engine({STANDIN_PATH, "--quiet"});
  ASSERT_EQ(engine.line(), "ready");
  ASSERT_EQ(mar_open(), 1);
  EXPECT_EQ(mar_ping_engine(), 1);
  mar_close();
  const auto calls_of = [](int commands) {
    const std::vector<long> calls = system_calls_of([=] {
      mar_open();
      for (int i = 0; i < commands; ++i) mar_ping_engine();
    });
    // A sanitizer's allocator maps and unmaps as it likes.
    return std::count_if(calls.begin(), calls.end(), [](long call) {
      return call != SYS_mmap && call != SYS_munmap && call != SYS_madvise && call != SYS_mprotect;
    });
  };
  EXPECT_EQ(calls_of(12) - calls_of(2), 10 * 9);
}

// Killed, an engine leaves queue and sign of life; ended, it removes them.
TEST_F(LongLived, AConnectionOutlivesItsEngine) {
  for (const int signal : {SIGKILL, SIGTERM}) {
    for (int round = 0; round < 3; ++round) {
      Program engine(
          {STANDIN_PATH, "--quiet", "--fault", "ping-engine#2:result=" + std::to_string(50 + round)});
      ASSERT_EQ(engine.line(), "ready");
      ASSERT_EQ(mar_open(), 1);
      EXPECT_EQ(mar_ping_engine(), 1) << "a new engine has taken over";
      EXPECT_EQ(mar_ping_engine(), 50 + round);
      kill(engine.pid(), signal);
      engine.status();
      if (round == 1) continue;  // the next engine is there before anybody notices
      EXPECT_EQ(mar_ping_engine(), -2);
      EXPECT_EQ(cause(), signal == SIGKILL ? MAR_CAUSE_CREATOR_DEAD : MAR_CAUSE_NO_CONTROL_FILE);
    }
  }
}

// The handler's calls are refused and touch nothing: the outer call gets its answer.
TEST_F(LongLived, ACallInsideACallIsRefused) {
  ScriptedEngine engine;
  Child client([] {
    signal(SIGUSR1, [](int) {
      const int32_t refused = mar_open() + mar_close() + mar_set_deadline(1) + mar_ping_engine();
      if (write(gate[1], refused == -4 && cause() == MAR_CAUSE_NESTED_CALL ? "y" : "n", 1) != 1) abort();
    });
    return mar_ping_engine() * 100 + cause();
  });
  const auto request = engine.request();
  ASSERT_TRUE(request && eventually([&] { return engine.made().waiters(3) == 1; }));
  kill(client.pid(), SIGUSR1);
  char refused = 0;
  EXPECT_TRUE(read(gate[0], &refused, 1) == 1 && refused == 'y');
  ASSERT_TRUE(engine.answer(*request, 1));
  EXPECT_EQ(client.result(), 100 + MAR_CAUSE_NONE);
}

TEST_F(LongLived, AForkedChildHasNoConnection) {
  Program engine({STANDIN_PATH, "--quiet"});
  ASSERT_EQ(engine.line(), "ready");
  ASSERT_EQ(mar_open(), 1);
  EXPECT_EQ(Child([] { return mar_close() * 100 + mar_open() * 10 + mar_ping_engine(); }).result(), -89);
  EXPECT_EQ(mar_ping_engine(), 1);
}

}  // namespace mar
