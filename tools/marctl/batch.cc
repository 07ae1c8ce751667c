#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "tools/marctl/batch_line.h"
#include "tools/marctl/json_input.h"
#include "tools/marctl/modes.h"
#include "tools/marctl/time_left.h"

namespace mar::ctl {

namespace {

constexpr double kProgressMs = 100;

// Reads the requests of a batch, one after another.
class Lines {
 public:
  explicit Lines(std::istream& input) : input_(input) {}

  size_t number() const { return number_; }  // of the line read last, from 1

  // The next request, none at the end of input, or what is wrong with its line.
  Outcome<std::optional<Request>> next() {
    std::string line;
    for (bool too_long = false; read_line(input_, line, too_long);) {
      ++number_;
      if (too_long) return Failure{"longer than " + std::to_string(kMaxInputBytes) + " bytes"};
      auto request = parse_batch_line(line);
      if (!request || request->has_value()) return request;
    }
    if (input_.bad()) return Failure{"cannot be read"};
    return std::optional<Request>();
  }

  // "session:7: ", in front of what is wrong.
  std::string place(const std::string& name) const { return name + ':' + std::to_string(number_) + ": "; }

 private:
  std::istream& input_;
  size_t number_ = 0;
};

// A line on the terminal that tells how far the batch has come, where it does not disturb the results.
class Progress {
 public:
  Progress(bool quiet, size_t total)
      : shares_(isatty(STDOUT_FILENO) != 0),
        shown_(isatty(STDERR_FILENO) != 0 && (quiet || !shares_)),
        total_(total) {}
  ~Progress() { clear(); }
  Progress(const Progress&) = delete;
  Progress& operator=(const Progress&) = delete;

  void show(size_t done, size_t failed) {
    if (!shown_ || (done > 1 && last_.milliseconds() < kProgressMs)) return;
    last_ = {};
    const std::string total = total_ > 0 ? " of " + std::to_string(total_) : "";
    std::fprintf(stderr, "\r%zu%s, %zu failed\033[K", done, total.c_str(), failed);
  }
  // Before a result line is printed.
  void make_way() const {
    if (shares_) clear();
  }

 private:
  void clear() const {
    if (shown_) std::fputs("\r\033[K", stderr);
  }

  bool shares_;  // the terminal, with the result lines
  bool shown_;
  size_t total_;
  Stopwatch last_;
};

class Batch {
 public:
  Batch(const Arguments& arguments, std::istream& input, size_t total)
      : arguments_(arguments),
        lines_(input),
        session_(arguments.limits),
        progress_(arguments.style.quiet, total) {}

  ExitStatus run() {
    for (bool going = true; going;) {
      const auto request = lines_.next();
      if (request && !request->has_value()) break;
      const Reply reply = request ? session_.run([&] { return (*request)->send(); }) : bad(request.reason());
      ++done_;
      if (!reply.done()) ++failed_;
      if (!reply.done() && status_ == ExitStatus::kDone) status_ = reply.status;
      if (!report(request ? (*request)->command->name : "", reply)) return ExitStatus::kFailed;
      progress_.show(done_, failed_);
      going = reply.done() || arguments_.keep_going;
    }
    return status_;
  }

 private:
  static Reply bad(const std::string& reason) {
    Reply reply;
    reply.status = ExitStatus::kBadInput;
    reply.text = reason;
    return reply;
  }

  bool report(const std::string& command, const Reply& reply) const {
    if (arguments_.style.quiet && reply.done()) return true;
    progress_.make_way();
    if (arguments_.style.json) {
      Json line = {{"line", lines_.number()}, {"message", command}};
      add_outcome(line, reply);
      return put_line(compact(line));
    }
    return put_line(std::to_string(lines_.number()) + ": " + (command.empty() ? "" : command + ": ") +
                    (reply.done() ? status_name(reply.status) : reply.text));
  }

  const Arguments& arguments_;
  Lines lines_;
  Session session_;
  Progress progress_;
  size_t done_ = 0;
  size_t failed_ = 0;
  ExitStatus status_ = ExitStatus::kDone;
};

// The number of requests, or the first line that is wrong.
Outcome<size_t> check_all(std::istream& input, const std::string& name) {
  Lines lines(input);
  for (size_t requests = 0;; ++requests) {
    const auto request = lines.next();
    if (!request) return Failure{lines.place(name) + request.reason()};
    if (!request->has_value()) return requests;
  }
}

}  // namespace

ExitStatus run_batch(const Arguments& arguments) {
  if (arguments.file == "-") return Batch(arguments, std::cin, 0).run();
  std::ifstream file(arguments.file, std::ios::binary);
  if (!file) return report_bad_input(arguments.style, arguments.file + ": " + strerrordesc_np(errno));
  std::error_code ignored;
  if (std::filesystem::is_directory(arguments.file, ignored))
    return report_bad_input(arguments.style, arguments.file + ": " + strerrordesc_np(EISDIR));
  size_t total = 0;
  if (std::filesystem::is_regular_file(arguments.file, ignored)) {
    const auto checked = check_all(file, arguments.file);
    if (!checked) return report_bad_input(arguments.style, checked.reason());
    total = *checked;
    file.clear();
    file.seekg(0);
  }
  return Batch(arguments, file, total).run();
}

}  // namespace mar::ctl
