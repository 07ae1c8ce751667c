#include "log/log_file.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string>

#include "log/engine_log.h"
#include "tests/log/messages.h"
#include "tests/support/child.h"
#include "tests/support/system_calls.h"

namespace mar {

namespace {

// How often a line in the log at `path` makes system call `number`; it may neither block nor kill.
long calls_of_a_line(const std::string& path, long number) {
  ZARNLogInit(path.c_str(), 1000, 3, 8192, 0);
  const auto calls = system_calls_of([] { log_messages(0, 1); });
  EXPECT_EQ(std::count(calls.begin(), calls.end(), -1), 0) << path << " blocked or was killed";
  return std::count(calls.begin(), calls.end(), number);
}

std::string directory_of(const char* path) {
  char* directory = cut_dir(path);
  const std::string copy = directory;
  free(directory);
  return copy;
}

TEST(LogFile, PathHelpers) {
  EXPECT_EQ(directory_of("/a/b/c"), "/a/b");
  EXPECT_EQ(directory_of("a/b/"), "a/b");
  for (const char* none : {"/a", "a", "", "/", static_cast<const char*>(nullptr)})
    EXPECT_EQ(directory_of(none), "");
  for (const char* path : {"/var/zarn/a//b/", "var/zarn/from/root", "", static_cast<const char*>(nullptr)}) {
    create_dir(path);
  }
  EXPECT_EQ(access("/var/zarn/a/b", F_OK), 0);
  EXPECT_EQ(access("/var/zarn/from/root", F_OK), 0) << "made from the root";
  ZARNConvertDirToUnixFormat(nullptr);
}

TEST(LogFile, ReadsTheFirstBytes) {
  write_file(kLogFile, "0123456789");
  for (const std::string& want : {std::string("0123"), std::string("0123456789\0\0", 12)}) {
    char* got = ZARN_FileRead(kLogFile, static_cast<unsigned int>(want.size()));
    EXPECT_EQ(got == nullptr ? "null" : std::string(got, want.size()), want);
    free(got);
  }
  EXPECT_TRUE(ZARN_FileRead(nullptr, 4) == nullptr && ZARN_FileRead("/var/zarn/none", 4) == nullptr);
  EXPECT_EQ(ZARNLogFileSize("/var/zarn/none"), 0);
  errno = EINTR;
  ZARN_FileSendMessage(nullptr, "x");  // returns
  ZARN_FileSendMessage(kLogFile, nullptr);
  EXPECT_EQ(errno, EINTR);
}

// "line 01 ....\n" and so on, 30 bytes each.
std::string lines(int first, int last) {
  std::string text;
  for (int i = first; i <= last; ++i) text += "line " + std::to_string(i) + " " + std::string(21, '.') + "\n";
  return text;
}

TEST(RollOver, KeepsTheWholeLinesOfTheNewestEighth) {
  const std::string header = "Previous Log Messages were removed because log_size of 1000 was exceeded.\n";
  struct {
    const char* name;
    std::string before, after;
  } const rows[] = {
      {"tail begins inside a line", lines(10, 49), header + "\n" + lines(46, 49)},
      {"tail begins at a line's end", lines(10, 49) + "123\n", header + "\n" + lines(46, 49) + "123\n"},
      {"tail begins at a line's start", lines(10, 49) + "1234\n", header + "\n" + lines(47, 49) + "1234\n"},
      {"tail is one long line", lines(10, 40) + std::string(200, 'x') + "\n", header + "\n"},
      {"no line end in the tail", std::string(1001, 'x'), header},
      {"last line without an end", lines(10, 49) + "torn", header + "\n" + lines(46, 49) + "torn"},
      {"trimmed by another process meanwhile", std::string(1000, 'x'), std::string(1000, 'x')}};
  FILE* stream = nullptr;
  for (const auto& row : rows) {
    write_file(kLogFile, row.before);
    LogFileRollOver(kLogFile, 1000, &stream);
    EXPECT_EQ(read_file(kLogFile), row.after) << row.name;
    EXPECT_EQ(stream, nullptr) << row.name;
  }
  LogFileRollOver("/var/zarn/none", 1000, &stream);
  EXPECT_NE(access("/var/zarn/none", F_OK), 0);

  // A last line whose writer still holds the lock is not torn: the next line trims.
  write_file(kLogFile, rows[5].before);
  const Neighbour writer([] { return lockf(open(kLogFile, O_RDWR | O_CLOEXEC), F_LOCK, 0); });
  LogFileRollOver(kLogFile, 1000, &stream);
  EXPECT_EQ(read_file(kLogFile), rows[5].before);
  write_file(kLogFile, rows[0].before);
  LogFileRollOver(kLogFile, 1000, &stream);
  EXPECT_EQ(read_file(kLogFile), rows[0].after) << "an ended line needs no lock";
}

TEST(LogFile, AWrittenLineIsEightSystemCalls) {
  setenv("TZ", "UTC0", 1);
  umask(0);
  ZARNLogInit(kLogFile, 100, 3, 8192, 0);
  log_messages(0, 1);
  struct stat made {};
  EXPECT_EQ(stat(kLogFile, &made), 0);
  EXPECT_EQ(made.st_mode & 07777u, 0666u);
  // The line takes the file to just its limit, which is no reason to trim it.
  ASSERT_EQ(truncate(kLogFile, 100 - 46), 0);
  EXPECT_EQ(system_calls_of([] { log_messages(1, 1); }),
            (std::vector<long>{SYS_openat, SYS_lseek, SYS_fcntl, SYS_write, SYS_lseek, SYS_fcntl, SYS_close,
                               SYS_newfstatat}));
  EXPECT_EQ(read_file(kLogFile).size(), 100u);
  ASSERT_EQ(truncate(kLogFile, 101 - 46), 0);  // one byte past it
  log_messages(1, 1);
  EXPECT_EQ(read_file(kLogFile),
            "Previous Log Messages were removed because log_size of 100 was exceeded.\n\n");
  EXPECT_TRUE(system_calls_of([] {
                ZARNLog(1, 3, "component off");
                ZARNLogDeinit();
                ZARNLog(8192, 1, "uninitialised");
              }).empty());
}

// None of these may block, kill or be tried more than ten times.
TEST(LogFile, APathThatCannotBeOpenedLosesTheLine) {
  setenv("TZ", "UTC0", 1);
  tzset();  // opens files on its own
  for (const char* directory : {"/var/zarn/directory", "/var/zarn/read-only"}) mkdir(directory, 0777);
  EXPECT_EQ(mount("tmpfs", "/var/zarn/read-only", "tmpfs", MS_RDONLY, nullptr), 0);
  EXPECT_EQ(symlink("/var/none/x", "/var/zarn/dangling") + symlink("loop", "/var/zarn/loop"), 0);
  mkfifo("/var/zarn/fifo", 0666);
  write_file("/var/zarn/file", "");
  for (const std::string name : {"directory", "fifo", "dangling", "loop", "read-only/x", "file/x", ""}) {
    EXPECT_EQ(calls_of_a_line(name.empty() ? "" : "/var/zarn/" + name, SYS_openat), 10) << name;
  }
  // Nor may a pipe that no process empties.
  const int reader = open("/var/zarn/fifo", O_RDWR | O_NONBLOCK | O_CLOEXEC);
  while (write(reader, "x", 1) == 1) continue;
  EXPECT_EQ(calls_of_a_line("/var/zarn/fifo", SYS_write), 1);
  close(reader);
}

TEST(LogFile, AFullDiskTearsNoLineAndLoggingGoesOn) {
  ASSERT_EQ(mount("tmpfs", "/var/zarn", "tmpfs", 0, "size=64k"), 0);
  write_file("/var/zarn/filler", std::string(40'000, 'f'));
  ZARNLogInit(kLogFile, 1'000'000, 3, 8192, 0);
  log_messages(0, 1000);
  const size_t when_full = LogContent(kLogFile).lines;
  EXPECT_LT(when_full, 1000u);
  unlink("/var/zarn/filler");
  log_messages(1000, 20);
  const LogContent content(kLogFile);
  EXPECT_EQ(content.torn, "");
  EXPECT_EQ(content.lines, when_full + 20);
}

TEST(LogFile, AFileSizeLimitNeitherKillsNorTears) {
  signal(SIGXFSZ, SIG_DFL);
  const auto calls = system_calls_of([] {
    const rlimit limit{5000, 5000};
    setrlimit(RLIMIT_FSIZE, &limit);
    ZARNLogInit(kLogFile, 1'000'000, 3, 8192, 0);
    log_messages(0, 100);
  });
  EXPECT_EQ(std::count(calls.begin(), calls.end(), -1), 0) << "killed";
  const LogContent content(kLogFile);
  EXPECT_EQ(content.torn, "");
  EXPECT_GT(content.lines, 10u);

  const auto own_handler = [](int) {};
  signal(SIGXFSZ, own_handler);
  ZARNLogInit(kLogFile, 1'000'000, 3, 8192, 0);
  EXPECT_EQ(signal(SIGXFSZ, SIG_DFL), static_cast<sighandler_t>(own_handler))
      << "a program's own handler stays";
}

}  // namespace

}  // namespace mar
