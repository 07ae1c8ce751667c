#include "ipc/channel.h"

#include <pthread.h>

#include "contract/names.h"
#include "ipc/cause.h"

constinit CIPCQueue<TCLIMessage>* pcmd_channel = nullptr;
constinit long cmd_channel_key = kInvalidChannelKey;
constinit _TIPCIdentifier ipc_user_id = {};
constinit CkesBuffer* prdbuff = nullptr;

namespace {

constinit mar::CommandChannel process_channel({pcmd_channel, cmd_channel_key, ipc_user_id, prdbuff});

// The thread that opened the channel. A child forked by another one inherits the channel but not that thread,
// so it would never be closed.
constinit pthread_t opener{};

void forget_in_child() {
  if (pthread_equal(opener, pthread_self()) == 0) process_channel.abandon();
}

[[maybe_unused]] const int fork_handler = pthread_atfork(nullptr, nullptr, forget_in_child);

}  // namespace

int EngineIsRunning() {
  CIPCQueue<TCLIMessage> queue(CLI_IPC_NAME, false);
  if (queue.CreatorAlive()) return 1;
  mar::note_unreachable(queue);
  return 0;
}

int zarn_ipc_openx() {
  opener = pthread_self();
  return process_channel.open();
}

long zarn_ipc_writex(TCLIMessage& message) { return process_channel.write(message); }

long zarn_ipc_writex(const mar::Request& request) { return process_channel.write(request); }

long zarn_ipc_readx() { return process_channel.read(); }

long zarn_ipc_closex() { return process_channel.close(); }
