// mar-standin: a stand-in for the measurement engine, for trying and testing its clients.
#include <fcntl.h>
#include <unistd.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "standin/faults.h"
#include "standin/messages.h"
#include "standin/request_line.h"
#include "standin/service.h"

namespace mar::standin {

namespace {

enum ExitStatus { kServed = 0, kFailed = 1, kBadUsage = 2, kEngineRunsHere = 3 };

// The engine takes one head itself.
constexpr int kMinSlots = 2;

// Each head takes a semaphore, and the queue two more, from one set. A head holds its
// semaphore's number in 16 bits.
int max_slots() {
  int set_size = 0;
  std::ifstream("/proc/sys/kernel/sem") >> set_size;
  return std::clamp(set_size - 2, kMinSlots, 65533);
}

struct Arguments {
  std::string name = CLI_IPC_NAME;
  uint16_t slots = 16;
  std::vector<std::string> faults;
  uint64_t seed = 1;
  int patience_ms = 5000;
  std::string record;
  std::string replay;
  int ready_fd = -1;
  bool json = false;
  bool quiet = false;
  bool verbose = false;

  LineForm form() const { return json ? LineForm::kJson : LineForm::kPlain; }
};

StandInEngine* running = nullptr;

extern "C" void on_signal(int) { running->stop_soon(); }

void install_signal_handlers() {
  struct sigaction action = {};
  action.sa_handler = on_signal;  // without SA_RESTART, so that a signal ends a wait
  sigaction(SIGTERM, &action, nullptr);
  sigaction(SIGINT, &action, nullptr);
  sigaction(SIGHUP, &action, nullptr);
  action.sa_handler = SIG_IGN;
  sigaction(SIGPIPE, &action, nullptr);  // the engine outlives the reader of its output
}

// One write for each line, so that a pipe shows at once what a terminal shows.
// Returns false with errno set if it could not be written.
bool put_line(int fd, std::string line) {
  line += '\n';
  for (size_t done = 0; done < line.size();) {
    const ssize_t written = write(fd, line.data() + done, line.size() - done);
    if (written > 0) done += static_cast<size_t>(written);
    if (written <= 0 && errno != EINTR) return false;
  }
  return true;
}

// The file of --record, or none.
class RecordFile {
 public:
  RecordFile() = default;
  ~RecordFile() { close_file(); }
  RecordFile(const RecordFile&) = delete;
  RecordFile& operator=(const RecordFile&) = delete;

  // Makes or empties the file. Returns false with errno set.
  bool open_file(const std::string& path) {
    descriptor_ = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0666);
    return descriptor_ >= 0;
  }
  // Returns false with errno set once, when a line cannot be written; later lines are left out.
  bool add(const ServedRequest& served) {
    if (descriptor_ < 0 || put_line(descriptor_, recording_line(served))) return true;
    const int error = errno;
    close_file();
    errno = error;
    return false;
  }

 private:
  void close_file() {
    if (descriptor_ >= 0) close(descriptor_);
    descriptor_ = -1;
  }
  int descriptor_ = -1;
};

std::string footer() {
  std::string text =
      "A FAULT is WHEN:WHAT[,WHAT...]. WHEN is a message name, its code, * for every request, or start.\n"
      "#N picks the N-th of these requests only, #N-M several, #N- the N-th and later; %P picks each with a "
      "chance of\nP percent. Faults may be combined.\n"
      "\nWHAT:\n";
  for (const FaultAction& action : fault_actions()) {
    std::string item =
        std::string(action.name) + (action.value.empty() ? "" : "=") + std::string(action.value);
    item.resize(14, ' ');
    text += "  " + item + std::string(action.help) + ": " + std::string(action.example) + '\n';
  }
  text += "\nMessages:\n";
  for (const Message& message : known_messages())
    text += "  " + std::to_string(message.code) + ' ' + message.name + '\n';
  return text +
         "\nExit status: 0 ended as asked, 1 no queue or queue lost, 2 wrong usage, 3 an engine runs here "
         "already.";
}

void define_options(CLI::App& app, Arguments& arguments) {
  app.add_option("--name", arguments.name, "Control file, without instance suffix")->capture_default_str();
  app.add_option("--slots", arguments.slots, "Message slots, and heads, of the queue")
      ->check(CLI::Range(kMinSlots, max_slots()))
      ->capture_default_str();
  app.add_option("--fault", arguments.faults, "Misbehave in this way; may be repeated")
      ->type_name("FAULT")
      ->allow_extra_args(false);
  app.add_option("--seed", arguments.seed, "Seed for faults that happen by chance")->capture_default_str();
  app.add_option("--patience", arguments.patience_ms,
                 "How long an answer waits for room, and for a sign of its client")
      ->type_name("MS")
      ->check(CLI::Range(0, 3600000))
      ->capture_default_str();
  app.add_option("--ready-fd", arguments.ready_fd, "Write \"ready\" to this descriptor too, then close it")
      ->type_name("FD")
      ->check(CLI::NonNegativeNumber);
  app.add_option("--record", arguments.record, "Write each request and how it was answered, as JSON lines")
      ->type_name("FILE");
  app.add_option("--replay", arguments.replay, "Answer as this recording does")->type_name("FILE");
  app.add_flag("--json", arguments.json, "Print each line as a JSON object");
  auto* quiet = app.add_flag("-q,--quiet", arguments.quiet, "Print no line for each request");
  app.add_flag("-v,--verbose", arguments.verbose, "Also report normal work, such as freed heads")
      ->excludes(quiet);
  app.set_version_flag("--version", "mar-standin " MAR_VERSION, "Print the version and exit");
  app.footer(footer());
}

Time current_time() { return std::chrono::system_clock::now(); }

EngineOptions engine_options(const Arguments& arguments, std::shared_ptr<RecordFile> record) {
  const LineForm form = arguments.form();
  EngineOptions options;
  options.name = arguments.name;
  options.slots = arguments.slots;
  options.answer_patience_ms = arguments.patience_ms;
  const auto on_notice = [form, verbose = arguments.verbose](Notice notice, const std::string& text) {
    if (notice == Notice::kProblem)
      put_line(STDERR_FILENO, notice_line(form, current_time(), "problem", text));
    if (notice == Notice::kDetail && verbose)
      put_line(STDOUT_FILENO, notice_line(form, current_time(), "note", text));
  };
  options.on_notice = on_notice;
  options.on_request = [form, quiet = arguments.quiet, record, on_notice](const ServedRequest& served) {
    if (!quiet) put_line(STDOUT_FILENO, request_line(form, served));
    if (!record->add(served))
      on_notice(Notice::kProblem, std::string("recording ends here: ") + std::strerror(errno));
  };
  options.on_dump = [form](const EngineState& state) {
    put_line(STDOUT_FILENO, state_line(form, current_time(), state));
  };
  return options;
}

int serve(const Arguments& arguments, EngineOptions options) {
  StandInEngine engine(std::move(options));
  running = &engine;
  install_signal_handlers();
  if (const auto started = engine.start(); !started) {
    put_line(STDERR_FILENO, start_line(arguments.form(), current_time(), "failed", started.reason()));
    return started.code() == ControlFile::kInUse ? kEngineRunsHere : kFailed;
  }
  put_line(STDOUT_FILENO, start_line(arguments.form(), current_time(), "ready", ""));
  if (arguments.ready_fd >= 0) {
    put_line(arguments.ready_fd, "ready");
    close(arguments.ready_fd);
  }
  return engine.run() ? kServed : kFailed;
}

int bad_usage(const std::string& reason) {
  put_line(STDERR_FILENO, "mar-standin: " + reason);
  return kBadUsage;
}

bool is_writable(int descriptor) {
  const int flags = fcntl(descriptor, F_GETFL);
  return flags != -1 && (flags & O_ACCMODE) != O_RDONLY;
}

int run(const Arguments& arguments) {
  const auto record = std::make_shared<RecordFile>();
  EngineOptions options = engine_options(arguments, record);
  options.faults = FaultPlan(arguments.seed);
  for (const std::string& fault : arguments.faults) {
    const auto added = options.faults.add(fault);
    if (!added) return bad_usage("--fault " + fault + ": " + added.reason());
  }
  // Checked before the engine opens files, one of which could get this number.
  if (arguments.ready_fd >= 0 && !is_writable(arguments.ready_fd))
    return bad_usage("--ready-fd " + std::to_string(arguments.ready_fd) + ": not open for writing");
  if (!arguments.replay.empty()) {
    auto replay = Recording::read(arguments.replay);
    if (!replay) return bad_usage("--replay " + replay.reason());
    options.replay = std::move(*replay);
  }
  if (!arguments.record.empty() && !record->open_file(arguments.record))
    return bad_usage("--record " + arguments.record + ": " + std::strerror(errno));
  return serve(arguments, std::move(options));
}

}  // namespace

}  // namespace mar::standin

int main(int argc, char** argv) {
  using namespace mar::standin;
  Arguments arguments;
  try {
    CLI::App app(
        "Stand-in for the MAR measurement engine: creates the command queue and answers its clients.",
        "mar-standin");
    define_options(app, arguments);
    try {
      app.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
      return app.exit(error) == 0 ? kServed : kBadUsage;
    }
    return run(arguments);
  } catch (...) {
    std::fputs("mar-standin: out of memory\n", stderr);
    return kFailed;
  }
}
