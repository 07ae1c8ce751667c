#include "standin/answer.h"

#include <algorithm>
#include <cstring>

#include "contract/byte_order.h"

namespace mar::standin {

namespace {

constexpr uint64_t kRecordBytes = CLI_MAX_BUFFER_SIZE;
constexpr uint64_t kFillingPeriod = 251;  // prime, so no two records of a long answer hold the same bytes

std::vector<uint8_t> echo_of(const TCLIMessage& request) {
  const auto* sender = reinterpret_cast<const uint8_t*>(&request.sender);
  std::vector<uint8_t> echo(sender, sender + sizeof(request.sender));
  echo.insert(echo.end(), request.data, request.data + usable_length(request));
  return echo;
}

}  // namespace

Answer::Answer(const TCLIMessage& request, const AnswerShape& shape)
    : shape_(shape), command_(request.command) {
  put_be32(header_, shape.marker);
  put_be32(header_ + kReplyResultOffset, static_cast<uint32_t>(shape.result));
  if (shape.echo) echo_ = echo_of(request);
  size_bytes_ = shape.size_bytes.value_or(kReplyHeaderSize + echo_.size());
}

bool Answer::next(TCLIMessage& record) {
  const uint64_t left = size_bytes_ - sent_bytes_;
  if (started_ && left == 0) return false;
  const bool first = !started_;
  const bool last = left <= kRecordBytes;
  if (last && !first && shape_.without_end) return false;
  const uint64_t length = std::min(left, kRecordBytes);
  record = {};
  record.command = command_;
  record.sender = ZARNENGINE_ID;
  record.length = static_cast<int32_t>(length);
  record.kind = first ? (last ? CLI_SINGLE : CLI_HEADER) : (last ? CLI_END : CLI_APPEND);
  for (uint64_t i = 0; i < length; ++i) record.data[i] = byte_at(sent_bytes_ + i);
  if (first && shape_.kind) record.kind = *shape_.kind;
  if (first && shape_.length_field) record.length = *shape_.length_field;
  started_ = true;
  if (size_bytes_ != kEndlessAnswer) sent_bytes_ += length;
  return true;
}

uint8_t Answer::byte_at(uint64_t offset) const {
  if (offset < kReplyHeaderSize) return header_[offset];
  if (!echo_.empty()) return echo_[(offset - kReplyHeaderSize) % echo_.size()];
  return static_cast<uint8_t>(offset % kFillingPeriod);
}

}  // namespace mar::standin
