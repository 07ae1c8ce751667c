// Many processes and threads on one log file. The usual size keeps the suite quick; the full one is
//   MAR_STORM_LINES=10000 MAR_STORM_SECONDS=20 log_storm_test
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/time.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <functional>
#include <thread>
#include <vector>

#include "log/engine_log.h"
#include "tests/log/messages.h"

namespace mar {

namespace {

constexpr int kProcesses = 8;
constexpr int kThreads = 4;

int setting(const char* name, int usual) {
  const char* value = getenv(name);
  return value == nullptr ? usual : atoi(value);
}

void start_writers(long max_size, const std::function<void(int writer)>& write) {
  unlink(kLogFile);
  ASSERT_EQ(ZARNLogInit(kLogFile, max_size, 3, 8192, 0), 0);
  for (int process = 0; process < kProcesses; ++process) {
    if (fork() != 0) continue;
    std::vector<std::thread> threads;
    for (int i = 0; i < kThreads; ++i) threads.emplace_back(write, process * kThreads + i);
    sigset_t all;
    sigfillset(&all);
    pthread_sigmask(SIG_BLOCK, &all, nullptr);  // signals are for the writers
    for (auto& thread : threads) thread.join();
    _exit(0);
  }
}

void expect_writers_end() {
  for (int status = 0; wait(&status) > 0;) EXPECT_EQ(status, 0);
}

// Each process is interrupted every millisecond, by a handler without SA_RESTART.
TEST(LogStorm, EveryLineArrivesWhole) {
  const int lines = setting("MAR_STORM_LINES", 250);
  start_writers(100'000'000, [=](int writer) {
    struct sigaction interrupt {};
    interrupt.sa_handler = [](int) {};
    sigaction(SIGALRM, &interrupt, nullptr);
    const itimerval interval{{0, 1000}, {0, 1000}};
    setitimer(ITIMER_REAL, &interval, nullptr);
    for (int n = 0; n < lines; ++n) ZARNLog(8192, 1, "%s", message_of(writer, n).c_str());
  });
  expect_writers_end();
  const LogContent content(kLogFile);
  EXPECT_EQ(content.torn, "");
  EXPECT_EQ(content.lines, static_cast<size_t>(kProcesses * kThreads * lines));
  EXPECT_EQ(content.messages.size(), content.lines);
}

TEST(LogStorm, RollingOverTearsNothingAndKeepsTheLimit) {
  constexpr long kLimit = 20'000;
  const time_t end = time(nullptr) + setting("MAR_STORM_SECONDS", 2);
  start_writers(kLimit, [=](int writer) {
    for (int n = 0; time(nullptr) <= end; ++n) ZARNLog(8192, 1, "%s", message_of(writer, n).c_str());
  });
  long largest = 0;
  for (struct stat now{}; time(nullptr) < end; stat(kLogFile, &now))
    largest = std::max<long>(largest, now.st_size);
  expect_writers_end();
  // What is in flight: a line of each process, and the lines that one roll-over keeps.
  EXPECT_LE(largest, kLimit + kProcesses * kLongestLine + kLimit / 8);
  EXPECT_EQ(LogContent(kLogFile).torn, "");
  EXPECT_NE(read_file(kLogFile).find("because log_size of 20000 was exceeded.\n\n"), std::string::npos);
}

}  // namespace

}  // namespace mar
