#include "ipc/channel.h"

#include <new>

#include "contract/engine_config.h"
#include "contract/names.h"
#include "ipc/naming.h"
#include "log/banners.h"
#include "log/engine_log.h"

CIPCQueue<TCLIMessage>* pcmd_channel = nullptr;
long cmd_channel_key = kInvalidChannelKey;
_TIPCIdentifier ipc_user_id = {};
CkesBuffer* prdbuff = nullptr;

namespace {

constexpr int kLevel = 3;

// This thread has written a request whose answer it has not read to its end: what is left of it, or comes
// late, must not pass for the answer to the next request.
thread_local bool answer_owed = false;

bool drop_owed_answer() { return pcmd_channel->EmptyHeadOf(ipc_user_id) == 0; }

void release_channel() {
  delete pcmd_channel;
  pcmd_channel = nullptr;
  delete prdbuff;
  prdbuff = nullptr;
  cmd_channel_key = kInvalidChannelKey;
}

// Second half of the open, on a queue whose creator lives. Goes on after a refused channel: the caller sees
// it by the code, and a write to kInvalidChannelKey fails.
int enter_channel(const char* name) {
  int rc = 0;
  const long err = pcmd_channel->OpenChannel(ZARNENGINE_ID, &cmd_channel_key);
  ZARNLog(kBackend, kLevel, "%s: opening the channel\n\tchannel key = %d", name,
          static_cast<int>(cmd_channel_key));
  if (err != 0) {
    ZARNLog(kBackend, kLevel, "%s: Error: open channel failed. Return code err = %d", name,
            static_cast<int>(err));
    rc = static_cast<int>(EU_ERR_OPEN_CHANNEL_FAILED);
  }
  ipc_user_id = GetIpcIdentifier(GetProcessID());
  ZARNLog(kBackend, kLevel, "%s: ipc identifier returned  ipc_user_id = [%d , %d]", name,
          static_cast<int>(ipc_user_id.thread_id), static_cast<int>(ipc_user_id.process_id));
  if (answer_owed && drop_owed_answer()) answer_owed = false;
  prdbuff = new (std::nothrow) CkesBuffer;
  return prdbuff == nullptr ? ZARN_GENERIC_ERROR : rc;
}

// Adds what a record carries to the answer. False if it does not fit into a buffer, or into memory.
bool append_record(const TCLIMessage& record) {
  const int length = usable_length(record);
  return length == 0 || prdbuff->Append(record.data, length);
}

// The records behind the header of a long answer, up to its end record.
long read_rest(const char* name, TCLIMessage& record) {
  ZARNLog(kBackend, kLevel, "%s: just read header of a long message", name);
  long rc = 0;
  do {
    rc = pcmd_channel->Get(ipc_user_id, record);
    if (rc == 0 && !append_record(record)) rc = ZARN_GENERIC_ERROR;
    if (rc == 0) {
      ZARNLog(kBackend, kLevel, "%s: Good read operation. Return code rc = %d", name, 0);
    } else {
      ZARNLog(kBackend, kLevel, "%s: Error: pcmd_channel->Get failed. Return code rc = %d", name,
              static_cast<int>(rc));
    }
  } while (rc == 0 && record.kind != CLI_END);
  ZARNLog(kBackend, kLevel, "%s: long message read completed, rc = %d", name, static_cast<int>(rc));
  return rc;
}

// An answer of unexpected kind is only remarked upon. The spellings are part of the log's format.
void log_kind(const char* name, uint32_t kind) {
  switch (kind) {
    case CLI_SINGLE:
      ZARNLog(kBackend, kLevel, "%s:CLI_SINGLE message received. Return code rc = %d", name, 0);
      break;
    case CLI_APPEND:
      ZARNLog(kBackend, kLevel, "%s: Error: unespected CLI_APPEND message received. Return code rc = %d",
              name, 0);
      break;
    case CLI_END:
      ZARNLog(kBackend, kLevel, "%s: Error: unespected CLI_END message received. Return code rc = %d", name,
              0);
      break;
    default:
      ZARNLog(kBackend, kLevel, "%s: Error: Unknow message received. Return code rc = %d", name, 0);
  }
}

long read_answer(const char* name) {
  TCLIMessage record;
  const bool open = pcmd_channel != nullptr && prdbuff != nullptr;
  const long rc = open ? pcmd_channel->Get(ipc_user_id, record) : ZARN_GENERIC_ERROR;
  if (rc != 0) {
    ZARNLog(kBackend, kLevel, "%s: Error: Reading IPC message. Return code rc = %d", name,
            static_cast<int>(rc));
    return rc;
  }
  // A record without data leaves the buffer as it is.
  const int length = usable_length(record);
  if (!prdbuff->Set(record.data, length) && length > 0) return ZARN_GENERIC_ERROR;
  if (record.kind == CLI_HEADER) return read_rest(name, record);
  log_kind(name, record.kind);
  return 0;
}

}  // namespace

int EngineIsRunning() { return CIPCQueue<TCLIMessage>(CLI_IPC_NAME, false).CreatorAlive() ? 1 : 0; }

int zarn_ipc_openx() {
  static constexpr char kName[] = "zarn_ipc_openx";
  ZARNLog(kBackend, kLevel, "%s: %s", kName, kEntryBanner);
  int rc = 0;
  release_channel();  // what an earlier open that failed has left
  pcmd_channel = new (std::nothrow) CIPCQueue<TCLIMessage>(CLI_IPC_NAME, false);
  if (pcmd_channel == nullptr || !pcmd_channel->IsInitialized()) {
    rc = static_cast<int>(QUEUE_NOT_INIT);
    ZARNLog(kBackend, kLevel, "%s: Error: queue not initialized. Return code rc = %d", kName, rc);
  } else if (!pcmd_channel->CreatorAlive()) {
    ZARNLog(kBackend, kLevel, "%s: Error: engine not running", kName);
    return static_cast<int>(EU_ERR_ENG_NOT_RUNNING);
  } else {
    rc = enter_channel(kName);
  }
  ZARNLog(kBackend, kLevel, "%s:%s Return code rc = %d", kName, kCompletedBanner, rc);
  return rc;
}

long zarn_ipc_writex(TCLIMessage& message) {
  static constexpr char kName[] = "zarn_ipc_writex";
  ZARNLog(kBackend, kLevel, "%s:%s", kName, kEntryBanner);
  const long rc =
      pcmd_channel == nullptr ? ZARN_GENERIC_ERROR : pcmd_channel->KeyPut(cmd_channel_key, message);
  answer_owed = answer_owed || rc == 0;
  if (rc != 0) {
    ZARNLog(kBackend, kLevel, "%s: Error: invalid write operation. Return code rc = %d", kName,
            static_cast<int>(rc));
  }
  ZARNLog(kBackend, kLevel, "%s: %s Return code rc = %d", kName, kCompletedBanner, static_cast<int>(rc));
  return rc;
}

long zarn_ipc_readx() {
  static constexpr char kName[] = "zarn_ipc_readx";
  ZARNLog(kBackend, kLevel, "%s: %s", kName, kEntryBanner);
  const long rc = read_answer(kName);
  if (rc == 0) {
    answer_owed = false;
  } else if (pcmd_channel != nullptr) {
    drop_owed_answer();  // its slots are everybody's
    answer_owed = true;  // more of it may come
  }
  ZARNLog(kBackend, kLevel, "%s: %s Return code rc = %d", kName, kCompletedBanner, static_cast<int>(rc));
  return rc;
}

long zarn_ipc_closex() {
  static constexpr char kName[] = "zarn_ipc_closex";
  ZARNLog(kBackend, kLevel, "%s: %s", kName, kEntryBanner);
  long rc = 0;
  if (pcmd_channel == nullptr) {
    rc = ZARN_GENERIC_ERROR;
    ZARNLog(kBackend, kLevel, "%s: Error: invalid pointer pcmd_channel. Return code rc = %d", kName,
            static_cast<int>(rc));
  } else {
    release_channel();
  }
  ZARNLog(kBackend, kLevel, "%s: %s Return code rc = %d", kName, kCompletedBanner, static_cast<int>(rc));
  return rc;
}
