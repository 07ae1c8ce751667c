// The client's one connection to the engine: open, write one record, read one answer (gathered from however
// many records the engine sends), close. One command in flight per process: the caller serialises, and the
// answer is read by the thread that opened.
//
// A record does not name the request that it answers. What lies on the head of the calling thread's identity
// when a request is written is dropped first, so an answer that comes before that is never taken for another
// request's. One that comes later cannot be told apart here; the exchange (engine_client/exchange.h) then
// asks under an identity to which nothing is owed.
#pragma once

#include "ipc/command_channel.h"

extern "C" {

// Valid between open and close; owned by the channel. Each names a member of the process's channel.
extern CIPCQueue<TCLIMessage>*& pcmd_channel;
extern long& cmd_channel_key;         // key of the engine's head, or kInvalidChannelKey
extern _TIPCIdentifier& ipc_user_id;  // this client, the sender of its records and the owner of its head
extern CkesBuffer*& prdbuff;          // the last answer

// 1 when the engine's command queue opens and its creator lives, else 0. Exchanges no message.
int EngineIsRunning();

// Opens the engine's command queue. Returns 0, or
//   QUEUE_NOT_INIT             there is no queue, or it is closing
//   EU_ERR_ENG_NOT_RUNNING     its creator has died
//   EU_ERR_OPEN_CHANNEL_FAILED the engine has no head and none is free
//   ZARN_GENERIC_ERROR         no memory
// Drops what this thread's head holds of answers to earlier requests. If the open fails, whatever it opened
// stays open until zarn_ipc_closex() or the next open.
int zarn_ipc_openx();

// Queues a copy of `message` for the engine; never waits for room. Returns 0 or the queue's code.
long zarn_ipc_writex(TCLIMessage& message);

// Waits for the engine's answer and leaves it in prdbuff. Returns 0, the queue's code, or ZARN_GENERIC_ERROR
// for a long answer beyond INT_MAX bytes or beyond the memory there is. A record of unexpected kind is an
// answer too.
long zarn_ipc_readx();

// Releases all of the above. Returns 0, or ZARN_GENERIC_ERROR when nothing is open.
long zarn_ipc_closex();
}

namespace mar {

// Whether an answer to an earlier request of the calling thread's identity {process, thread} may still come:
// its read or its write failed, or it was never read. Drops what has come. Remembers the last 64 such
// identities of the process, a thread number that comes back included. An answer is no longer expected once
// another engine runs. The rest of a long answer does not count: zarn_ipc_readx() knows its records by their
// kind and passes over them.
bool answer_may_come();

// For a forked child whose parent was in the middle of an exchange: forgets the channel without closing it.
void abandon_channel();

}  // namespace mar
