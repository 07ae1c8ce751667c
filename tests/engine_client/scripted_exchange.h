// Stands where the exchange, the engine log and the clock stand: requests are kept, answers come from a
// script, log lines are kept and sleeping takes no time. Link mar_scripted_exchange before the library under
// test.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <vector>

struct Answer {
  int32_t result = 1;      // what the engine says
  int32_t exchanged = 1;   // what the exchange says
  uint32_t marker = 1200;  // what the reply starts with
};

struct ScriptedExchange {
  std::vector<Answer> script;                  // one per request; behind its end everything succeeds
  std::vector<std::vector<uint8_t>> requests;  // header and payload
  std::vector<std::string> log;                // "component level text"
  int64_t slept_ms = 0;
};
extern ScriptedExchange scripted_exchange;

extern int failing_calloc;  // n: the n-th calloc from now returns null; 0: none

// `size` zero bytes but for `pieces`, as hex. "4:0a0b 6:ff*20" is: from offset 4 on the bytes 0a 0b, from
// offset 6 on 20 times the byte ff.
std::string bytes_of(size_t size, const std::string& pieces);

// The same as the payload behind the header of a request of this process.
std::string request_of(uint8_t code, size_t size, const std::string& pieces);

std::string hex_of(std::span<const uint8_t> bytes);
