#include "ipc/naming.h"

#include <gtest/gtest.h>
#include <sys/ipc.h>
#include <sys/shm.h>
#include <unistd.h>

#include <cstdlib>
#include <fstream>
#include <string>
#include <thread>

namespace mar {

TEST(Naming, BuildsNamesWithinTheirLimit) {
  const std::string long_base(200, 'b');
  struct {
    const char* label;
    std::string base;
    const char* suffix;
    const char* instance;  // of ARM_AGENT_PREFIX, null: not set
    int limit;
    std::string want;
  } const rows[] = {
      {"plain", "/var/x", nullptr, nullptr, 123, "/var/x"},
      {"suffix", "/var/x", "_s", nullptr, 123, "/var/x_s"},
      {"instance", "/var/x", nullptr, "blue", 123, "/var/x.blue"},
      {"empty instance", "/var/x", "_s", "", 123, "/var/x_s."},
      {"base alone fills it", long_base, "_s", "blue", 123, std::string(122, 'b')},
      {"cut in the suffix", "/var/x", "12345", "blue", 10, "/var/x123"},
      {"cut in the instance", "/var/x", nullptr, "blue", 10, "/var/x.bl"},
      {"no room at all", "/var/x", nullptr, nullptr, 1, ""},
  };
  for (const auto& row : rows) {
    unsetenv("ARM_AGENT_PREFIX");
    if (row.instance != nullptr) setenv("ARM_AGENT_PREFIX", row.instance, 1);
    std::string out(static_cast<size_t>(row.limit) + 1, '#');
    CIPCUtils::createIPCName(row.base.c_str(), row.suffix, row.limit, out.data());
    EXPECT_STREQ(out.c_str(), row.want.c_str()) << row.label;
  }
}

TEST(Naming, KeysAreThoseOfFtok) {
  const char* const path = "/var/zarn/keys";
  mar::IpcKeys keys;
  EXPECT_FALSE(mar::impl_ipc_keys(path, keys));
  std::ofstream(path) << 'x';
  ASSERT_TRUE(mar::impl_ipc_keys(path, keys));
  EXPECT_EQ(keys.segment_semaphores, ftok(path, 1));
  EXPECT_EQ(keys.segment, ftok(path, 2));
  EXPECT_EQ(keys.queue_semaphores, ftok(path, 3));
}

TEST(Naming, UsersDifferByProcessAndByThread) {
  const _TIPCIdentifier mine = GetIpcIdentifier(GetProcessID());
  EXPECT_EQ(mine.process_id, static_cast<uint32_t>(getpid()));
  EXPECT_TRUE(CIPCUtils::sameIPCIdentifiers(mine, GetIpcIdentifier(GetProcessID())));
  _TIPCIdentifier other = mine;
  std::thread([&] { other = GetIpcIdentifier(GetProcessID()); }).join();
  EXPECT_FALSE(CIPCUtils::sameIPCIdentifiers(mine, other));
  other = mine;
  ++other.process_id;
  EXPECT_FALSE(CIPCUtils::sameIPCIdentifiers(mine, other));
}

// Signalled as a process, 0 and numbers above INT_MAX would mean groups of processes.
TEST(Naming, OnlyProcessesLive) {
  EXPECT_FALSE(mar::process_is_gone(static_cast<uint32_t>(getpid())));
  for (const uint32_t number : {0u, 0x7FFFFFFFu, 0x80000000u, 0xFFFFFFFFu})
    EXPECT_TRUE(mar::process_is_gone(number));
}

TEST(Naming, RemovesASegmentByItsKey) {
  EXPECT_EQ(getAndRemoveSharedMemory(0x5A52, 100), 0);
  ASSERT_NE(shmget(0x5A52, 100, IPC_CREAT | 0666), -1);
  EXPECT_EQ(getAndRemoveSharedMemory(0x5A52, 100), 0);
  EXPECT_EQ(shmget(0x5A52, 1, 0), -1);
}

}  // namespace mar
