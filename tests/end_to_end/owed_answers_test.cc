// Answers that come late, twice or without having been asked for: none of them is
// returned for another request.
#include <gtest/gtest.h>
#include <sys/sem.h>

#include <cstdlib>
#include <thread>

#include "engine_client/exchange.h"
#include "ipc/naming.h"
#include "log/engine_log.h"
#include "tests/end_to_end/scripted_engine.h"
#include "tests/support/files.h"

namespace mar {

namespace {

constexpr char kLogFile[] = "/var/zarn/client.log";

// One request: what the engine says in its answer, or -1 for a failed exchange.
long ask() {
  const unsigned char request[8] = {0, 0, 0, 0, 0, 0, 0, 125};
  unsigned char* answer = nullptr;
  const int flag = zarn_send_rcv_from_mar_engine(request, sizeof request, &answer);
  const long said = flag == 1 ? static_cast<long>(mar::get_be32(answer + 4)) : -1;
  std::free(answer);
  return said;
}

// Threads that follow each other get the same thread number.
long ask_on_a_thread() {
  long said = 0;
  std::thread([&] { said = ask(); }).join();
  return said;
}

// Where a client waits until the test lets it go on.
class Gate {
 public:
  Gate() { EXPECT_EQ(pipe(ends_), 0); }
  void open() { EXPECT_EQ(write(ends_[1], "", 1), 1); }
  void wait() {
    char byte;
    if (read(ends_[0], &byte, 1) != 1) abort();
  }

 private:
  int ends_[2];
};

bool same(_TIPCIdentifier a, _TIPCIdentifier b) { return CIPCUtils::sameIPCIdentifiers(a, b); }

struct OwedAnswers : testing::Test {
  void SetUp() override { ASSERT_TRUE(engine.usable()); }

  // The next request, as sent by an identity with a head of its own and waiting there.
  TCLIMessage request_of_a_sleeper() {
    const auto request = engine.request();
    EXPECT_TRUE(request.has_value());
    EXPECT_TRUE(request && eventually([&] { return waits(request->sender); }));
    return request.value_or(TCLIMessage{});
  }
  bool waits(_TIPCIdentifier user) {
    const int head = head_of(user);
    return head >= 0 && engine.made().waiters(static_cast<uint16_t>(head + 2)) == 1;
  }
  int head_of(_TIPCIdentifier user) {
    for (uint32_t i = 0; i < 8; ++i) {
      const uint32_t owner = MadeQueue::head(i) + 4;
      if (same({engine.made().u32(owner), engine.made().u32(owner + 4)}, user)) return static_cast<int>(i);
    }
    return -1;
  }
  // Ends the wait of the request's sender without an answer.
  void withdraw(const TCLIMessage& request) {
    const int head = head_of(request.sender);
    *engine.made().at(MadeQueue::head(static_cast<uint32_t>(head))) = HEAD_WITHDRAWN;
    engine.made().semaphores().implPut_ID(static_cast<uint16_t>(head + 2));
  }

  ScriptedEngine engine;
  Gate gate;
};

}  // namespace

// A late answer comes before or after the next request was queued, and to the thread that asked or to another
// one that was given its number.
TEST_F(OwedAnswers, ThatComeLateReachNobody) {
  for (long (*asking)() : {ask, ask_on_a_thread}) {
    for (const bool before : {true, false}) {
      SCOPED_TRACE(before ? "before the next request" : "after the next request");
      Child client([&] {
        const bool failed = asking() == -1;
        gate.wait();
        const long second = asking();
        return failed ? second * 10 + asking() : 0;
      });
      const TCLIMessage first = request_of_a_sleeper();
      withdraw(first);
      ASSERT_TRUE(eventually([&] { return !waits(first.sender); }));
      EXPECT_TRUE(!before || engine.answer(first, 1));
      gate.open();
      const auto second = engine.request();
      ASSERT_TRUE(second.has_value());
      EXPECT_EQ(same(second->sender, first.sender), before)
          << "an identity that is owed an answer must not ask";
      EXPECT_TRUE(before || engine.answer(first, 1));
      ASSERT_TRUE(engine.answer(*second, 2));
      const auto third = engine.request();
      ASSERT_TRUE(third.has_value());
      EXPECT_TRUE(same(third->sender, first.sender)) << "its answer has come: the debt is over";
      ASSERT_TRUE(engine.answer(*third, 3));
      EXPECT_EQ(client.result(), 23);
    }
  }
}

TEST_F(OwedAnswers, ThatNobodyAskedForAreDropped) {
  const std::vector<uint32_t> rows[] = {{CLI_SINGLE, CLI_SINGLE},
                                        {CLI_HEADER, CLI_APPEND, CLI_END, CLI_APPEND},
                                        {CLI_APPEND, CLI_END},
                                        {CLI_END, CLI_SINGLE},
                                        {99, CLI_HEADER}};
  for (const auto& kinds : rows) {
    Child client([&] {
      ZARNLogInit(kLogFile, 1'000'000, 3, 8192, 0);
      const long first = ask();
      gate.wait();
      return first * 10 + ask();
    });
    const TCLIMessage first = request_of_a_sleeper();
    kill(client.pid(), SIGSTOP);  // until all of it is there
    for (const uint32_t kind : kinds)
      ASSERT_TRUE(engine.send(first, kind, 8, ScriptedEngine::reply(1200, 1)));
    kill(client.pid(), SIGCONT);
    gate.open();
    const auto second = engine.request();
    ASSERT_TRUE(second.has_value());
    ASSERT_TRUE(engine.answer(*second, 2));
    EXPECT_EQ(client.result(), 12) << kinds.size() << " records";
    EXPECT_NE(read_file(kLogFile).find("records of earlier answers dropped, count = 1"), std::string::npos);
    unlink(kLogFile);
  }
}

// The engine cannot be woken, its semaphore being full, but the request is queued and will be answered.
TEST_F(OwedAnswers, ToARequestWhosePutFailed) {
  const int set = semget(ftok(CLI_IPC_NAME, 3), 0, 0);
  ASSERT_EQ(semctl(set, mar::kFirstHeadSem, SETVAL, 32767), 0);
  Child client([&] {
    const bool failed = ask() == -1;
    gate.wait();
    return failed ? ask() : 0;
  });
  ASSERT_TRUE(
      eventually([&] { return engine.made().u16(0) == 1; }));  // looking for a request would take a post
  const auto first = engine.request();
  ASSERT_TRUE(first.has_value());
  gate.open();
  const auto second = engine.request();
  ASSERT_TRUE(second.has_value());
  ASSERT_TRUE(engine.answer(*first, 1));
  ASSERT_TRUE(engine.answer(*second, 2));
  EXPECT_EQ(client.result(), 2);
}

// With every head taken the client's request is queued, but it has no head to wait on.
TEST_F(OwedAnswers, ToAClientThatFoundNoHead) {
  for (uint32_t i = 1; i < 8; ++i) {
    long key = 0;
    ASSERT_EQ(engine.queue().OpenChannel({1, i}, &key), 0);
  }
  Child client([&] {
    const bool refused = ask() == -1 && ask() == -1;
    gate.wait();
    return refused ? ask() : 0;
  });
  const auto first = engine.request();
  const auto second = engine.request();
  ASSERT_TRUE(first.has_value() && second.has_value());
  for (uint32_t i = 1; i < 8; ++i) *engine.made().at(MadeQueue::head(i)) = HEAD_IDLE;
  gate.open();
  const auto third = engine.request();
  ASSERT_TRUE(third.has_value());
  for (const auto* const request : {&first, &second}) ASSERT_TRUE(engine.answer(**request, 1));
  ASSERT_TRUE(engine.answer(*third, 3));
  EXPECT_EQ(client.result(), 3);
}

// The child inherits the turn of a thread that it does not have, and that thread's open channel.
TEST_F(OwedAnswers, AreNotThoseOfAForkedChild) {
  Child client([&] {
    long in_parent = 0, in_child = 0;
    std::thread asking([&] { in_parent = ask(); });
    gate.wait();
    in_child = Child(ask).result();
    asking.join();
    return in_parent * 10 + in_child;
  });
  const TCLIMessage first = request_of_a_sleeper();
  gate.open();
  const auto second = engine.request();
  ASSERT_TRUE(second.has_value());
  EXPECT_NE(second->sender.process_id, first.sender.process_id);
  ASSERT_TRUE(engine.answer(*second, 2));
  ASSERT_TRUE(engine.answer(first, 1));
  EXPECT_EQ(client.result(), 12);
}

}  // namespace mar
