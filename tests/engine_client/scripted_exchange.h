// Stands where the exchange, the engine log and the clock stand: requests are kept, answers come
// from a script, log lines are kept and sleeping takes no time. Link mar_scripted_exchange
// before the library under test.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "tests/support/payload_bytes.h"

struct Answer {
  int32_t result = 1;      // what the engine says
  int32_t exchanged = 1;   // what the exchange says
  uint32_t marker = 1200;  // what the reply starts with
};

struct ScriptedExchange {
  std::vector<Answer> script;                  // one per request; past its end everything succeeds
  std::vector<std::vector<uint8_t>> requests;  // header and payload
  std::vector<std::string> log;                // "component level text"
  int64_t slept_ms = 0;
};
extern ScriptedExchange scripted_exchange;

extern int failing_calloc;  // n: the n-th calloc from now returns null; 0: none

// Payload `pieces`, as bytes_of takes them, after the header of a request of this process.
std::string request_of(uint8_t code, size_t size, const std::string& pieces);
