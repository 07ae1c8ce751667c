// The log and the trace among signals, other processes, cancelled threads and forked children.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <pthread.h>
#include <signal.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <string>
#include <thread>

#include "log/engine_log.h"
#include "log/log_file.h"
#include "log/log_record.h"
#include "log/trace.h"
#include "tests/log/messages.h"
#include "util/time.h"

namespace mar {

namespace {

class Neighbours : public testing::Test {
 protected:
  Neighbours() {
    create_dir(kTraceDirectory.c_str());
    wcDebugSetLogFormat(0);
    VDebugRun = 1;
    ZARNLogInit(kLogFile, 1'000'000, 3, 8192, 0);
  }
};

sigset_t blocked(int number) {
  sigset_t set;
  sigemptyset(&set);
  sigaddset(&set, number);
  sigprocmask(SIG_BLOCK, &set, nullptr);
  return set;
}

// In a child that logs to its broken standard output, as a file or as the console: whether the signal is
// pending, after a line that it would have killed and another one while it is blocked.
long pending_sigpipe(bool console, bool pending_before) {
  int ends[2];
  EXPECT_EQ(pipe(ends) + close(ends[0]), 0);
  const auto body = [&] {
    dup2(ends[1], STDOUT_FILENO);
    signal(SIGPIPE, SIG_DFL);
    ZARNLogInit("/dev/stdout", 1000, 3, 8192, 0);
    LogInfo()->console = console;
    log_messages(0, 1);
    sigset_t set = blocked(SIGPIPE);
    if (pending_before) raise(SIGPIPE);
    log_messages(0, 1);
    sigpending(&set);
    return long{sigismember(&set, SIGPIPE)};
  };
  return Child(body).result();
}

TEST_F(Neighbours, APipeWithoutAReaderRaisesNoSignal) {
  for (const bool console : {false, true}) {
    EXPECT_EQ(pending_sigpipe(console, false), 0) << console;
    EXPECT_EQ(pending_sigpipe(console, true), 1) << "it stays pending";
  }
}

// The kernel asks a lease's holder to give it up, by a signal, when another process opens the file.
TEST_F(Neighbours, ALeaseDelaysALineAndLosesNone) {
  for (const std::string& path : {std::string(kLogFile), kTraceFile}) {
    write_file(path, "");
    const Neighbour holder(
        [&] {
          blocked(SIGIO);
          return fcntl(open(path.c_str(), O_RDWR | O_CLOEXEC), F_SETLEASE, F_WRLCK);
        },
        [] {
          const sigset_t set = blocked(SIGIO);
          sigwaitinfo(&set, nullptr);
          usleep(20'000);  // longer than ten attempts take that do not wait
        });
    path == kLogFile ? log_messages(0, 1) : wcDebug("line");
    EXPECT_NE(read_file(path), "") << path;
  }
}

TEST_F(Neighbours, ACancelledThreadFinishesItsLine) {
  const int lowest = dup(0);
  close(lowest);
  pthread_t thread;
  pthread_create(
      &thread, nullptr,
      // GCC's AddressSanitizer leaves the frame of a cancelled function poisoned.
      [](void*) __attribute__((no_sanitize_address))->void* {
        pthread_cancel(pthread_self());
        log_messages(0, 1);
        wcDebugln("line");
        free(ZARN_FileRead(kLogFile, 4));
        ZARN_FileSendMessage(kLogFile, "line\n");
        pthread_testcancel();
        return nullptr;
      },
      nullptr);
  void* result = nullptr;
  pthread_join(thread, &result);
  EXPECT_EQ(result, PTHREAD_CANCELED);
  EXPECT_EQ(dup(0), lowest) << "a descriptor stays open";
  const std::string text = read_file(kLogFile), traced = read_file(kTraceFile);
  EXPECT_EQ(text.substr(text.size() - 10), " end\nline\n");
  EXPECT_EQ(traced.substr(traced.rfind('-')), "- line\n");
  EXPECT_EQ(ZARNMutexTryLock(LogMutex()), 0);
}

// Forked while another thread is in the middle of a call, a child makes the same call first.
TEST_F(Neighbours, AForkedChildsFirstCallReturns) {
  struct {
    const char* name;
    void (*call)();
  } const rows[] = {{"log", [] { log_messages(0, 1); }},
                    {"filtered", [] { ZARNLog(1, 3, "off"); }},
                    {"trace", [] { wcDebugln("line"); }},
                    {"time", [] {
                       time_t now = 0;
                       zarn_mktime(zarn_gmtime(&now));
                       struct tm out;
                       mar::local_time_of(now, &out);
                     }}};
  for (const auto& row : rows) {
    std::atomic<bool> stop = false;
    std::jthread busy([&] {
      while (!stop) row.call();
    });
    bool hangs = false;
    for (int i = 0; i < 50 && !hangs; ++i) {
      const Child child([&] {
        row.call();
        return 0;
      });
      hangs = !eventually([&] { return child.ended(); });
    }
    EXPECT_FALSE(hangs) << row.name;
    stop = true;
  }

  // Nor does fork() wait for a file that another process keeps locked.
  std::jthread stuck;
  const Neighbour holder([] { return lockf(open(kLogFile, O_RDWR | O_CLOEXEC), F_LOCK, 0); });
  stuck = std::jthread([] { log_messages(0, 1); });
  EXPECT_TRUE(eventually([] {
    const long held = ZARNMutexTryLock(LogMutex());
    return held == 0 ? ZARNLogMutexUnlock() != 0 : held == -13202;
  }));
  EXPECT_EQ(Child([] { return long{IsComponentEnabled(8192)}; }).result(), 1);
}

}  // namespace

}  // namespace mar
