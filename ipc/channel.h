// The process's own channel to the engine: open, write one record, read one answer (gathered from however
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

// The parts of the process's channel, valid between open and close; see mar::ChannelParts.
extern CIPCQueue<TCLIMessage>* pcmd_channel;
extern long cmd_channel_key;
extern _TIPCIdentifier ipc_user_id;
extern CkesBuffer* prdbuff;

// 1 when the engine's command queue opens and its creator lives, else 0, with the cause noted (ipc/cause.h).
// Exchanges no message.
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

// Waits for the engine's answer and leaves it in prdbuff, where a failure may leave some of it. Returns 0,
// the queue's code, or ZARN_GENERIC_ERROR for a long answer beyond INT_MAX bytes or beyond the memory there
// is. A record of unexpected kind is an answer too.
long zarn_ipc_readx();

// Releases all of the above. Returns 0, or ZARN_GENERIC_ERROR when nothing is open.
long zarn_ipc_closex();
}

// As zarn_ipc_writex() above, for a record with the request's command and payload, zeros past it, and
// ipc_user_id as its sender. The record is made in the queue itself.
long zarn_ipc_writex(const mar::Request& request);
