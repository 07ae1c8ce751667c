// t1 from its command line to output, exit status and requests: in a child process, whose settings are fresh,
// against the scripted exchange.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>
#include <thread>

#include "cli/actions.h"
#include "cli/command_line.h"
#include "cli/output.h"
#include "cli/settings.h"
#include "tests/engine_client/scripted_exchange.h"

int t1_main(int argc, char** argv);  // main() of t1, renamed

namespace mar {

namespace {

// "> exit 0, sent 117=42 123:0501 116+5488": a payload of one number, of up to 4 bytes in
// hex, of more by its size.
std::string end_of(int status) {
  std::string text = "> exit " + std::to_string(status & 0xFF) + ", sent";
  for (const auto& request : scripted_exchange.requests) {
    const size_t size = request.size() - 8;
    text += " " + std::to_string(request[7]);
    uint32_t number = 0;
    if (size == sizeof number) memcpy(&number, &request[8], sizeof number);
    text += size > 4    ? "+" + std::to_string(size)
            : size == 4 ? "=" + std::to_string(number)
                        : ":" + hex_of(request).substr(16);
  }
  return text + "\n";
}

// What `body` prints, unless it is given a `stdout_fd` of its own, and how it ended. `results`: what the
// engine says to one request after the other; past their end, 1.
std::string run_child(const std::vector<int32_t>& results, const std::function<int()>& body,
                      int stdout_fd = -1) {
  const int output = memfd_create("output", MFD_CLOEXEC);
  const pid_t child = fork();
  if (child == 0) {
    dup2(stdout_fd >= 0 ? stdout_fd : output, STDOUT_FILENO);
    scripted_exchange = {};
    for (const int32_t result : results) scripted_exchange.script.push_back({.result = result});
    const std::string end = end_of(body());
    _exit(write(output, end.data(), end.size()) < 0);
  }
  waitpid(child, nullptr, 0);
  std::string text(static_cast<size_t>(lseek(output, 0, SEEK_END)), '\0');
  EXPECT_EQ(pread(output, text.data(), text.size(), 0), static_cast<ssize_t>(text.size()));
  close(output);
  return text;
}

// `arguments` are parted by blanks; a keyword like "#14" stands for that command number.
std::string run_t1(const std::string& arguments, const std::vector<int32_t>& results, int stdout_fd = -1) {
  std::istringstream text("t1 " + arguments);
  std::vector<std::string> words{std::istream_iterator<std::string>(text), {}};
  std::vector<char*> argv;
  for (auto& word : words) argv.push_back(word.data());
  argv.push_back(nullptr);
  const auto body = [&] {
    if (arguments[0] == '#') CLI_COMMANDS[0] = {argv[1], atoi(argv[1] + 1)};
    return t1_main(static_cast<int>(words.size()), argv.data());
  };
  return run_child(results, body, stdout_fd);
}

// Reruns each "$ arguments | results of the engine" line of transcript.txt and wants the same file again;
// "^G" in it is the bell.
TEST(T1, Transcript) {
  std::ifstream file(MAR_TRANSCRIPT);
  const std::string want{std::istreambuf_iterator<char>(file), {}};
  std::istringstream lines(want);
  std::string got;
  for (std::string line; std::getline(lines, line);) {
    if (line[0] != '$') continue;
    const size_t bar = line.find(" |");
    std::istringstream numbers(line.substr(bar + 2));
    std::string run = run_t1(line.substr(2, bar - 2), {std::istream_iterator<int32_t>(numbers), {}});
    for (size_t bell; (bell = run.find('\a')) != run.npos;) run.replace(bell, 1, "^G");
    got += line + "\n" + run;
  }
  EXPECT_EQ(got, want);
  EXPECT_GT(got.size(), 1000u);
}

TEST(T1, StressLoopGoesOnWhateverHappens) {
  const auto body = [] { return clis(), scripted_exchange.slept_ms == 1000 * 100 ? iThreadsRunning : 1; };
  const std::string run = run_child({1, -5}, body);
  const std::string head = "Add a single Edge Policy here!\n", added = "Added edge policy successfully!\n";
  const std::string start = head + added + head + "ERROR: Add edge policy failed [-5]\n" + head + added;
  EXPECT_EQ(run.substr(0, start.size()), start);
  EXPECT_NE(run.find("> exit 255, sent 116+5488"), run.npos);
  EXPECT_EQ(std::count(run.begin(), run.end(), '+'), 1000);
}

// A line or dot that waits in a buffer, or one in two pieces, shows as another row of packets.
TEST(Output, EachLineAndDotIsOneWrite) {
  int ends[2];
  ASSERT_EQ(socketpair(AF_UNIX, SOCK_SEQPACKET | SOCK_CLOEXEC | SOCK_NONBLOCK, 0, ends), 0);
  run_t1("addedgepolicy 3", {1, -5, 1}, ends[1]);
  std::string packets;
  char packet[1000];
  for (ssize_t size; (size = recv(ends[0], packet, sizeof packet, 0)) > 0;) {
    packets += "<" + std::string(packet, static_cast<size_t>(size)) + ">";
  }
  EXPECT_EQ(packets,
            "<Add multiple edge policies\n><  count [3]\n><Adding [3] Edge Policies here!\n><.>"
            "<\aERROR: Add edge policy failed [-5]\n><.><\n><All edge policies successfully added!\n>");
}

// Output that goes nowhere changes neither what is sent nor the exit status.
TEST(Output, NobodyReads) {
  int closed[2];
  ASSERT_EQ(pipe2(closed, O_CLOEXEC), 0);
  close(closed[0]);
  for (const int fd : {closed[1], open("/dev/full", O_WRONLY | O_CLOEXEC), open("/dev/null", O_RDONLY)}) {
    EXPECT_EQ(run_t1("addedgepolicy 2", {}, fd), "> exit 0, sent 116+5488 116+5488\n") << fd;
  }
}

// A pipe that is non-blocking and full when the first line comes, and a reader far slower than the writer:
// every line arrives once and in order.
TEST(Output, FullPipe) {
  int ends[2];
  ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
  ASSERT_EQ(fcntl(ends[1], F_SETPIPE_SZ, 4096), 4096);
  ASSERT_EQ(fcntl(ends[1], F_SETFL, O_NONBLOCK), 0);
  std::string got, want(4096, '.');
  ASSERT_EQ(write(ends[1], want.data(), want.size()), 4096);
  for (int i = 0; i < 3000; ++i) want += "line " + std::to_string(i) + "\n";
  std::thread reader([&] {
    char some[100];
    for (ssize_t n; (n = read(ends[0], some, sizeof some)) > 0;) got.append(some, static_cast<size_t>(n));
  });
  const auto print_lines = [] {
    for (int i = 0; i < 3000; ++i) mar::cli::sayf("line %d\n", i);
    return 0;
  };
  run_child({}, print_lines, ends[1]);
  close(ends[1]);
  reader.join();
  EXPECT_TRUE(got == want) << got.size() << " of " << want.size() << " bytes";
}

bool write_haltingly = false;

// Cut to its first 512 bytes; every other write is interrupted and the rest take 7 bytes at most.
TEST(Output, LongTextInPieces) {
  std::string text;
  for (int i = 0; i < 300; ++i) text += std::to_string(i) + " ";
  const auto body = [&] {
    return write_haltingly = true, mar::cli::say(text.c_str()), write_haltingly = false, 0;
  };
  EXPECT_EQ(run_child({}, body), text.substr(0, 512) + "> exit 0, sent\n");
}

}  // namespace

extern "C" ssize_t __real_write(int fd, const void* data, size_t size);

extern "C" ssize_t __wrap_write(int fd, const void* data, size_t size) {
  static int calls = 0;
  if (!write_haltingly) return __real_write(fd, data, size);
  errno = EINTR;
  return ++calls % 2 != 0 ? -1 : __real_write(fd, data, std::min<size_t>(size, 7));
}

}  // namespace mar
