// One request and what the engine made of it, as it is shown and recorded.
#pragma once

#include <chrono>
#include <cstdint>
#include <string>

#include "contract/message.h"

namespace mar::standin {

struct ServedRequest {
  uint64_t number = 0;  // since the start, from 1
  TCLIMessage record = {};
  int32_t result = 0;
  std::string remark;   // the faults that were applied to it, as they were asked for; or empty
  std::string effects;  // what these faults did, in the words of a fault after its colon; or empty
  std::chrono::system_clock::time_point time = {};  // when the engine took it
};

}  // namespace mar::standin
