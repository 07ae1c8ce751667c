#include "log/message_format.h"

#include <gtest/gtest.h>
#include <sys/time.h>

#include <climits>
#include <cstdlib>
#include <memory>
#include <string>

#include "charset/codeset.h"

namespace mar {

static const timeval* fixed_time = nullptr;

extern "C" {
int __real_gettimeofday(timeval* now, void* zone);
int __wrap_gettimeofday(timeval* now, void* zone) {
  if (fixed_time == nullptr) return __real_gettimeofday(now, zone);
  *now = *fixed_time;
  return 0;
}
}

namespace {

// Formats into a block of exactly the promised size, so that the address sanitizer sees an overrun.
std::string message(int wide, const char* format, ...) {
  const auto out = std::make_unique<char[]>(1025);
  va_list args;
  va_start(args, format);
  const bool built = BuildLogMessage(out.get(), wide, format, args);
  va_end(args);
  return built ? out.get() : "(no message)";
}

TEST(MessageFormat, ConvertsStopsAndCuts) {
  const std::string k1020(1020, 'k'), k1024(1024, 'k'), k2000(2000, 'k');
  const uint16_t wide[] = {'a', 0x00E9, 0x4E2D, 'b', 0};
  xcs_init();
  xcs_set_def_cs(utf8_cs);
  const std::u16string wide_2000(2000, u'w');
  struct {
    const char* name;
    std::string got, want;
  } const rows[] = {
      {"empty", message(0, ""), ""},
      {"each conversion", message(0, "a %d|%i|%f|%s|", INT_MIN, 7, -1.5, "x"),
       "a -2147483648|7|-1.500000|x|"},
      {"null string", message(0, "<%s>", nullptr), "<>"},
      {"unknown conversion", message(0, "a %d b %x c", 5, 6), "a 5 b "},
      {"doubled percent sign", message(0, "100%% sure"), "100"},
      {"length modifier", message(0, "n=%ld!", 5L), "n="},
      {"width", message(0, "n=%5d!", 5), "n="},
      {"percent sign at the end", message(0, "x%"), "x"},
      {"long string", message(0, "%s", k2000.c_str()), k1024},
      {"long format", message(0, k2000.c_str()), k1024},
      {"number cut at the end", message(0, (k1020 + "%d").c_str(), 123456), k1020 + "1234"},
      {"double cut at the end", message(0, (k1020 + "%f%s").c_str(), 1e300, "x"), k1020 + "1000"},
      {"nothing after a full message", message(0, "%s%d%f%s.", k1024.c_str(), 1, 1.0, "x"), k1024},
      {"longest double", message(0, "%f", -1e308).substr(300), "0223118336.000000"},
      {"wide, cut to its units and two", message(1, "<%s|%d>", wide, 3), "<a\xC3\xA9\xE4\xB8\xAD|3>"},
      {"wide null", message(1, "<%s>", nullptr), "<>"},
      {"wide cut at the end", message(1, "%s", wide_2000.c_str()), std::string(1024, 'w')},
      {"only 1 means wide", message(2, "%s", "narrow"), "narrow"},
      {"null format", message(0, nullptr), "(no message)"}};
  for (const auto& row : rows) EXPECT_EQ(row.got, row.want) << row.name;
}

std::string line(const std::string& text) {
  const auto out = std::make_unique<char[]>(1063);
  const size_t length = MakeTheWholeLogLine(text.c_str(), out.get());
  EXPECT_EQ(length, std::string(out.get()).size());
  return out.get();
}

TEST(LogLine, HoldsTheMomentAndTheText) {
  EXPECT_EQ(line(std::string(2000, 'k')).substr(15 + 4), "   " + std::string(1024, 'k') + "\n");
  const std::string long_name(70, 'X');
  struct {
    std::string zone;
    timeval now;
    const char* want;
  } const rows[] = {{"UTC0", {-1, 0}, "Dec 31 23:59:59:000   text\n"},
                    {"UTC0", {0, 7'999}, "Jan 01 00:00:00:007   text\n"},
                    {"XXX-5:30", {0, 999'999}, "Jan 01 05:30:00:999   text\n"},
                    {long_name + "-2", {0, 0}, "Jan 01 02:00:00:000   text\n"},
                    {long_name + "-3", {0, 0}, "Jan 01 03:00:00:000   text\n"},
                    {"UTC0", {0, 0}, "Jan 01 00:00:00:000   text\n"}};
  for (const auto& row : rows) {
    setenv("TZ", row.zone.c_str(), 1);
    fixed_time = &row.now;
    EXPECT_EQ(line("text"), row.want) << row.zone;
  }
}

std::string justified(const char* text, int mode, long width) {
  char out[] = "######";
  ZARNLog_JustifyString(text, mode, out, width);
  return out;
}

TEST(Justify, PlacesTheText) {
  EXPECT_EQ(justified("ab", 0, 5), "ab   ");
  EXPECT_EQ(justified("ab", 1, 5), "   ab");
  EXPECT_EQ(justified("ab", 2, 5), " ab  ");
  for (int other : {-1, 3}) EXPECT_EQ(justified("ab", other, 5), "ab");
  for (long width : {2, 1, 0, -3}) EXPECT_EQ(justified("ab", 0, width), "######") << width;
  EXPECT_EQ(justified(nullptr, 0, 5), "######");
  ZARNLog_JustifyString("ab", 0, nullptr, 5);
}

}  // namespace

}  // namespace mar
