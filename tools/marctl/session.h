// The connection on which the commands of one run travel, with the limits that the user has set.
#pragma once

#include <cstdint>
#include <functional>

#include "tools/marctl/exit_status.h"

namespace mar::ctl {

struct Limits {
  double timeout_s = 0;  // for each command with its retries; 0: none
  int retries = 0;       // after failures that cannot have been executed
};

// For one thread: the library's connection belongs to the thread that opened it.
class Session {
 public:
  explicit Session(const Limits& limits) : limits_(limits) {}
  ~Session();
  Session(const Session&) = delete;
  Session& operator=(const Session&) = delete;

  // Calls `command`, a mar_ function with its arguments, on a connection that stays open after a success.
  Reply run(const std::function<int32_t()>& command);

  // Opens the connection, or tells why it cannot be opened. Sends nothing.
  Reply open();

 private:
  Limits limits_;
};

}  // namespace mar::ctl
