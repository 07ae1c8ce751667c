// A stand-in engine for tests: on a thread of the test, which can then look at its requests, or as a child
// that may be killed. The queue exists from the end of the constructor until the engine stops.
#pragma once

#include <gtest/gtest.h>

#include <optional>
#include <thread>
#include <utility>

#include "standin/service.h"
#include "tests/support/child.h"

namespace mar {

using standin::EngineOptions;
using standin::ServedRequest;
using standin::StandInEngine;

// {"add-edge-policy#2:result=-5", "*:echo"} as options.
inline EngineOptions with_faults(std::initializer_list<const char*> faults, EngineOptions options = {}) {
  for (const char* fault : faults) EXPECT_EQ(options.faults.add(fault).reason(), "");
  return options;
}

class EngineThread {
 public:
  explicit EngineThread(EngineOptions options = {}) : engine_(keeping_requests(std::move(options))) {
    const auto started = engine_.start();
    EXPECT_EQ(started.reason(), "");
    if (started) server_ = std::thread([this] { ended_well_ = engine_.run(); });
  }
  ~EngineThread() { stop(); }

  // stop() ends the engine; join() waits until a stop request ends it. Each returns false if the queue was
  // removed by another process.
  bool stop() {
    if (server_.joinable()) engine_.stop();
    return join();
  }
  bool join() {
    if (server_.joinable()) server_.join();
    return ended_well_;
  }
  std::vector<ServedRequest> requests() const { return engine_.requests(); }

 private:
  static EngineOptions keeping_requests(EngineOptions options) {
    options.keep_requests = true;
    return options;
  }

  StandInEngine engine_;
  std::thread server_;
  bool ended_well_ = false;
};

// signal(SIGTERM) ends the engine cleanly; join() then returns 0. The destructor kills it.
class EngineProcess {
 public:
  explicit EngineProcess(EngineOptions options = {}) : ready_(make_pipe()) {
    child_.emplace([&] { return serve(std::move(options)); });
    close(ready_.second);
    char sign = 0;
    EXPECT_EQ(read(ready_.first, &sign, 1), 1) << "the engine did not start";
  }
  ~EngineProcess() { close(ready_.first); }

  pid_t pid() const { return child_->pid(); }
  void signal(int signal) { ::kill(child_->pid(), signal); }
  void kill() { child_->kill(); }  // and waits until it has ended
  long join() { return child_->result(); }

 private:
  static std::pair<int, int> make_pipe() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe(ends), 0);
    return {ends[0], ends[1]};
  }
  long serve(EngineOptions options) {
    static StandInEngine* serving;
    StandInEngine engine(std::move(options));
    serving = &engine;
    ::signal(SIGTERM, [](int) { serving->stop_soon(); });
    if (!engine.start()) return 1;
    if (write(ready_.second, "r", 1) != 1) return 2;
    close(ready_.first);
    close(ready_.second);  // so that a reader sees that this process has ended
    return engine.run() ? 0 : 3;
  }

  std::pair<int, int> ready_;
  std::optional<Child> child_;
};

}  // namespace mar
