#include "log/engine_log.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cerrno>
#include <string>

#include "log/dump.h"
#include "log/log_record.h"
#include "log/stamp.h"
#include "tests/log/messages.h"
#include "tests/support/files.h"

namespace mar {

namespace {

// What was logged since the last call: the lines without the 22 characters of their stamps.
std::string logged(const std::string& file = kLogFile) {
  std::string text = read_file(file), messages;
  unlink(file.c_str());
  for (size_t at = 0; at < text.size(); at = text.find('\n', at) + 1) {
    messages += text.substr(at + 22, text.find('\n', at) - at - 21);
  }
  return messages;
}

// Over former settings, which must be gone even when it fails.
int init(const char* file, long max_size, int threshold, long components) {
  EXPECT_EQ(ZARNLogInit("before", 1000, 3, 1, 0), 0);
  const int result = ZARNLogInit(file, max_size, threshold, components, 0);
  EXPECT_EQ(IsComponentEnabled(0), result == 0 ? 1 : 0);
  return result;
}

TEST(EngineLog, SetUpChecksItsArguments) {
  EXPECT_EQ(init("C:\\logs\\x.log", 50, 2, 1), 0);
  EXPECT_STREQ(LogInfo()->fileName, "C:/logs/x.log");
  EXPECT_EQ(LogInfo()->maxSize, 100);
  EXPECT_EQ(ZARNLogInit(LogInfo()->fileName, 50, 2, 1, 0), 0);
  EXPECT_STREQ(LogInfo()->fileName, "C:/logs/x.log");
  EXPECT_EQ(init("x", 100'000'001, -100, 0x7FFFFFFF), 0);
  EXPECT_EQ(LogInfo()->maxSize, 100'000'000);
  EXPECT_TRUE(init(nullptr, 50, 2, 1) == -1 && init("x", 0, 2, 1) == -1);
  EXPECT_TRUE(init("x", 50, 4, 1) == -1 && init("x", 50, 2, -1) == -1);
  ZARNLogDeinit();
  ZARNLogDeinit();
}

TEST(EngineLog, ComponentAndLevelDecide) {
  struct {
    int threshold;
    long components, component;
    int level;
    const char* want;
  } const rows[] = {{2, 1, 1, 1, "x\n"},       {2, 1, 1, 2, "x\n"}, {2, 1, 1, 3, ""},
                    {2, 1, 3, 1, ""},          {2, 1, 0, 1, "x\n"}, {3, 255, 127, 3, "x\n"},
                    {3, 255, 256, 1, ""},      {0, 1, 1, 1, ""},    {0, 1, 1, 0, "x\n"},
                    {0, 1, 1, -100, "x\n"},    {-100, 1, 1, 0, ""}, {-100, 1, 1, -100, "x\n"},
                    {3, 0x7FFFFFFF, -1, 1, ""}};
  EXPECT_EQ(ZARNLog(0, 1, "uninitialised"), 0);
  for (const auto& row : rows) {
    ZARNLogInit(kLogFile, 1000, row.threshold, row.components, 0);
    errno = 77;
    EXPECT_EQ(ZARNLog(row.component, row.level, "%s", "x"), 0);
    EXPECT_EQ(errno, 77);
    EXPECT_EQ(logged(), row.want) << row.threshold << ' ' << row.component << ' ' << row.level;
  }
  for (int level : {-1, 4, -99}) EXPECT_EQ(ZARNLog(1, level, "x"), -1) << level;
}

long log_va(int wide, const char* format, ...) {
  va_list args;
  va_start(args, format);
  const long result = ZARNLogVA(1, -1, wide, format, args);
  va_end(args);
  return result;
}

TEST(EngineLog, WritesWhereItIsTold) {
  ZARNLogInit("/var/zarn\\a\\b/c.log", 1000, 3, 1, 0);
  EXPECT_EQ(log_va(1, "wide %s", u"text"), 0);
  EXPECT_EQ(log_va(0, nullptr), 0);
  EXPECT_EQ(logged("/var/zarn/a/b/c.log"), "wide text\n");

  LogInfo()->console = 1;
  testing::internal::CaptureStdout();
  ZARNLog(1, 1, "to the console");
  char want[100];
  snprintf(want, sizeof want, "(%04d:%04d)to the console\n", getpid(), static_cast<int>(pthread_self()));
  EXPECT_EQ(testing::internal::GetCapturedStdout(), want);
  LogInfo()->console = 0;
}

TEST(EngineLog, DumpsData) {
  ZARNLogInit(kLogFile, 100'000, 2, 1, 0);
  const unsigned char data[] = "\x41\x80\x0a\x41\x80%s\x7f\x1f ~!\x00\xff\xfe\xfd end";
  ZARNDump(1, 2, "three", data, 3);
  ZARNDump(1, 2, "twenty", data, 20);
  ZARNDump(1, 2, "none", nullptr, 20);
  ZARNDump(1, 2, "none", data, 0);
  ZARNDump(1, 3, "filtered", data, 20);
  EXPECT_EQ(logged(),
            "three\n-START DATA-: 3  (0x3) bytes-\n"
            "00000000: 41 ff 0a                                        A..\n-END DATA-\n"
            "twenty\n-START DATA-: 20  (0x14) bytes-\n"
            "00000000: 41 ff 0a 41 ff 25 73 7f 1f 20 7e 21 00 ff ff fffffffd A..A.%s.. ~!....\n"
            "00000010: 20 65 6e 64                                      end\n-END DATA-\n"
            "none\n-START DATA-: 20  (0x14) bytes-\n-END DATA-\n"
            "none\n-START DATA-: 0  (0) bytes-\n-END DATA-\n");
}

TEST(EngineLog, MutexCodes) {
  pthread_mutex_t mutex;
  EXPECT_EQ(ZARNMutexInit(&mutex) + ZARNMutexLock(&mutex), 0);
  EXPECT_EQ(ZARNMutexTryLock(&mutex), -13202);
  EXPECT_EQ(ZARNMutexUnlock(&mutex) + ZARNMutexTryLock(&mutex) + ZARNMutexUnlock(&mutex), 0);
  EXPECT_TRUE(ZARNMutexDestroy(&mutex) == 0 && ZARNMutexInit(nullptr) == -13200);
  EXPECT_TRUE(ZARNMutexLock(nullptr) == -13201 && ZARNMutexTryLock(nullptr) == -13201);
  EXPECT_TRUE(ZARNMutexUnlock(nullptr) == -13203 && ZARNMutexDestroy(nullptr) == -13204);
}

TEST(Stamp, LocalTime) {
  setenv("TZ", "XXX-2", 1);
  char plain[24], extended[32], want[32];
  unsigned long seconds = 0, millis = 5000;
  getLocalTime(0, plain, nullptr, &millis);
  EXPECT_EQ(millis, 5000u);  // kept as is: not without the seconds
  getLocalTime(1, extended, &seconds, &millis);
  const time_t local = static_cast<time_t>(seconds) + 7200;
  const size_t date = strftime(want, sizeof want, "%Y-%m-%d %H:%M:%S", gmtime(&local));
  snprintf(want + date, sizeof want - date, ".%03lu:%.3s:000", millis, extended + 24);
  EXPECT_STREQ(extended, want);
  EXPECT_LE(std::string(plain), std::string(extended).substr(0, 23));
}

}  // namespace

}  // namespace mar
