#include "ipc/channel.h"

#include "contract/names.h"

namespace {

constinit mar::CommandChannel process_channel;

}  // namespace

constinit CIPCQueue<TCLIMessage>*& pcmd_channel = process_channel.queue;
constinit long& cmd_channel_key = process_channel.key;
constinit _TIPCIdentifier& ipc_user_id = process_channel.user;
constinit CkesBuffer*& prdbuff = process_channel.answer;

int EngineIsRunning() { return CIPCQueue<TCLIMessage>(CLI_IPC_NAME, false).CreatorAlive() ? 1 : 0; }

int zarn_ipc_openx() { return process_channel.open(); }

long zarn_ipc_writex(TCLIMessage& message) { return process_channel.write(message); }

long zarn_ipc_readx() { return process_channel.read(); }

long zarn_ipc_closex() { return process_channel.close(); }

namespace mar {

bool answer_may_come() { return process_channel.answer_may_come(); }

void abandon_channel() { process_channel.abandon(); }

}  // namespace mar
