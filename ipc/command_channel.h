// A client's connection to the engine: its state, and the operations of the channel functions. One
// command at a time. No lock: the owner serialises its calls (the exchange holds pMutex). ipc/channel.h is
// the front of the process's one channel.
#pragma once

#include "contract/message.h"
#include "ipc/owed_answers.h"
#include "ipc/queue.h"
#include "runtime/buffer.h"

// Addresses no head. Not -1: a put by that key would go to a head of the null identifier.
inline constexpr long kInvalidChannelKey = -2;

namespace mar {

class CommandChannel {
 public:
  // The channel functions zarn_ipc_openx, zarn_ipc_writex, zarn_ipc_readx and zarn_ipc_closex; see there.
  int open();
  long write(const TCLIMessage& message);
  long read();
  long close();

  // See ipc/channel.h.
  bool answer_may_come();

  // Lets go of everything without touching it: in a forked child it belongs to a thread of the parent.
  void abandon();

  // Valid between open and close; owned by the channel.
  CIPCQueue<TCLIMessage>* queue = nullptr;
  long key = kInvalidChannelKey;
  _TIPCIdentifier user = {};
  CkesBuffer* answer = nullptr;

 private:
  int enter();
  void release();
  void drop_leftovers(CIPCQueue<TCLIMessage>& from, _TIPCIdentifier owner, const char* log_name);
  long get(TCLIMessage& record);
  bool append(const TCLIMessage& record);
  long read_answer();
  long read_rest(TCLIMessage& record);

  // Whether this channel has ever queued a request: without one, nothing can be left over.
  bool asked_ = false;
  bool failed_ = false;      // since it was opened, a request or its answer failed
  AnswerProgress pending_;   // the answers still to be read from it
  bool rest_first_ = false;  // the first of them is the rest of an earlier long answer
  OwedAnswers owed_;         // the answers that earlier uses of the channel did not wait for
};

}  // namespace mar
