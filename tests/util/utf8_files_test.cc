// The wrappers on real files, processes and variables, under a locale codeset that is not UTF-8: its byte
// 0xE9 is U+00E9 and its byte 0x80 is U+20AC, and it knows no other character beyond ASCII.
#include "util/utf8_files.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/time.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>

#include "charset/convert.h"
#include "tests/charset/table_images.h"
#include "tests/support/child.h"

namespace mar {

namespace {

struct Free {
  void operator()(void* block) const { std::free(block); }
};
using Text = std::unique_ptr<char, Free>;

class Utf8Files : public testing::Test {
 protected:
  Utf8Files() {
    const CodeMap codes = {{"\xE9", uint16_t{0xE9}}, {"\x80", uint16_t{0x20AC}}};
    directory_.write("LATIN", TableImage(XCS_KIND_ASCII_SBCS, "LATIN", codes).bytes);
    setenv("XCSDIR", directory_.path.c_str(), 1);
    setenv("XCS_CODESET", "latin", 1);
    init_cs_to_utf8();
  }
  ~Utf8Files() override { xcs_uninit(); }

  bool exists(const Bytes& local_name) const {
    return access((directory_.path + "/" + local_name).c_str(), F_OK) == 0;
  }

  ScratchDirectory directory_;
};

constexpr const char* kName = "caf\xC3\xA9";   // as the program writes it
constexpr const char* kLocalName = "caf\xE9";  // as the system has it

TEST_F(Utf8Files, TheLocaleIsKeptAndUtf8BecomesTheDefault) {
  EXPECT_STREQ(xcs_get_cs_name(get_local_cs()), "LATIN");
  EXPECT_STREQ(xcs_get_cs_name(nullptr), "UTF8");
  xcs_cs_t* const before = get_local_cs();
  init_cs_to_utf8();
  EXPECT_EQ(get_local_cs(), before);
  EXPECT_STREQ(xcs_get_cs_name(get_local_cs()), "LATIN");
  xcs_uninit();
  EXPECT_EQ(get_local_cs(), nullptr) << "the freed codeset is forgotten";
  EXPECT_STREQ(Text(FromUtf8ToMBCS(kName)).get(), kLocalName) << "the default serves";
  xcs_set_def_cs(utf8_cs);
  EXPECT_STREQ(Text(FromUtf8ToMBCS(kName)).get(), kName);
}

TEST_F(Utf8Files, TextIsConvertedIntoFreshBlocks) {
  char* out = nullptr;
  EXPECT_EQ(local_cs_to_utf8("\x80\x80", &out), 7u);
  EXPECT_STREQ(Text(out).get(), "\xE2\x82\xAC\xE2\x82\xAC") << "the largest growth fits";
  EXPECT_EQ(utf8_to_local_cs("\xE2\x82\xAC\xC3\xA8", &out), 3u);
  EXPECT_STREQ(Text(out).get(), "\x80?");
  EXPECT_STREQ(Text(FromMBCSToUtf8(kLocalName)).get(), kName);
  EXPECT_EQ(FromMBCSToUtf8(nullptr), nullptr);
  EXPECT_EQ(FromUtf8ToMBCS(nullptr), nullptr);
}

TEST_F(Utf8Files, FilesAndDirectories) {
  const int file = utf8_open(kName, O_CREAT | O_EXCL | O_WRONLY | O_CLOEXEC, 0640);
  ASSERT_EQ(write(file, "four", 4), 4);
  close(file);
  EXPECT_TRUE(exists(kLocalName));
  struct stat status;
  EXPECT_EQ(utf8_stat(kName, &status), 0);
  EXPECT_TRUE(status.st_size == 4 && (status.st_mode & 0137u) == 0 && (status.st_mode & 0600u) == 0600u);
  FILE* stream = utf8_fopen(kName, "re");
  ASSERT_NE(stream, nullptr);
  fclose(stream);
  EXPECT_EQ(utf8_remove(kName), 0);
  EXPECT_FALSE(exists(kLocalName));
  errno = 0;
  EXPECT_EQ(utf8_open(kName, O_RDONLY | O_CLOEXEC, 0), -1);
  EXPECT_EQ(errno, ENOENT) << "the call's own error survives";
  EXPECT_EQ(utf8_fopen(kName, "re"), nullptr);

  ASSERT_EQ(utf8_mkdir(kName, 0700), 0);
  EXPECT_TRUE(exists(kLocalName));
  ASSERT_EQ(utf8_chdir(kName), 0);
  const std::string want = directory_.path + "/" + kName;
  char buffer[PATH_MAX];
  const Text directory(utf8_getcwd(buffer, sizeof buffer));
  EXPECT_STREQ(directory.get(), want.c_str());
  EXPECT_NE(directory.get(), buffer);
  EXPECT_EQ(buffer, want);
  EXPECT_STREQ(Text(utf8_getcwd(nullptr, 0)).get(), want.c_str());
  // Room for the locale's form, which is a byte shorter, is cut with a terminator.
  std::fill_n(buffer, sizeof buffer, '#');
  EXPECT_STREQ(Text(utf8_getcwd(buffer, want.size())).get(), want.c_str());
  EXPECT_EQ(buffer, want.substr(0, want.size() - 1));
  EXPECT_EQ(utf8_getcwd(buffer, 3), nullptr);
  EXPECT_EQ(errno, ERANGE);
}

// Opening a FIFO waits for its other end; the signal that interrupts it has a handler without SA_RESTART.
TEST_F(Utf8Files, AnInterruptedOpenIsMadeAgain) {
  static std::string fifo;
  fifo = directory_.path + "/fifo";
  struct sigaction other_end {};
  other_end.sa_handler = [](int) { open(fifo.c_str(), O_RDWR | O_NONBLOCK | O_CLOEXEC); };
  sigaction(SIGALRM, &other_end, nullptr);
  for (const bool stream : {false, true}) {
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const itimerval soon{{0, 0}, {0, 20'000}};
    setitimer(ITIMER_REAL, &soon, nullptr);
    EXPECT_TRUE(stream ? utf8_fopen(fifo.c_str(), "re") != nullptr
                       : utf8_open(fifo.c_str(), O_RDONLY | O_CLOEXEC, 0) != -1);
    unlink(fifo.c_str());
  }
}

TEST_F(Utf8Files, EvenAsciiNamesAreConvertedToEbcdic) {
  const Codeset ebcdic = load_image(TableImage(XCS_KIND_EBCDIC_SBCS, "EBCDIC", {}).bytes);
  xcs_cs_t* const before = local_cs;
  local_cs = ebcdic.get();
  EXPECT_EQ(chdir(directory_.path.c_str()) + utf8_mkdir("A", 0700), 0);
  EXPECT_TRUE(exists("\xC1"));
  local_cs = before;
}

TEST_F(Utf8Files, ANullNameMakesNoCall) {
  struct stat status;
  char* arguments[] = {nullptr};
  char value[4];
  errno = 0;
  EXPECT_EQ(utf8_fopen(nullptr, "r"), nullptr);
  EXPECT_EQ(errno, EFAULT);
  EXPECT_EQ(utf8_open(nullptr, O_RDONLY, 0) + utf8_stat(nullptr, &status) + utf8_mkdir(nullptr, 0700), -3);
  EXPECT_EQ(utf8_chdir(nullptr) + utf8_remove(nullptr) + utf8_system(nullptr), -3);
  EXPECT_EQ(utf8_execvp(nullptr, arguments) + utf8_execvp("true", nullptr), -2);
  EXPECT_EQ(utf8_getenv(nullptr, value) + utf8_getenv_bufflen(nullptr), -2);
  EXPECT_EQ(utf8_getenv("NOT_SET", value) + utf8_getenv_bufflen("NOT_SET"), -2);
}

TEST_F(Utf8Files, ProcessesGetLocalArguments) {
  EXPECT_EQ(utf8_system("touch s-caf\xC3\xA9"), 0);
  EXPECT_TRUE(exists("s-caf\xE9"));
  Child child([] {
    char name[] = "touch", file[] = "e-caf\xC3\xA9";
    char* arguments[] = {name, file, nullptr};
    return long{utf8_execvp("touch", arguments)};
  });
  EXPECT_EQ(child.result(), Child::kNoResult) << "the call returned";
  EXPECT_TRUE(exists("e-caf\xE9"));
  char* arguments[] = {nullptr};
  EXPECT_EQ(utf8_execvp("./no-such-program", arguments), -1);
  EXPECT_EQ(errno, ENOENT);
}

TEST_F(Utf8Files, Variables) {
  setenv("V\xE9", "\x80 and \xE9", 1);
  const char want[] = "\xE2\x82\xAC and \xC3\xA9";
  EXPECT_EQ(utf8_getenv_bufflen("V\xC3\xA9"), 11);
  char value[16] = "###############";
  EXPECT_EQ(utf8_getenv("V\xC3\xA9", value), 11);
  EXPECT_STREQ(value, want);
  EXPECT_STREQ(Text(utf8_getenv_copy("V\xC3\xA9")).get(), want);
}

TEST_F(Utf8Files, WalkingCharacters) {
  const char* const text = "a\xC3\xA9\xE2\x82\xAC";
  EXPECT_EQ(APM_MBCSStrLength(utf8_cs, text), 3);
  const char* next = text;
  for (const int offset : {0, 1, 3, 6}) {
    EXPECT_EQ(next, text + offset);
    next = APM_NextChar(nullptr, next);
  }
  EXPECT_EQ(next, nullptr) << "there is nothing past the terminator";
  EXPECT_TRUE(APM_GetChar(utf8_cs, text, 0) == text && APM_GetChar(utf8_cs, text, 2) == text + 3);
  EXPECT_TRUE(APM_GetChar(utf8_cs, text, 3) == text + 6 && APM_GetChar(utf8_cs, text, 4) == nullptr);
  for (const char* invalid : {"a\xE2\x82", "a\xF0\x90\x80\x80"}) {  // cut, and beyond the BMP
    EXPECT_EQ(APM_MBCSStrLength(utf8_cs, invalid), -1);
    EXPECT_EQ(APM_GetChar(utf8_cs, invalid, 1), invalid + 1);
    EXPECT_EQ(APM_GetChar(utf8_cs, invalid, 2), nullptr);
  }
  EXPECT_EQ(APM_MBCSStrLength(utf8_cs, ""), 0);
  EXPECT_TRUE(APM_GetChar(utf8_cs, "a", 3) == nullptr && APM_GetChar(utf8_cs, "a", -1) == nullptr);
  EXPECT_TRUE(APM_GetChar(utf8_cs, nullptr, 0) == nullptr && APM_GetChar(nullptr, "a", 0) == nullptr);
  EXPECT_TRUE(APM_MBCSStrLength(nullptr, "a") == -1 && APM_MBCSStrLength(utf8_cs, nullptr) == -1);

  // Mixed EBCDIC: the walk starts in the initial state and leaves the codeset's own state alone.
  const CodeMap codes = {{"\x41\x41", uint16_t{0x4E00}}};
  const Codeset mixed = load_image(TableImage(XCS_KIND_EBCDIC_DBCS, "MIXED", codes).bytes);
  const char ebcdic[] = "\xC1\xC1\xC1\x0E\x41\x41\x0F";
  mixed->to_state = 1;
  EXPECT_EQ(APM_MBCSStrLength(mixed.get(), ebcdic), 4);
  EXPECT_EQ(APM_GetChar(mixed.get(), ebcdic, 4), ebcdic + 6);
  EXPECT_EQ(mixed->to_state, 1);
}

}  // namespace

}  // namespace mar
