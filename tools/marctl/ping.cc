#include <algorithm>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <string>

#include "engine_client/commands.h"
#include "tools/marctl/modes.h"

namespace mar::ctl {

namespace {

struct RoundTrips {
  int sent = 0;
  int answered = 0;
  double min_ms = 0;
  double max_ms = 0;
  double sum_ms = 0;

  void add(double ms) {
    min_ms = answered == 0 ? ms : std::min(min_ms, ms);
    max_ms = std::max(max_ms, ms);
    sum_ms += ms;
    ++answered;
  }
  double average_ms() const { return answered == 0 ? 0 : sum_ms / answered; }
};

// The first interrupt (SIGINT) asks for the summary, which waits for the ping under way; a second one ends
// the process as ever. One of a process.
class Interrupt {
 public:
  Interrupt() {
    sigemptyset(&signals_);
    sigaddset(&signals_, SIGINT);
    struct sigaction action {};
    action.sa_handler = [](int) { came_ = 1; };
    action.sa_flags = static_cast<int>(SA_RESTART | SA_RESETHAND);
    sigaction(SIGINT, &action, nullptr);
  }

  // Waits for one so long and says whether it came, now or earlier.
  bool comes_within(double seconds) const {
    const timespec time{static_cast<time_t>(seconds), static_cast<long>(std::fmod(seconds, 1) * 1e9)};
    pthread_sigmask(SIG_BLOCK, &signals_, nullptr);
    const bool came = came_ != 0 || sigtimedwait(&signals_, nullptr, &time) == SIGINT;
    pthread_sigmask(SIG_UNBLOCK, &signals_, nullptr);
    return came;
  }

 private:
  sigset_t signals_;
  static inline volatile std::sig_atomic_t came_ = 0;
};

std::string text_of_ms(double ms) {
  char text[32];
  std::snprintf(text, sizeof text, "%.3f", ms);
  return text;
}

bool report_ping(const Style& style, int number, const Reply& reply) {
  if (style.quiet && reply.done()) return true;
  if (style.json) {
    Json line = {{"ping", number}};
    add_outcome(line, reply);
    return put_line(compact(line));
  }
  if (reply.done())
    return put_line("ping " + std::to_string(number) + ": " + text_of_ms(reply.round_trip_ms) + " ms");
  std::fprintf(stderr, "marctl: ping %d: %s\n", number, reply.text.c_str());
  return true;
}

bool report_summary(const Style& style, const RoundTrips& trips) {
  if (style.json) {
    Json line = {{"sent", trips.sent}, {"answered", trips.answered}};
    if (trips.answered > 0) {
      line["min_ms"] = trips.min_ms;
      line["avg_ms"] = trips.average_ms();
      line["max_ms"] = trips.max_ms;
    }
    return put_line(compact(line));
  }
  std::string text = std::to_string(trips.sent) + " sent, " + std::to_string(trips.answered) + " answered";
  if (trips.answered > 0) {
    text += ", round trip min/avg/max " + text_of_ms(trips.min_ms) + '/' + text_of_ms(trips.average_ms()) +
            '/' + text_of_ms(trips.max_ms) + " ms";
  }
  return put_line(text);
}

}  // namespace

ExitStatus run_ping(const Arguments& arguments) {
  const Interrupt interrupt;
  Session session(arguments.limits);
  RoundTrips trips;
  ExitStatus status = ExitStatus::kDone;
  while (trips.sent < arguments.count) {
    if (trips.sent > 0 && interrupt.comes_within(arguments.interval_s)) break;
    const Reply reply = session.run(mar_ping_engine);
    ++trips.sent;
    if (reply.done()) trips.add(reply.round_trip_ms);
    if (!reply.done()) status = reply.status;
    if (!report_ping(arguments.style, trips.sent, reply)) return ExitStatus::kFailed;
  }
  return report_summary(arguments.style, trips) ? status : ExitStatus::kFailed;
}

}  // namespace mar::ctl
