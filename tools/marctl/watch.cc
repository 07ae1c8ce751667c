#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <string>
#include <thread>

#include "engine_client/commands.h"
#include "engine_client/connection.h"
#include "tools/marctl/modes.h"
#include "tools/marctl/time_left.h"

namespace mar::ctl {

namespace {

// What one look at the engine has found.
struct Look {
  bool answered = false;  // the ping has come to an end, with this reply
  Reply reply;
  double waiting_ms = 0;  // else, for so long it has been waiting
};

// Pings the engine from a thread of its own, one ping at a time: an engine that hangs gets no second one. The
// thread may wait for ever and ends with the process.
class Pinger {
 public:
  Pinger() {
    std::thread([this] { run(); }).detach();
  }

  // Sends a ping unless one is under way, and waits for its end, but no longer than `wait_s`.
  Look ask(double wait_s) {
    std::unique_lock lock(mutex_);
    if (!under_way_) sent_ = {};
    under_way_ = true;
    changed_.notify_all();
    changed_.wait_for(lock, std::chrono::duration<double>(wait_s), [this] { return !under_way_; });
    return {!under_way_, reply_, sent_.milliseconds()};
  }

 private:
  void run() {
    Session session({});
    for (std::unique_lock lock(mutex_);;) {
      changed_.wait(lock, [this] { return under_way_; });
      lock.unlock();
      Reply reply = session.run(mar_ping_engine);
      lock.lock();
      reply_ = std::move(reply);
      under_way_ = false;
      changed_.notify_all();
    }
  }

  std::mutex mutex_;
  std::condition_variable changed_;
  bool under_way_ = false;
  Stopwatch sent_;
  Reply reply_;
};

std::string local_time() {
  const time_t now = time(nullptr);
  tm parts{};
  localtime_r(&now, &parts);
  char text[32];
  return {text, std::strftime(text, sizeof text, "%FT%T", &parts)};
}

const char* state_of(const Look& look) {
  if (!look.answered) return "silent";
  return look.reply.done() ? "up" : status_name(look.reply.status);
}

std::string text_line(const Look& look, const mar_queue_use* use) {
  char text[96];
  std::snprintf(text, sizeof text, "%s  %-13s", local_time().c_str(), state_of(look));
  std::string line = text;
  if (!look.answered || look.reply.was_sent) {
    std::snprintf(text, sizeof text, "  %9.3f ms",
                  look.answered ? look.reply.round_trip_ms : look.waiting_ms);
    line += text;
  }
  if (use != nullptr) {
    std::snprintf(text, sizeof text, "  %u of %u queued", use->queued, use->slots);
    line += text;
  }
  return line;
}

std::string json_line(const Look& look, const mar_queue_use* use) {
  Json line = {{"time", local_time()}, {"state", state_of(look)}};
  if (look.answered) add_outcome(line, look.reply);
  if (!look.answered) line["waiting_ms"] = look.waiting_ms;
  if (use != nullptr) {
    line["queued"] = use->queued;
    line["slots"] = use->slots;
  }
  return compact(line);
}

bool put_look(const Style& style, const Look& look) {
  mar_queue_use found;
  const mar_queue_use* const use = mar_get_queue_use(&found) == 1 ? &found : nullptr;
  if (style.json) return put_line(json_line(look, use));
  if (isatty(STDOUT_FILENO) == 0) return put_line(text_line(look, use));
  return std::printf("\r%s\033[K", text_line(look, use).c_str()) >= 0 && std::fflush(stdout) == 0;
}

}  // namespace

ExitStatus run_watch(const Arguments& arguments) {
  static Pinger pinger;
  ExitStatus status = ExitStatus::kDone;
  for (int looks = 1;; ++looks) {
    const TimeLeft tick(arguments.interval_s);
    const Look look = pinger.ask(arguments.interval_s);
    status = look.answered ? look.reply.status : ExitStatus::kDeadline;
    const bool written = put_look(arguments.style, look);
    if (!written) status = ExitStatus::kFailed;
    if (!written || looks == arguments.looks) break;
    tick.pause(arguments.interval_s);
  }
  if (!arguments.style.json && isatty(STDOUT_FILENO) != 0) put_line("");
  // Not by the way of main(): the pinger may be in a call of the library.
  std::_Exit(static_cast<int>(status));
}

}  // namespace mar::ctl
