// One exchange at a time on the process's channel.
#pragma once

#include "engine_client/exchange.h"

namespace mar {

// Holds pMutex for a scope, if the exchange needs it. Waits for it up to the call's deadline.
class Turn {
 public:
  explicit Turn(bool needed);
  ~Turn();
  Turn(const Turn&) = delete;
  Turn& operator=(const Turn&) = delete;

  bool taken() const { return locked_ || !needed_; }

 private:
  const bool needed_;
  bool locked_ = false;
};

}  // namespace mar
