// The engine on a real queue: it answers badly or not at all, its clients die or lie, and it ends.
#include "standin/service.h"

#include <gtest/gtest.h>

#include <atomic>

#include "contract/payloads.h"
#include "ipc/naming.h"
#include "standin/messages.h"
#include "tests/standin/client.h"
#include "tests/standin/requests.h"
#include "tests/support/engine.h"
#include "tests/support/kernel_objects.h"

namespace mar::standin {

namespace {

EngineOptions with_slots(uint16_t slots) {
  EngineOptions options;
  options.slots = slots;
  return options;
}

const TCLIMessage kPing = request_of(127, PingEnginePayload{});
const TCLIMessage kDump = request_of(125);
const TCLIMessage kStop = request_of(101);

bool nothing_is_left() { return kernel_objects() == 0 && access(CLI_IPC_NAME, F_OK) != 0; }

bool all_slots_are_free() {
  return eventually([] { return segment_bytes(CLI_IPC_NAME)[0] == 0; });
}

}  // namespace

TEST(Service, MisbehavesAsTold) {
  struct {
    const char* fault;
    long want;   // result, or the code of the step that failed
    long after;  // the same of the next request
  } const rows[] = {
      {"dump:result=-77", -77, 1},
      {"dump:withdraw", QUEUE_INVALID_ID, 1},
      {"dump:close", QUEUE_CLOSED, QUEUE_CLOSED},
      {"dump:destroy", QUEUE_CLOSED, QUEUE_CLOSED},
      {"start:full", QUEUE_OVERFLOW, QUEUE_OVERFLOW},
  };
  for (const auto& row : rows) {
    EngineThread engine(with_faults({row.fault}));
    Client client;
    EXPECT_EQ(client.ask(kDump), row.want) << row.fault;
    EXPECT_EQ(client.ask(kPing), row.after) << row.fault;
  }
  {
    EngineThread engine(with_faults({"dump:full"}));
    Client client;
    EXPECT_EQ(client.ask(kDump), 1);
    EXPECT_TRUE(eventually([&] { return client.ask(kPing) == QUEUE_OVERFLOW; }));
  }
  EXPECT_TRUE(nothing_is_left());
}

TEST(Service, DiesWhenTold) {
  for (const bool answered : {false, true}) {
    EngineProcess engine(with_faults({answered ? "dump:die-after" : "dump:die-before"}));
    Client client;
    EXPECT_EQ(client.ask(kDump), answered ? 1 : QUEUE_GET_FAILED);
    EXPECT_EQ(engine.join(), Child::kNoResult);
    EXPECT_FALSE(client.queue.CreatorAlive());
  }
}

// No client gets the lock meanwhile. A signal still ends the engine, which answers first.
TEST(Service, HoldsTheLockUntilItAnswers) {
  EngineProcess engine(with_faults({"dump#1:hold-lock=1", "dump#2:hold-lock=3600000"}));
  Client client;
  EXPECT_EQ(client.ask(kDump), 1);
  const int set = semget(ftok(CLI_IPC_NAME, 1), 0, 0);
  ASSERT_EQ(client.put(kDump), 0);
  ASSERT_TRUE(
      eventually([&] { return semctl(set, 0, GETVAL) == 1 && semctl(set, 0, GETPID) == engine.pid(); }));
  Child other([] { return Client(2).ask(kPing); });
  EXPECT_TRUE(eventually([&] { return semctl(set, 0, GETZCNT) == 1; }));
  engine.signal(SIGTERM);
  EXPECT_EQ(client.get(), 0);
  other.result();  // answered, or too late for an engine that ends
  EXPECT_EQ(engine.join(), 0);
}

// Killed processes have taken slots off the free list without queuing them.
TEST(Service, BringsLostSlotsBack) {
  std::atomic<uint32_t*> free_list_field = nullptr;
  const auto lose_slots = [&](uint32_t free_list) { std::atomic_ref(*free_list_field.load()) = free_list; };
  EngineOptions options = with_slots(3);
  std::atomic<uint32_t> at_dump = 0;
  options.on_request = [&](const ServedRequest& served) {
    if (message_code(served.record) == CMD_DUMP) lose_slots(at_dump);
  };
  EngineThread engine(options);
  CkesSharedMemory attached(CLI_IPC_NAME, false);
  free_list_field = static_cast<uint32_t*>(attached.GetAddress()) + 1;
  Client client;
  EXPECT_EQ(client.ask(kDump), 1) << "lost before the answer is put";
  lose_slots(0);
  EXPECT_TRUE(eventually([&] { return client.ask(kPing) == 1; })) << "lost before a request is put";
  at_dump = 7;
  EXPECT_EQ(client.ask(kDump), QUEUE_INVALID_ID) << "damaged for good: the client must not sleep";
  lose_slots(0);
  EXPECT_TRUE(eventually([&] { return client.ask(kPing) == 1; })) << "its head is of use again";
}

TEST(Service, EndsTheWaitOfAClientForWhichThereIsNoRoom) {
  EngineOptions options = with_slots(4);
  options.answer_patience_ms = 50;
  EngineThread engine(with_faults({"dump:size=30000"}, options));
  Client client(1), idle(2);
  for (int i = 0; i < 3; ++i) ASSERT_EQ(idle.queue.Put(idle.id, kPing), 0);
  EXPECT_EQ(client.ask(kDump), QUEUE_INVALID_ID);
  EXPECT_EQ(client.ask(kPing), 1);
  EXPECT_EQ(idle.queue.EmptyHeadOf(idle.id), 0);  // or the end would wait for it
}

// A client was killed after it had linked its request and before it posted it.
TEST(Service, FindsARequestThatWasNeverPosted) {
  EngineProcess engine;
  Client client;
  QueueSemaphores semaphores;
  ASSERT_TRUE(semaphores.implInitialize(CLI_IPC_NAME, 0));
  engine.signal(SIGSTOP);
  ASSERT_TRUE(eventually([&] { return client.put(kPing) == 0; }));
  while (semaphores.implTryGet_ID(2) == QueueSemaphores::WaitEnd::kTaken) continue;
  engine.signal(SIGCONT);
  EXPECT_EQ(client.get(), 0);
}

TEST(Service, SurvivesSendersThatCannotBeAnswered) {
  EngineThread engine(with_slots(4));
  Client client;
  for (const _TIPCIdentifier sender : {ZARNENGINE_ID, NULL_IPC_ID, dead_process()}) {
    for (int round = 0; round < 5; ++round) {
      TCLIMessage request = kPing;
      request.sender = sender;
      ASSERT_TRUE(eventually([&] { return client.queue.KeyPut(client.key, request) == 0; }));
    }
    ASSERT_TRUE(eventually([&] { return client.put(kPing) == 0; })) << sender.process_id;
    EXPECT_EQ(client.get(), 0) << sender.process_id;
  }
  EXPECT_TRUE(all_slots_are_free());
  EXPECT_EQ(engine.requests().size(), 18u) << "served more than once, or not at all";
}

// On a clock of our own, an hour passes at once.
TEST(Service, LateAndEndlessAnswersHoldUpNobody) {
  std::atomic<int> hours_passed = 0;
  EngineOptions options = with_slots(8);
  std::atomic<bool> ending = false;
  options.time.now = [&] { return std::chrono::steady_clock::now() + std::chrono::hours(hours_passed); };
  options.time.rest = [&](std::chrono::microseconds) { hours_passed += ending; };
  EngineThread engine(with_faults({"debug:delay=3600000", "dump:endless", "clear-engine:silent"}, options));
  Client late(1), endless(2), silent(3), other(4);
  ASSERT_EQ(late.put(request_of(126, DebugPayload{1})), 0);
  ASSERT_EQ(silent.put(request_of(113)), 0);
  ASSERT_EQ(endless.put(kDump), 0);
  for (int records = 0; records < 100; ++records) {
    ASSERT_EQ(endless.get(), 0);
    ASSERT_EQ(endless.answer.kind, records == 0 ? CLI_HEADER : CLI_APPEND);
    ASSERT_EQ(other.ask(kPing), 1) << "after " << records;
  }
  long key = -1;
  bool taken = true;
  ASSERT_EQ(late.queue.OpenChannel(late.id, &key), 0);
  EXPECT_EQ(late.queue.KeyTryGet(key, late.answer, taken), 0);
  EXPECT_FALSE(taken) << "too early";
  hours_passed = 1;
  EXPECT_TRUE(eventually([&] { return late.queue.KeyTryGet(key, late.answer, taken) == 0 && taken; }));
  ending = true;  // the endless answer is given up when 2 seconds have passed
}

TEST(Service, GivesALongAnswerUpWithItsClient) {
  EngineThread engine(with_faults({"dump:size=100000000"}, with_slots(4)));
  Child reader([] {
    Client client;
    if (client.put(kDump) != 0 || client.get() != 0) return 1L;
    return long{client.answer.kind};
  });
  EXPECT_EQ(reader.result(), CLI_HEADER);
  EXPECT_EQ(Client().ask(kPing), 1);
  EXPECT_TRUE(all_slots_are_free());
}

// The stop request and all earlier ones are answered before the queue goes.
TEST(Service, EndsWhenItsAnswersAreRead) {
  EngineThread engine(with_faults({"dump:delay=30"}));
  {
    Client earlier(1), stopping(2);
    ASSERT_EQ(earlier.put(kDump), 0);
    ASSERT_EQ(stopping.put(kStop), 0);
    EXPECT_TRUE(eventually([] { return !CIPCQueue<TCLIMessage>(CLI_IPC_NAME, false).IsInitialized(); }));
    EXPECT_EQ(stopping.put(kPing), QUEUE_CLOSED);
    EXPECT_EQ(stopping.get(), 0);
    EXPECT_EQ(earlier.get(), 0);
  }
  EXPECT_TRUE(engine.join());
  EXPECT_TRUE(nothing_is_left());
}

TEST(Service, EndsOnASignalAndSaysSoWhenItsQueueIsTaken) {
  {
    EngineProcess engine;
    engine.signal(SIGTERM);
    EXPECT_EQ(engine.join(), 0);
    EXPECT_TRUE(nothing_is_left());
  }
  EngineProcess engine;
  { CIPCQueue<TCLIMessage> thief(CLI_IPC_NAME, true); }
  EXPECT_EQ(engine.join(), 3);
  EXPECT_TRUE(nothing_is_left());
}

}  // namespace mar::standin
