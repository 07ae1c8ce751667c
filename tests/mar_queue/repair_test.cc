// What mar-queue shows, proves and repairs.
#include <gtest/gtest.h>
#include <sched.h>

#include <algorithm>
#include <functional>
#include <list>
#include <optional>
#include <random>

#include "tests/mar_queue/scene.h"
#include "tests/support/kernel_objects.h"

namespace mar {

namespace {

using Codes = std::vector<std::string>;

// One slot is queued for the engine, one for a dead process, one for a living one, and one is lost.
struct WornQueue : testing::Test {
  WornQueue() {
    clear_scene();
    engine.emplace();
    engine->put(ZARNENGINE_ID, 1);
    engine->put(dead, 1);
    engine->put({static_cast<uint32_t>(getpid()), 1}, 1);
    engine->lose_slot();
  }

  const _TIPCIdentifier dead = dead_process();
  std::optional<Engine> engine;
};

std::string output_of(const std::vector<std::string>& words) { return Program(words).output(); }

}  // namespace

TEST_F(WornQueue, IsShownAtAGlance) {
  const std::string name = output_of({"cat", "/proc/" + std::to_string(getpid()) + "/comm"});
  const std::string self = std::to_string(getpid()) + " (" + name.substr(0, name.size() - 1) + ")";
  const auto owner = [](std::string label) { return label.append(24 - label.size(), ' '); };
  const char* const show = MAR_QUEUE_PATH " show | sed -E 's/[0-9]{4}-[0-9]{2}-[0-9]{2}T[0-9:]{8}/TIME/g'";
  EXPECT_EQ(output_of({"sh", "-c", show}),
            "/var/zarn/controls_cl.zarn   queue open   lock free\n"
            "engine  " +
                self +
                ", alive\n"
                "times   made TIME, last message put or taken TIME\n"
                "slots   4: 3 queued, 0 free, 1 LOST\n"
                "      0 #x#?\n"
                "        . free  # queued  x queued for a dead owner  ? lost  ! on two chains\n"
                "\n"
                "heads   4: 3 claimed\n"
                "  head  owner                    state     queued  posts waiting\n"
                "     0  the engine               channel        1      1       0  #\n"
                "     1  " +
                owner(std::to_string(dead.process_id) + " ended") +
                " idle           1      1       0  x\n"
                "     2  " +
                owner(self) +
                " idle           1      1       0  #\n"
                "        1 head idle and empty, free for the next client\n");
}

// In the drawing of a large queue several slots share a character; the worst of them shows.
TEST(Show, DrawsSeveralSlotsAsOne) {
  clear_scene();
  Engine engine(1025);
  engine.put(ZARNENGINE_ID, 1);
  engine.lose_slot();
  const std::string drawn = output_of({MAR_QUEUE_PATH, "show"});
  const std::string row(63, '.');
  EXPECT_NE(drawn.find("\n      0 ?" + row + "\n    128 ." + row + '\n'), std::string::npos) << drawn;
  EXPECT_NE(drawn.find("\n   1024 .\n"), std::string::npos) << drawn;
  EXPECT_NE(drawn.find("one character for 2 slots"), std::string::npos) << drawn;
}

TEST_F(WornQueue, IsOnlyRepairedWhenToldTo) {
  engine->made.u16(0) = 4;  // one killed between taking and counting
  const auto before = engine->made.bytes();
  const Report plan = mar_queue({"reap"});
  EXPECT_EQ(plan.status, 1);
  EXPECT_EQ(plan.codes, (Codes{"would-free", "would-repair", "would-repair"}));
  EXPECT_EQ(engine->made.bytes(), before);

  const Report done = mar_queue({"reap", "--yes"});
  EXPECT_EQ(done.status, 0);
  EXPECT_EQ(done.codes, (Codes{"freed", "repaired"}));
  EXPECT_EQ(done.json["queue"]["slots"]["lost"], 1) << "as it was before";
  EXPECT_EQ(engine->made.u16(0), 2);
  EXPECT_EQ(engine->made.u32(MadeQueue::head(1) + 12), 0u);
  EXPECT_NE(engine->made.u32(MadeQueue::head(2) + 12), 0u);

  EXPECT_EQ(mar_queue({"check"}).codes, Codes{"sound"});
  EXPECT_EQ(mar_queue({"reap", "--yes"}).codes, Codes{"nothing-to-do"});
  engine->put({1, 1}, 2);  // both slots are usable again
}

TEST_F(WornQueue, ReapingAFullQueueLetsWritersIn) {
  engine.reset();
  engine.emplace();
  engine->put(dead, kSlots);
  EXPECT_EQ(mar_queue({"status"}).codes, (Codes{"full", "dead-owners"}));
  EXPECT_EQ(mar_queue({"reap", "--yes"}).codes, Codes{"freed"});
  EXPECT_EQ(engine->made.semaphores().implTryGet_ID(kOverflowSem), QueueSemaphores::WaitEnd::kTaken);
  EXPECT_EQ(mar_queue({"status"}).codes, Codes{"running"});
}

// `status` promises a repair exactly where reap makes one.
TEST_F(WornQueue, DamageIsNamedAndNoRepairPromisedInVain) {
  MadeQueue& made = engine->made;
  const uint32_t to_first = MadeQueue::head(0) + 12, next_of_first = made.slot(0) + 10260;
  struct {
    const char* name;
    std::function<void()> damage;
    const char* code;
  } const rows[] = {
      {"lost slot", [] {}, "lost-slots"},
      {"circle", [&] { made.u32(next_of_first) = made.slot(0); }, "circle"},
      {"a dead process's circle", [&] { made.u32(made.slot(1) + 10260) = made.slot(1); }, "circle"},
      {"two heads, one slot", [&] { made.u32(MadeQueue::head(3) + 12) = made.slot(0); }, "shared-slot"},
      {"queued and free", [&] { made.u32(4) = made.slot(0); }, "shared-slot"},
      {"into the header", [&] { made.u32(to_first) = 4; }, "bad-offset"},
      {"between slots", [&] { made.u32(to_first) = made.slot(1) + 4; }, "bad-offset"},
      {"past the end", [&] { made.u32(4) = made.slot(kSlots); }, "bad-offset"},
      {"items counted twice", [&] { made.u16(0) = 6; }, "item-count"},
      {"heads not counted", [&] { made.u16(2) = 1; }, "head-count"},
      {"more heads counted than there are", [&] { made.u16(2) = kSlots + 1; }, "head-count"},
      {"no such semaphore", [&] { made.u16(MadeQueue::head(1) + 2) = kSlots + 2; }, "bad-semaphore"},
      {"one semaphore, two heads", [&] { made.u16(MadeQueue::head(1) + 2) = 2; }, "shared-semaphore"},
      {"head state", [&] { *made.at(MadeQueue::head(1)) = 4; }, "bad-state"},
      {"queue state", [&] { made.u32(8) = 7; }, "queue-state"},
      {"messages without an owner",
       [&] { made.u32(MadeQueue::head(1) + 4) = made.u32(MadeQueue::head(1) + 8) = ~0u; }, "ownerless"},
      {"one owner, two heads", [&] { std::memcpy(made.at(MadeQueue::head(3) + 4), &dead, 8); },
       "shared-owner"},
  };
  const auto sound = made.bytes();
  for (const auto& row : rows) {
    std::memcpy(made.at(0), sound.data(), sound.size());
    row.damage();
    const Report report = mar_queue({"check"});
    EXPECT_EQ(report.status, 1) << row.name;
    EXPECT_EQ(std::count(report.codes.begin(), report.codes.end(), row.code), 1) << row.name << report.json;
    const auto damaged = made.bytes();
    const bool promised = mar_queue({"status"}).says("mar-queue reap --yes");
    const Report reaped = mar_queue({"reap", "--yes"});
    EXPECT_EQ(promised, made.bytes() != damaged) << row.name << reaped.json;
    EXPECT_FALSE(reaped.says("could not be")) << row.name << reaped.json;
    EXPECT_FALSE(mar_queue({"status"}).says("mar-queue reap --yes")) << row.name;
  }
}

TEST_F(WornQueue, HeadsInUseAreLeftAlone) {
  Child reader([&] {
    CommandQueue queue(CLI_IPC_NAME, false);
    TCLIMessage message{};
    (void)queue.Get(dead, message);
    return queue.Get(dead, message);  // sleeps, as a process of another process namespace might
  });
  ASSERT_TRUE(eventually([&] { return engine->made.waiters(3) == 1; }));
  EXPECT_EQ(mar_queue({"reap"}).codes, (Codes{"would-repair"}));
  EXPECT_TRUE(
      mar_queue({"status"}).says("1 request not yet taken by the engine, 1 client waiting for an answer"));
}

TEST_F(WornQueue, NothingIsRepairedUnderAHeldLock) {
  ASSERT_EQ(engine->made.memory().Lock(), 0);
  for (const char* command : {"reap", "check"}) EXPECT_EQ(mar_queue({command}).status, 2) << command;
}

// A repair leaves the undo value of a living engine in place, so that its death still shows.
TEST(Repair, LeavesTheSignOfLifeAlone) {
  clear_scene();
  EngineChild engine;
  EXPECT_EQ(CommandQueue(CLI_IPC_NAME, false).Put(dead_process(), numbered(1)), 0);
  EXPECT_EQ(mar_queue({"reap", "--yes"}).codes, Codes{"freed"});
  EXPECT_EQ(mar_queue({"status"}).codes, Codes{"running"});
  engine.child.kill();
  EXPECT_EQ(mar_queue({"status"}).codes.at(0), "creator-dead");
}

// Process numbers of another namespace mean nothing here: no owner may be taken for dead.
TEST_F(WornQueue, NothingIsRepairedFromAnotherProcessNamespace) {
  Child outside([&]() -> long {
    if (unshare(CLONE_NEWPID) != 0) return -1;
    return Child([] {
             return mar_queue({"reap", "--yes"}).codes == Codes{"process-namespace"} ? 1L : 0L;
           })
        .result();
  });
  EXPECT_EQ(outside.result(), 1);
  EXPECT_EQ(engine->made.u16(0), 3);
}

// Without taking the lock, mar-queue never mistakes a queue in motion for a damaged one, or a lock that is
// taken again and again for one that is never released.
TEST(BusyQueue, NeverLooksDamaged) {
  clear_scene();
  Engine engine;
  std::list<Child> users;
  for (uint32_t thread = 1; thread < kSlots; ++thread) {
    users.emplace_back([thread]() -> long {
      CommandQueue queue(CLI_IPC_NAME, false);
      const _TIPCIdentifier self{static_cast<uint32_t>(getpid()), thread};
      TCLIMessage message = numbered(thread);
      while (queue.Put(self, message) == 0 && queue.Get(self, message) == 0) continue;
      return 0;
    });
  }
  int proved = 0;
  for (int round = 0; round < 15; ++round) {
    const Report report = mar_queue({"check"});
    ASSERT_NE(report.status, 1) << report.json;
    proved += report.status == 0;
    ASSERT_NE(mar_queue({"reap", "--yes"}).status, 1);
  }
  EXPECT_GT(proved, 0);
  for (auto& user : users) EXPECT_FALSE(user.ended());
}

TEST_F(WornQueue, NothingInTheSegmentMakesItCrash) {
  constexpr unsigned kSeed = 20261121;
  std::printf("seed %u\n", kSeed);
  std::mt19937 random(kSeed);
  MadeQueue& made = engine->made;
  const auto pick = [&](uint32_t below) { return static_cast<uint32_t>(random()) % below; };
  for (int round = 0; round < 40; ++round) {
    for (int blow = 0; blow < 3; ++blow) {
      const uint32_t place = pick(3) == 0 ? made.slot(pick(kSlots)) + 10260 : 4 * pick(19);
      const uint32_t numbers[] = {static_cast<uint32_t>(random()), made.slot(pick(kSlots)), pick(8), ~0u};
      if (place != 8) made.u32(place) = numbers[pick(4)];
    }
    for (const char* command : {"check", "status"}) ASSERT_LT(mar_queue({command}).status, 2);
    ASSERT_LT(mar_queue({"reap", "--yes"}).status, 2);
    ASSERT_EQ(Program({MAR_QUEUE_PATH, "show"}).status(), 0);
  }
}

TEST(RemoveStale, TakesOnlyWhatADeadCreatorLeft) {
  clear_scene();
  EXPECT_EQ(mar_queue({"remove-stale"}).codes, Codes{"nothing-to-do"});
  {
    EngineChild engine;
    EXPECT_EQ(mar_queue({"remove-stale", "--yes"}).codes, Codes{"not-stale"});
    engine.child.kill();
  }
  ASSERT_EQ(kernel_objects(), 3);
  const Report plan = mar_queue({"remove-stale"});
  EXPECT_EQ(plan.status, 1);
  EXPECT_EQ(plan.codes, (Codes{"would-remove", "would-remove", "would-remove"}));
  ASSERT_EQ(kernel_objects(), 3);
  EXPECT_EQ(mar_queue({"remove-stale", "--yes"}).status, 0);
  EXPECT_EQ(kernel_objects(), 0);
  EXPECT_EQ(access(CLI_IPC_NAME, F_OK), 0);

  const int foreign = shmget(ftok(CLI_IPC_NAME, 2), 100, IPC_CREAT | 0666);
  EXPECT_EQ(mar_queue({"remove-stale", "--yes"}).codes, Codes{"key-clash"});
  EXPECT_EQ(shmctl(foreign, IPC_RMID, nullptr), 0);
}

TEST(CommandLine, SaysWhatItCouldNotLookAt) {
  clear_scene();
  for (const char* command : {"show", "check", "reap"}) {
    const Report report = mar_queue({command});
    EXPECT_EQ(report.status, 2) << command;
    EXPECT_EQ(report.codes.at(0), "no-control-file") << command;
  }
  EXPECT_EQ(mar_queue({"status", "--name", "/" + std::string(130, 'x')}).codes.at(0), "name-too-long");
  for (const char* wrong : {"", "repair", "--watch"})
    EXPECT_EQ(Program({MAR_QUEUE_PATH, wrong}).status(), 2) << wrong;
  EXPECT_EQ(output_of({"sh", "-c", MAR_QUEUE_PATH " --json statsu 2>&1"}),
            "There is no command 'statsu'; the nearest is 'status'. "
            "The commands are: status ping show check reap remove-stale\n");
  EXPECT_EQ(output_of({"sh", "-c", MAR_QUEUE_PATH " chk 2>&1"})
                .find("There is no command 'chk'; the nearest is 'check'."),
            0u);
  EXPECT_EQ(output_of({"sh", "-c", MAR_QUEUE_PATH " --version | grep -cxE 'mar-queue [0-9.]+'"}), "1\n");
}

// No moment of rest can be waited for while the lock is held, so the holder is named instead.
TEST(Check, TellsAHeldLockFromTrouble) {
  clear_scene();
  Engine engine;
  ASSERT_EQ(engine.made.memory().Lock(), 0);
  const Report report = mar_queue({"check"});
  EXPECT_EQ(report.status, 2);
  EXPECT_EQ(report.codes, Codes{"unsettled"});
  EXPECT_TRUE(report.says("process " + std::to_string(getpid()) + " (mar_queue_test) held the queue's lock"))
      << report.json;
}

TEST(Ping, TellsAnAnswerFromItsAbsence) {
  clear_scene();
  EXPECT_EQ(mar_queue({"ping"}).codes, Codes{"not-reached"});
  {
    Engine silent;
    const Report report = mar_queue({"ping", "--timeout", "0.1"});
    EXPECT_EQ(report.codes, Codes{"no-answer"});
    EXPECT_EQ(report.status, 1);
    EXPECT_FALSE(report.json.contains("round_trip_ms"));
  }
  clear_scene();
  Program standin({STANDIN_PATH, "--fault", "ping-engine#2:result=-5", "--fault", "ping-engine#3:marker=7"});
  ASSERT_EQ(standin.line(), "ready");
  const Report report = mar_queue({"ping"});
  EXPECT_EQ(report.codes, Codes{"answered"});
  EXPECT_EQ(report.status, 0);
  EXPECT_GT(report.json.value("round_trip_ms", -1.0), 0);
  for (const char* fault : {"another result", "another marker"}) {
    EXPECT_EQ(mar_queue({"ping"}).codes, Codes{"bad-answer"}) << fault;
  }
  EXPECT_EQ(Program({"sh", "-c", MAR_QUEUE_PATH " ping --name /other 2>/dev/null"}).status(), 2);
}

TEST(CommandLine, WatchesUntilItsReaderLeaves) {
  clear_scene();
  Engine engine;
  Program watch({MAR_QUEUE_PATH, "show", "--watch", "0.1"});
  const auto shows = [&watch](const std::string& slots) {
    std::string line = "-";
    for (int lines = 0; lines < 10000 && line.rfind(slots, 0) != 0; ++lines) line = watch.line();
    return line.rfind(slots, 0) == 0;
  };
  EXPECT_TRUE(shows("slots   4: 0 queued"));
  engine.put(dead_process(), kSlots);
  EXPECT_TRUE(shows("slots   4: 4 queued"));
  watch.close_output();
  EXPECT_EQ(watch.status(), 128 + SIGPIPE);
}

}  // namespace mar
