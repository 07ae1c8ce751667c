// An engine that says exactly what a test wants it to say: it takes the requests of a real t1 off a queue
// that was laid out by literal numbers, and puts whatever answer it is given.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "contract/byte_order.h"
#include "tests/ipc/made_queue.h"
#include "tests/support/child.h"

namespace mar {

class ScriptedEngine {
 public:
  explicit ScriptedEngine(uint16_t slots = 8, const char* file = CLI_IPC_NAME)
      : made_(slots, file), queue_(CLI_IPC_NAME, false) {
    usable_ = made_.made() && queue_.OpenChannel(ZARNENGINE_ID, &key_) == 0;
  }
  bool usable() const { return usable_; }
  MadeQueue& made() { return made_; }
  CommandQueue& queue() { return queue_; }

  // The next request, or none within ten seconds.
  std::optional<TCLIMessage> request() {
    TCLIMessage record{};
    bool taken = false;
    eventually([&] { return queue_.KeyTryGet(key_, record, taken) != 0 || taken; });
    return taken ? std::optional(record) : std::nullopt;
  }

  // Puts one record for the sender of `request`, waiting for room.
  bool send(const TCLIMessage& request, uint32_t kind, int32_t length, const std::string& data) {
    TCLIMessage record{};
    record.command = request.command;
    record.kind = kind;
    record.length = length;
    data.copy(reinterpret_cast<char*>(record.data), sizeof record.data);
    return eventually([&] { return queue_.Put(request.sender, record) == 0; });
  }
  bool answer(const TCLIMessage& request, int32_t result) {
    return send(request, CLI_SINGLE, CLI_MAX_BUFFER_SIZE, reply(1200, result));
  }
  static std::string reply(uint32_t marker, int32_t result) {
    uint8_t bytes[8];
    mar::put_be32(bytes, marker);
    mar::put_be32(bytes + 4, static_cast<uint32_t>(result));
    return {reinterpret_cast<char*>(bytes), sizeof bytes};
  }

 private:
  MadeQueue made_;
  CommandQueue queue_;
  long key_ = -1;
  bool usable_ = false;
};

}  // namespace mar
