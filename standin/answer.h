// An answer as the records that carry it: one CLI_SINGLE, or CLI_HEADER, CLI_APPEND ..., CLI_END. Records are
// made one at a time, so an answer of any length needs no memory.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <vector>

#include "contract/message.h"

inline constexpr uint64_t kReplyHeaderSize = 8;
inline constexpr uint64_t kEndlessAnswer = std::numeric_limits<uint64_t>::max();

// The whole answer: 8 bytes of header, then a filling. Byte i of the filling's answer offset is i % 251, or,
// in an echo, the request's sender and payload over and over.
struct AnswerShape {
  int32_t result = MAR_OK;
  uint32_t marker = kReplyMarker;
  std::optional<uint64_t> size_bytes;  // of the answer; by default the header, in an echo also the echo, once
  bool echo = false;
  bool without_end = false;             // the last record of a long answer is never sent
  std::optional<uint32_t> kind;         // of the first record, whatever it ought to be
  std::optional<int32_t> length_field;  // of the first record, whatever it holds
};

class Answer {
 public:
  Answer(const TCLIMessage& request, const AnswerShape& shape);

  // Fills the next record; false when there is none left.
  bool Next(TCLIMessage& record);

 private:
  uint8_t ByteAt(uint64_t offset) const;

  AnswerShape shape_;
  uint32_t command_;
  uint8_t header_[kReplyHeaderSize];
  std::vector<uint8_t> echo_;
  uint64_t size_bytes_;
  uint64_t sent_bytes_ = 0;
  bool started_ = false;
};
