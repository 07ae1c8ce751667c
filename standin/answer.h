// An answer as the records that carry it: one CLI_SINGLE, or CLI_HEADER, CLI_APPEND ..., CLI_END. Records are
// made one at a time, so an answer of any length needs no memory.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "contract/message.h"

namespace mar::standin {

inline constexpr uint64_t kReplyHeaderSize = 8;
inline constexpr uint64_t kEndlessAnswer = std::numeric_limits<uint64_t>::max();

// What an answer consists of: 8 bytes of header, then filling. The byte at offset i of the answer is i % 251
// or, in an echo, comes from the request's sender and payload, repeated as often as needed.
struct AnswerShape {
  int32_t result = MAR_OK;
  uint32_t marker = kReplyMarker;
  std::optional<uint64_t>
      size_bytes;  // of the whole answer; default: the header and, in an echo, one repetition
  bool echo = false;
  bool without_end = false;             // the last record of a long answer is never sent
  std::optional<uint32_t> kind;         // of the first record, instead of the right one
  std::optional<int32_t> length_field;  // of the first record, instead of the right one
};

class Answer {
 public:
  Answer(const TCLIMessage& request, const AnswerShape& shape);

  // Fills the next record. Returns false when there is none left.
  bool next(TCLIMessage& record);

 private:
  uint8_t byte_at(uint64_t offset) const;

  AnswerShape shape_;
  uint32_t command_;
  uint8_t header_[kReplyHeaderSize];
  std::vector<uint8_t> echo_;
  uint64_t size_bytes_;
  uint64_t sent_bytes_ = 0;
  bool started_ = false;
};

}  // namespace mar::standin
