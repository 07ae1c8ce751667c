// The client's one connection to the engine: open, write one record, read one answer (gathered from as many
// records as the engine sends), close. One command in flight per process: the caller serialises, and the
// answer is read by the thread that opened.
#pragma once

#include "contract/message.h"
#include "ipc/queue.h"
#include "runtime/buffer.h"

// Addresses nobody. Not -1: a put by that key would go to a head of the null identifier.
inline constexpr long kInvalidChannelKey = -2;

extern "C" {

// Valid between open and close; owned by the channel.
extern CIPCQueue<TCLIMessage>* pcmd_channel;
extern long cmd_channel_key;         // key of the engine's head, or kInvalidChannelKey
extern _TIPCIdentifier ipc_user_id;  // this client, the sender of its records and the owner of its head
extern CkesBuffer* prdbuff;          // the last answer

// 1 when the engine's command queue opens and its creator lives, else 0. Exchanges no message.
int EngineIsRunning();

// Opens the engine's command queue. Returns 0, or
//   QUEUE_NOT_INIT             there is no queue, or it is closing
//   EU_ERR_ENG_NOT_RUNNING     its creator has died
//   EU_ERR_OPEN_CHANNEL_FAILED the engine has no head and none is free
//   ZARN_GENERIC_ERROR         no memory
// Drops what this thread's head still holds of an answer that an earlier exchange gave up.
// A failed open keeps what it has opened until zarn_ipc_closex or the next open.
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
