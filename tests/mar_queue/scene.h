// A queue in whatever trouble a test wants, and mar-queue run on it.
#pragma once

#include <sys/sem.h>
#include <sys/shm.h>

#include <nlohmann/json.hpp>
#include <string>
#include <vector>

#include "tests/ipc/made_queue.h"
#include "tests/support/child.h"
#include "tests/support/program.h"

namespace mar {

inline constexpr uint16_t kSlots = 4;

struct Report {
  int status;
  nlohmann::json json;
  std::vector<std::string> codes;  // of the findings, in order

  bool says(const std::string& words) const { return json.dump().find(words) != std::string::npos; }
};

inline Report mar_queue(std::vector<std::string> words) {
  words.insert(words.begin(), {MAR_QUEUE_PATH, "--json"});
  Program program(words);
  const std::string output = program.output();
  Report report{program.status(), nlohmann::json::parse(output, nullptr, false), {}};
  EXPECT_TRUE(report.json.is_object()) << output;
  if (!report.json.is_object()) return report;
  EXPECT_EQ(report.json["exit"], report.status);
  for (const auto& finding : report.json["findings"]) report.codes.push_back(finding["code"]);
  return report;
}

// Removes every kernel object and control file of the test's namespaces.
inline void clear_scene() { Program({"sh", "-c", "ipcrm --all; rm -rf /var/zarn/*"}).status(); }

inline int set_of(int number) { return semget(ftok(CLI_IPC_NAME, number), 0, 0); }

// A queue whose engine, this process, is ready for requests.
struct Engine {
  explicit Engine(uint16_t slots = kSlots) : made(slots) {
    long key = 0;
    EXPECT_EQ(queue.OpenChannel(ZARNENGINE_ID, &key), 0);
  }
  // Frees the lock that a test may have taken: detaching would wait for it.
  ~Engine() { semctl(set_of(1), kLockSem, SETVAL, 0); }
  void put(_TIPCIdentifier user, int messages) {
    for (int i = 0; i < messages; ++i) EXPECT_EQ(queue.Put(user, numbered(1)), 0);
  }
  // The first free slot leaves the free list.
  void lose_slot() { made.u32(4) = made.u32(made.u32(4) + 10260); }

  MadeQueue made;
  CommandQueue queue{CLI_IPC_NAME, false};
};

// A queue whose engine is a child, ready or dead.
struct EngineChild {
  EngineChild() {
    EXPECT_TRUE(eventually([] {
      return CommandQueue(CLI_IPC_NAME, false).CreatorAlive() && semctl(set_of(3), kOverflowSem, GETVAL) == 1;
    }));
  }
  Child child{[] {
    Engine engine;
    engine.made.semaphores().implResetOverflow();  // the sign that it is ready
    pause();
    return 0L;
  }};
};

}  // namespace mar
