// A stand-in engine for tests: on a thread of the test, where its requests can be looked at, or as a child
// that may be killed. Both have the queue ready when they are constructed and take it away at the end.
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
  ~EngineThread() { Stop(); }

  // Ends the engine, or waits until it has ended on a stop request. False if its queue was taken away.
  bool Stop() {
    if (server_.joinable()) engine_.stop();
    return Join();
  }
  bool Join() {
    if (server_.joinable()) server_.join();
    return ended_well_;
  }
  std::vector<ServedRequest> Requests() const { return engine_.requests(); }

 private:
  static EngineOptions keeping_requests(EngineOptions options) {
    options.keep_requests = true;
    return options;
  }

  StandInEngine engine_;
  std::thread server_;
  bool ended_well_ = false;
};

// SIGTERM by kill() ends it cleanly; result() is then 0. It dies with the object.
class EngineProcess {
 public:
  explicit EngineProcess(EngineOptions options = {}) : ready_(make_pipe()) {
    child_.emplace([&] { return Serve(std::move(options)); });
    close(ready_.second);
    char sign = 0;
    EXPECT_EQ(read(ready_.first, &sign, 1), 1) << "the engine did not start";
  }
  ~EngineProcess() { close(ready_.first); }

  pid_t pid() const { return child_->pid(); }
  void Signal(int signal) { ::kill(child_->pid(), signal); }
  void Kill() { child_->kill(); }  // and waits for its end
  long Join() { return child_->result(); }

 private:
  static std::pair<int, int> make_pipe() {
    int ends[2] = {-1, -1};
    EXPECT_EQ(pipe(ends), 0);
    return {ends[0], ends[1]};
  }
  long Serve(EngineOptions options) {
    static StandInEngine* serving;
    StandInEngine engine(std::move(options));
    serving = &engine;
    ::signal(SIGTERM, [](int) { serving->stop_soon(); });
    if (!engine.start()) return 1;
    if (write(ready_.second, "r", 1) != 1) return 2;
    close(ready_.first);
    close(ready_.second);  // so that a reader sees our end
    return engine.run() ? 0 : 3;
  }

  std::pair<int, int> ready_;
  std::optional<Child> child_;
};

}  // namespace mar
