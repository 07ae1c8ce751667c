// A session on file, one JSON object a line: what came, and how it was answered. The engine writes it with
// recording_line() and can answer by it again, so that a session can be repeated elsewhere.
#pragma once

#include <cstdint>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <string_view>

#include "contract/message.h"
#include "standin/faults.h"
#include "util/outcome.h"

namespace mar::standin {

// The bytes of `request` in hexadecimal digits. Zeros at the end are left out: the length tells them.
std::string recorded_data(const TCLIMessage& request);

struct RecordedRequest {
  size_t line = 0;  // of the file, from 1
  uint32_t code = 0;
  int32_t result = 0;
  FaultActions faults;
  std::optional<int32_t> length;    // with `data`
  std::optional<std::string> data;  // see recorded_data()

  // Whether `request` has the recorded bytes, as far as these are known.
  bool is_same(const TCLIMessage& request) const;
};

class Recording {
 public:
  // Reads a file of lines as recording_line() or request_line() in JSON makes them. Skips the lines of other
  // events. A failure names the line and what is wrong with it.
  static Outcome<Recording> read(const std::string& path);

  // The next recorded request with this code, or null when there are no more. Good until the next call.
  const RecordedRequest* next(uint32_t code);

 private:
  std::map<uint32_t, std::deque<RecordedRequest>> left_;  // by code
  RecordedRequest current_;
};

}  // namespace mar::standin
