// A client that sees the queue's own codes.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include "contract/byte_order.h"
#include "contract/message.h"
#include "contract/names.h"
#include "ipc/queue.h"

namespace mar::standin {

// Clients of one process differ in `thread`.
struct Client {
  explicit Client(uint32_t thread = 1) : id{static_cast<uint32_t>(getpid()), thread} {
    EXPECT_EQ(queue.OpenChannel(ZARNENGINE_ID, &key), 0);
  }
  long put(TCLIMessage request) {
    request.sender = id;
    return queue.KeyPut(key, request);
  }
  long get() { return queue.Get(id, answer); }
  // The code of the failing step, or the result in the answer.
  long ask(const TCLIMessage& request) {
    if (const long code = put(request)) return code;
    const long code = get();
    return code != 0 ? code : static_cast<int32_t>(get_be32(answer.data + 4));
  }

  CIPCQueue<TCLIMessage> queue{CLI_IPC_NAME, false};
  const _TIPCIdentifier id;
  long key = -1;
  TCLIMessage answer = {};
};

}  // namespace mar::standin
