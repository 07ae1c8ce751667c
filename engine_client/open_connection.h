// A thread's open connection: a channel of its own that outlives the single exchange.
#pragma once

#include <cstdint>

#include "ipc/command_channel.h"
#include "ipc/naming.h"

namespace mar {

class OpenConnection {
 public:
  OpenConnection() = default;
  ~OpenConnection();
  OpenConnection(const OpenConnection&) = delete;
  OpenConnection& operator=(const OpenConnection&) = delete;

  // Opens it, anew if it is open. Returns what zarn_ipc_openx() returns.
  int open();

  // Makes ready for a request: opens again after a failure. Codes as open().
  int prepare() { return open_ ? 0 : open(); }

  // Queues a request. If the queue has gone or is another engine's by now, and took nothing, opens again and
  // tries once more. Codes as zarn_ipc_writex() and open().
  long write(const Request& request);
  long read();

  // Closes until the next prepare(), after a request whose answer will not be read.
  void give_up();

  CIPCQueue<TCLIMessage>* queue() const { return queue_; }
  const CkesBuffer& answer() const { return *answer_; }
  uint32_t process_id() const { return process_id_; }

  // For a forked child: forgets the queue, whose user is a thread of the parent.
  void abandon() { channel_.abandon(); }

 private:
  CIPCQueue<TCLIMessage>* queue_ = nullptr;
  long key_ = kInvalidChannelKey;
  _TIPCIdentifier user_ = {};
  CkesBuffer* answer_ = nullptr;
  CommandChannel channel_{{queue_, key_, user_, answer_}};
  bool open_ = false;
  const uint32_t process_id_ = static_cast<uint32_t>(GetProcessID());
};

// The calling thread's connection, or null if it has none; none in a forked child. Valid until the thread's
// next mar_open() or mar_close().
OpenConnection* thread_connection();

}  // namespace mar
