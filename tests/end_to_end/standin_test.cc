// Real clients against mar-standin: many at once, killed at every step, on a queue that is being damaged.
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/time.h>

#include <atomic>
#include <cstdlib>
#include <list>
#include <optional>
#include <random>

#include "engine_client/commands.h"
#include "engine_client/exchange.h"
#include "ipc/naming.h"
#include "tests/end_to_end/scripted_engine.h"
#include "tests/support/kernel_objects.h"
#include "tests/support/program.h"
#include "tests/support/t1_path.h"

namespace mar {

namespace {

struct Standin : RawSegment {
  explicit Standin(const std::vector<std::string>& options) : program(command(options)) {
    ready = program.line() == "ready";
    if (!ready) return;
    memory.emplace(CLI_IPC_NAME, false);
    mar::impl_ipc_keys(CLI_IPC_NAME, keys);
    lock_set = semget(keys.segment_semaphores, 2, 0);
    slots = static_cast<uint16_t>((memory->GetSize() - 12) / 10280);
    attach(memory->GetAddress(), slots);
  }
  static std::vector<std::string> command(const std::vector<std::string>& options) {
    std::vector<std::string> words{STANDIN_PATH, "--quiet"};
    words.insert(words.end(), options.begin(), options.end());
    return words;
  }

  // Whether every slot is on the free list and only the engine's head is in use.
  bool at_rest() {
    if (u16(0) != 0) return false;
    for (uint32_t i = 0; i < slots; ++i) {
      const uint8_t state = *at(head(i));
      if (u32(head(i) + 12) != 0 || (state != HEAD_IDLE && state != HEAD_CHANNEL)) return false;
    }
    uint32_t free = 0;
    for (uint32_t next = u32(4); next != 0 && free <= slots; next = u32(next + 10260)) ++free;
    return free == slots;
  }

  Program program;
  bool ready = false;
  std::optional<CkesSharedMemory> memory;
  mar::IpcKeys keys{};
  int lock_set = -1;
  uint16_t slots = 0;
};

// Runs mar-standin with its standard error in the output.
std::vector<std::string> standin_command(const std::vector<std::string>& options) {
  std::vector<std::string> words{"sh", "-c", "exec \"$0\" \"$@\" 2>&1", STANDIN_PATH};
  words.insert(words.end(), options.begin(), options.end());
  return words;
}

std::string dump_output() { return Program({t1_path(), "dump"}).output(); }

// Sends a payload of its own and expects it back. Returns 1, or what went wrong.
long echo(uint32_t round) {
  uint8_t request[16] = {0, 0, 0, 0, 0, 0, 0, 127};
  const uint32_t payload[2] = {static_cast<uint32_t>(getpid()), round};
  std::memcpy(request + 8, payload, sizeof payload);
  uint8_t reply[CLI_MAX_BUFFER_SIZE];
  const int result = zarn_send_and_rcv(request, sizeof request, reply);
  if (result != 1) return result;
  const _TIPCIdentifier self = GetIpcIdentifier(getpid());
  return std::memcmp(reply + 8, &self, 8) == 0 && std::memcmp(reply + 16, payload, 8) == 0 ? 1 : -99;
}

}  // namespace

TEST(Standin, OfTwoThatStartTogetherOneServes) {
  for (int pair = 0; pair < 30; ++pair) {
    Program one(standin_command({"--quiet"})), other(standin_command({"--quiet"}));
    const std::string line = one.line(), other_line = other.line();
    ASSERT_NE(line == "ready", other_line == "ready") << pair << ": " << line << ", " << other_line;
    Program& engine = line == "ready" ? one : other;
    Program& late = line == "ready" ? other : one;
    EXPECT_EQ(line == "ready" ? other_line : line,
              "failed: an engine runs here already: /var/zarn/controls_cl.zarn");
    EXPECT_EQ(late.status(), 3);
    ASSERT_EQ(dump_output(), "mar_dump worked!\n") << pair;
    kill(engine.pid(), SIGTERM);
    ASSERT_EQ(engine.status(), 0);
    ASSERT_EQ(kernel_objects(), 0) << pair;
    ASSERT_NE(access(CLI_IPC_NAME, F_OK), 0) << pair;
  }
}

TEST(Standin, SaysWhatIsWrongWithItsOptions) {
  const struct {
    std::vector<std::string> options;
    const char* output;
    int status;
  } rows[] = {
      {{"--slots", "1"}, "--slots: Value 1 not in range 2 to ", 2},
      {{"--slots", "65534"}, "--slots: Value 65534 not in range 2 to ", 2},
      {{"--ready-fd", "77"}, "mar-standin: --ready-fd 77: not open for writing\n", 2},
      {{"--ready-fd", "0"}, "mar-standin: --ready-fd 0: not open for writing\n", 2},
      {{"--fault", "dump"}, "mar-standin: --fault dump: \"dump\" is not WHEN:WHAT\n", 2},
      {{"--name", "plain"}, "failed: control file plain: give its folder too, as in ./plain\n", 1},
  };
  for (const auto& row : rows) {
    Program standin(
        {"sh", "-c", "exec \"$0\" \"$@\" 2>&1 </dev/null", STANDIN_PATH, row.options[0], row.options[1]});
    EXPECT_EQ(standin.output().rfind(row.output, 0), 0u) << row.output;
    EXPECT_EQ(standin.status(), row.status) << row.output;
  }
}

// The engine cannot see its clients' processes.
TEST(Standin, ServesClientsOfOtherProcessNamespaces) {
  Program engine({"unshare", "--pid", "--fork", "--kill-child", STANDIN_PATH, "-v", "--fault",
                  "dump:size=300000,delay=600", "--slots", "6"});
  ASSERT_EQ(engine.line(), "ready");
  EXPECT_EQ(dump_output(), "mar_dump worked!\n");
  EXPECT_EQ(Program({t1_path(), "stopeng"}).status(), 0);
  EXPECT_EQ(engine.output().find("freed"), std::string::npos);
  EXPECT_EQ(engine.status(), 0);
}

TEST(Standin, AnswersEachOfManyClientsItsOwn) {
  Standin engine(
      {"--slots", "40", "--fault", "*:echo", "--fault", "*%20:delay=1", "--fault", "*%5:size=25000"});
  ASSERT_TRUE(engine.ready);
  std::list<Child> clients;
  for (int i = 0; i < 32; ++i) {
    clients.emplace_back([] {
      long result = 1;
      for (uint32_t round = 0; round < 100 && result == 1; ++round) result = echo(round);
      return result;
    });
  }
  for (auto& client : clients) EXPECT_EQ(client.result(), 1);
  EXPECT_TRUE(eventually([&] { return engine.at_rest(); }));
}

// A signal comes a thousand times a second; its handler lets no call restart by itself.
TEST(Standin, ClientsTakeNoHarmFromSignals) {
  Standin engine({"--fault", "*:echo,delay=5"});
  ASSERT_TRUE(engine.ready);
  Child client([] {
    struct sigaction ignore {};
    ignore.sa_handler = [](int) {};
    sigaction(SIGALRM, &ignore, nullptr);
    const itimerval often{{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &often, nullptr);
    long result = 1;
    for (uint32_t round = 0; round < 50 && result == 1; ++round) result = echo(round);
    return result;
  });
  EXPECT_EQ(client.result(), 1);
}

TEST(Standin, ServesManyMoreClientsThanItHasHeads) {
  Standin engine({"--slots", "4"});
  ASSERT_TRUE(engine.ready);
  for (int i = 0; i < 20; ++i) ASSERT_EQ(dump_output(), "mar_dump worked!\n") << i;
  EXPECT_TRUE(engine.at_rest());
}

// A client killed before or after any of its semaphore operations leaves the lock free
// and the engine in service.
TEST(Standin, SurvivesAClientKilledAtAnyStep) {
  Standin engine({"--slots", "8"});
  ASSERT_TRUE(engine.ready);
  int step = 1;
  for (int status = 128 + SIGKILL; status == 128 + SIGKILL; ++step) {
    ASSERT_LT(step, 100);
    const std::string inject = "inject=semtimedop:signal=KILL:when=" + std::to_string(step);
    Program t1({"strace", "-qq", "-o", "/dev/null", "-e", inject, t1_path(), "dump"},
               {"ASAN_OPTIONS=detect_leaks=0"});  // no leak check works under a tracer
    t1.output();
    status = t1.status();
    ASSERT_TRUE(status == 128 + SIGKILL || status == 0) << status;
    // The engine itself takes the lock now and then.
    ASSERT_TRUE(eventually([&] { return semctl(engine.lock_set, mar::kLockSem, GETVAL) == 0; }))
        << "step " << step;
    ASSERT_EQ(dump_output(), "mar_dump worked!\n") << "step " << step;
  }
  EXPECT_GT(step, 13) << "an exchange has more semaphore operations";
  EXPECT_TRUE(eventually([&] { return engine.at_rest(); }));
}

// Counts the good and failed exchanges of all clients, in memory that they share.
struct Tally {
  std::atomic<int> good, failed;
};

// In each round, a fresh queue is damaged while its clients use it. Clients may lose answers and then wait
// on, but no process crashes.
TEST(Standin, NobodyCrashesOnAQueueThatIsBeingDamaged) {
  auto* const tally = static_cast<Tally*>(
      mmap(nullptr, sizeof(Tally), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0));
  std::mt19937 generator(20261121);
  const auto pick = [&](uint32_t below) { return static_cast<uint32_t>(generator()) % below; };
  for (int round = 0; round < 40; ++round) {
    Standin engine({"--slots", "8"});
    ASSERT_TRUE(engine.ready);
    std::list<Child> clients;
    for (int i = 0; i < 3; ++i) {
      clients.emplace_back([tally]() -> long {
        const uint8_t request[8] = {0, 0, 0, 0, 0, 0, 0, 127};
        for (unsigned char* reply = nullptr;; std::free(reply), reply = nullptr) {
          ++(zarn_send_rcv_from_mar_engine(request, sizeof request, &reply) == 1 ? tally->good
                                                                                 : tally->failed);
        }
      });
    }
    const int good_before = tally->good;
    ASSERT_TRUE(eventually([&] { return tally->good >= good_before + 5; }));
    for (int blow = 0; blow < 40; ++blow) {
      const uint32_t head = 12 + 16 * pick(8), next = 12 + 16 * 8 + 10264 * pick(8) + 10260;
      const uint32_t places[] = {0, 4, head, head + 4, head + 8, head + 12, next};
      const uint32_t number = pick(2) == 0 ? 12 + 16 * 8 + 10264 * pick(9) : pick(UINT32_MAX);
      std::this_thread::sleep_for(std::chrono::microseconds(pick(400)));
      engine.u32(places[pick(std::size(places))]) = number;
    }
    for (auto& client : clients) {
      EXPECT_FALSE(client.ended()) << "round " << round;
      client.kill();
    }
    engine.program.close_output();
    kill(engine.program.pid(), SIGTERM);
    EXPECT_LT(engine.program.status(), 128);
  }
  EXPECT_GT(tally->failed, 40) << "the damage was too kind";
}

}  // namespace mar
