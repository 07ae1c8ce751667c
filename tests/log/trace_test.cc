#include "log/trace.h"

#include <gtest/gtest.h>
#include <regex.h>
#include <sys/mount.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <climits>
#include <cstdlib>
#include <string>
#include <vector>

#include "log/log_file.h"
#include "log/trace_location.h"
#include "log/trace_record.h"
#include "tests/log/messages.h"
#include "tests/support/files.h"

namespace mar {

namespace {

// "<result><value>"; the value stays "-" when it is not written. Text and value are in blocks of just their
// sizes, so that the address sanitizer sees an overrun.
std::string parsed(const std::string& text, size_t size = 64) {
  const std::vector<char> block(text.begin(), text.end());
  std::vector<char> out(std::max<size_t>(size, 2), '\0');
  out[0] = '-';
  return std::to_string(parseLogProps(block.data(), static_cast<unsigned>(text.size()), out.data(), size)) +
         out.data();
}

TEST(TraceLocation, FindsTheKeyInAnyText) {
  const std::string key = "brenvik_common_dir";
  EXPECT_EQ(parsed("a=b\r\n" + key + " == \t/o l =\t \r\nx"), "1/o l");
  EXPECT_EQ(parsed(key + "X/opt"), "1/opt") << "the character after the key is skipped, whatever it is";
  EXPECT_EQ(parsed("# " + key + "=/opt\n"), "1/opt");
  EXPECT_EQ(parsed("#" + key + "=/a\n" + key + "=/b\n" + key + "=/c\n"), "1/b");
  EXPECT_EQ(parsed("x\n" + key), "1");
  EXPECT_EQ(parsed(key + "== = \t"), "1");
  EXPECT_EQ(parsed(key.substr(1)), "0-");
  EXPECT_EQ(parsed(std::string("a\0", 2) + key + "=/opt"), "1/opt");
  EXPECT_EQ(parsed(key + "=/o" + std::string("\0pt", 3)), "1/o");
  EXPECT_EQ(parsed(key + "=/opt/logs\n", 5), "1/opt");
  EXPECT_EQ(parsed(key + "=/opt/logs\n", 1), "1");
  EXPECT_EQ(parsed(key + "=/opt/logs\n", 0), "0-");
  EXPECT_EQ(parsed(""), "0-");
}

// Where the trace file is with `text` in the properties file.
std::string location(const std::string& text, size_t size = 4097) {
  write_file(LOG_PROPS_FS, text);
  std::vector<char> out(size);
  getLogFileSpec(out.data(), size);
  return out.data();
}

TEST(TraceLocation, FollowsThePropertiesFile) {
  ASSERT_EQ(mount("tmpfs", "/etc", "tmpfs", 0, nullptr), 0);
  create_dir("/etc/qxo/brenvik/common/cfg");
  const std::string key = "brenvik_common_dir=", long_value(5000, 'x');
  EXPECT_EQ(location(key + "/opt/logs\n"), "/opt/logs/KFD/logs/trace-armdebug.log");
  EXPECT_EQ(location(key + "/opt/\n"), "/opt/KFD/logs/trace-armdebug.log");
  EXPECT_EQ(location(key), "/KFD/logs/trace-armdebug.log");
  EXPECT_EQ(location("#" + key + "/opt/\n"), kTraceFile);
  EXPECT_EQ(location(key + long_value), long_value.substr(0, 4096));
  EXPECT_EQ(location(key + "/123456\n", 9), "/123456/");
  EXPECT_EQ(location(key + "/123456\n", 8), "/123456");
  EXPECT_EQ(location("", 10), "/var/qxo/");

  char* block = nullptr;
  write_file("/etc/short", "123");
  for (int length : {4, -1, INT_MIN}) EXPECT_EQ(readFile("/etc/short", length, &block), 0) << length;
  EXPECT_EQ(readFile("/etc", 1, &block), 0);
  unsigned int size = 0;
  EXPECT_EQ(truncate("/etc/short", 5'000'000'000) + fileExists("/etc/short", &size), 1);
  EXPECT_EQ(size, UINT_MAX);
}

// The trace file's text since the last call, its times replaced by "MILLIS", "TIME" and,
// to the nanosecond, "FINE".
std::string traced() {
  std::string text = read_file(kTraceFile);
  unlink(kTraceFile.c_str());
  regex_t time;
  regcomp(&time, "[0-9]{4}(-[0-9]{2}){2} [0-9]{2}(:[0-9]{2}){2}[.][0-9]{3}(:[0-9]{3}:000)?|[0-9]{13}\"",
          REG_EXTENDED);
  for (regmatch_t found; regexec(&time, text.c_str(), 1, &found, 0) == 0;) {
    const auto length = static_cast<size_t>(found.rm_eo - found.rm_so);
    text.replace(static_cast<size_t>(found.rm_so), length,
                 length == 14   ? "MILLIS\""
                 : length == 23 ? "TIME"
                                : "FINE");
  }
  regfree(&time);
  return text;
}

TEST(Trace, WritesItsRecords) {
  create_dir(kTraceDirectory.c_str());
  wcDebugln("off");
  trace_ln("off %d", 1);
  EXPECT_NE(access(kTraceFile.c_str(), F_OK), 0);

  char host[257] = "";
  gethostname(host, 256);
  char pid[16];
  snprintf(pid, sizeof pid, "%04d", getpid());
  const std::string tid = std::to_string(pthread_self());
  const std::string head = std::string("FINE (") + pid + ":" + tid + ") - ";
  VDebugRun = 1;
  errno = 77;
  wcDebugln("x ]]> & \xff");  // XML is the format at start
  EXPECT_EQ(errno, 77);
  EXPECT_EQ(traced(),
            "<Trace>\n <Time Millis=\"MILLIS\">TIME</Time>\n <Server Format=\"IP\">" + std::string(host) +
                "</Server>\n <ProductId>KFD</ProductId>\n <Component>ARM</Component>\n"
                " <ProductInstance>5.3</ProductInstance>\n <LogText><![CDATA[x ]]> & \xff]]></LogText>\n"
                " <LogAttribs><Key>organization</Key><Value>QXO</Value></LogAttribs>\n"
                " <Source FileName=\"None\" Method=\"None\"/>\n <Thread>" +
                tid + "</Thread>\n <Process>" + pid + "</Process>\n</Trace>\n");
  wcDebugSetLogFormat(-7);
  wcDebugln("x");
  trace_ln("%s %d%%", std::string(1010, 'k').c_str(), 12345);
  trace_ln("%s", std::string(2000, 'k').c_str());
  wcDebug("y");
  wcDebug(nullptr);
  EXPECT_EQ(traced(), head + "x\n" + head + std::string(1010, 'k') + " 12345%\n" + head +
                          std::string(1023, 'k') + "\n" + head + "y");
  wcDebugSetLogFormat(2);
  wcDebugln("x");
  EXPECT_EQ(access(kTraceFile.c_str(), F_OK), 0);
  EXPECT_EQ(traced(), "");
  char cut[] = "##########";
  for (const auto get : {wcDebugGetLogFileSpec, getLogFileSpec, findCommonLogDir}) get(cut + 1, 0);
  EXPECT_STREQ(cut, "##########");
  wcDebugGetLogFileSpec(cut, sizeof cut - 1);
  EXPECT_STREQ(cut, "/var/qxo/");
}

TEST(Trace, ReportsAnUnopenableFileOnce) {
  rmdir(kTraceDirectory.c_str());
  VDebugRun = 1;
  testing::internal::CaptureStdout();
  wcDebugln("lost");
  wcDebugln("lost");
  EXPECT_EQ(testing::internal::GetCapturedStdout(),
            "Failed to open trace file [" + kTraceFile + "], make sure that subdirectory exists\n");
  create_dir(kTraceDirectory.c_str());
  wcDebugSetLogFormat(0);
  wcDebug("back");
  EXPECT_EQ(traced().substr(0, 6), "FINE (");
}

TEST(Trace, TimedPeriod) {
  struct {
    const char* name;
    int format, run, second, want, format_after, run_after;
  } const rows[] = {{"before it", 3600, 10, 3600, 0, 3600, 10},
                    {"first call after its start", 3600, 10, 3601, 1, 4200, -1},
                    {"running", 4200, -1, 4200, 1, 4200, -1},
                    {"over", 4200, -1, 4201, 0, 2, 0},
                    {"more minutes than an int of seconds", 3600, INT_MAX, 3601, 1, INT_MAX, -1},
                    {"no period", 2, 5, 0, 5, 2, 5}};
  for (const auto& row : rows) {
    wcDebugSetLogFormat(row.format);
    VDebugRun = row.run;
    EXPECT_EQ(trace_enabled_at(row.second), row.want) << row.name;
    EXPECT_EQ(wcDebugGetLogFormat(), row.format_after) << row.name;
    EXPECT_EQ(VDebugRun, row.run_after) << row.name;
  }
  wcDebugSetLogFormat(86400);  // every second of a day comes before it
  VDebugRun = -1;
  EXPECT_EQ(wcDebugEnabled(), 1);
}

}  // namespace

}  // namespace mar
