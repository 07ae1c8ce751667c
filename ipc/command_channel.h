// A client's connection to the engine: its state, and the operations of the channel functions. One command at
// a time, from one thread; no lock. ipc/channel.h is the front of the process's own channel.
#pragma once

#include "contract/message.h"
#include "ipc/owed_answers.h"
#include "ipc/queue.h"
#include "runtime/buffer.h"

// Addresses no head. Not -1: a put by that key would go to a head of the null identifier.
inline constexpr long kInvalidChannelKey = -2;

namespace mar {

// What an open channel consists of. The channel owns queue and answer, which are null while it is closed.
struct ChannelParts {
  CIPCQueue<TCLIMessage>*& queue;
  long& key;              // of the engine's head, or kInvalidChannelKey
  _TIPCIdentifier& user;  // the sender of the records and the owner of the head that gets the answers
  CkesBuffer*& answer;    // the last one
};

// A request that becomes a record in the queue's own slot.
struct Request {
  uint32_t command;        // message code, its four bytes in big-endian order
  const uint8_t* payload;  // not null
  int length;              // of the payload in bytes; at most CLI_MAX_BUFFER_SIZE
};

class CommandChannel {
 public:
  // `parts` refers to variables that outlive the channel.
  constexpr explicit CommandChannel(const ChannelParts& parts) : parts_(parts) {}

  // The channel functions zarn_ipc_openx, zarn_ipc_writex, zarn_ipc_readx and zarn_ipc_closex; see there.
  int open();
  long write(const TCLIMessage& message);
  long write(const Request& request);  // from the channel's user
  long read();
  long close();

  // Whether the last write queued its message; it may have failed all the same.
  bool queued() const { return parts_.queue != nullptr && parts_.queue->LastMoved(); }

  // Closes without a line in the log.
  void release();

  // Forgets everything, in a forked child: the queue's user is a thread of the parent, whose objects may be
  // in the middle of a change, so they are not destroyed.
  void abandon();

 private:
  // What has happened since the channel was opened.
  struct Session {
    AnswerProgress pending;   // the answers still to be read
    bool rest_first = false;  // the first of them is the rest of an earlier long answer
    bool used = false;        // a request was queued
    bool failed = false;      // a request or its answer failed
  };

  // A record that has come, but for its data.
  struct Received {
    uint32_t kind = CLI_SINGLE;
    int length = 0;    // of its data in bytes; at most CLI_MAX_BUFFER_SIZE
    bool fits = true;  // all of them have found room in the answer's memory
  };

  int enter();
  void forget();
  void settle_debt();
  void drop_leftovers(const char* log_name);
  template <typename Put>
  long write_by(Put put);
  long get(int kept, Received& record);
  long read_answer();
  long read_rest();

  ChannelParts parts_;
  Session session_;
};

// Whether an answer to an earlier request of the calling thread's identity {process, thread} may still come:
// its read or its write failed, or it was never read. Drops what has come. The process remembers such
// identities, a thread number that comes back included. An answer is no longer expected once another engine
// runs. The rest of a long answer does not count: read() knows its records by their kind and passes over
// them.
bool answer_may_come();

// Whether the calling thread may ask through `queue`, which may be null. If not, notes the cause: it is owed
// an answer there, or so many of the process's threads are that it must not ask more.
bool may_ask(CIPCQueue<TCLIMessage>* queue);

}  // namespace mar
