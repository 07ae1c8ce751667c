#include "ipc/command_channel.h"

#include <new>
#include <utility>

#include "contract/engine_config.h"
#include "contract/names.h"
#include "ipc/command_log.h"
#include "ipc/naming.h"
#include "ipc/shared_field.h"
#include "log/engine_log.h"

namespace mar {

namespace {

constexpr char kOpen[] = "zarn_ipc_openx";
constexpr char kWrite[] = "zarn_ipc_writex";
constexpr char kRead[] = "zarn_ipc_readx";
constexpr char kClose[] = "zarn_ipc_closex";

// An answer of unexpected kind is only logged. The spellings are part of the log's format.
void log_kind(uint32_t kind) {
  switch (kind) {
    case CLI_SINGLE:
      ZARNLog(kBackend, kExchangeLevel, "%s:CLI_SINGLE message received. Return code rc = %d", kRead, 0);
      break;
    case CLI_APPEND:
      ZARNLog(kBackend, kExchangeLevel,
              "%s: Error: unespected CLI_APPEND message received. Return code rc = %d", kRead, 0);
      break;
    case CLI_END:
      ZARNLog(kBackend, kExchangeLevel, "%s: Error: unespected CLI_END message received. Return code rc = %d",
              kRead, 0);
      break;
    default:
      ZARNLog(kBackend, kExchangeLevel, "%s: Error: Unknow message received. Return code rc = %d", kRead, 0);
  }
}

}  // namespace

// What was asked and not read to its end may be answered later.
void CommandChannel::release() {
  if (queue != nullptr && !pending_.complete()) owed_.remember(user, queue->CreationId(), pending_);
  pending_ = {};
  failed_ = false;
  rest_first_ = false;
  delete queue;
  queue = nullptr;
  delete answer;
  answer = nullptr;
  key = kInvalidChannelKey;
}

void CommandChannel::abandon() {
  queue = nullptr;
  answer = nullptr;
  key = kInvalidChannelKey;
  pending_ = {};
  failed_ = false;
  rest_first_ = false;
}

// Frees what the head of `owner` holds. No request that is yet to be queued has asked for it, and other users
// need the slots.
void CommandChannel::drop_leftovers(CIPCQueue<TCLIMessage>& from, _TIPCIdentifier owner,
                                    const char* log_name) {
  AnswerProgress* const debt = owed_.find(owner, from.CreationId());
  int dropped = 0;
  from.EmptyHeadOf(owner, [&](const TCLIMessage& record) {
    const uint32_t kind = load_shared(record.kind);
    AnswerProgress& due = debt != nullptr && !debt->complete() ? *debt : pending_;
    due.note_record(kind);
    ++dropped;
  });
  owed_.forget_complete();
  rest_first_ = rest_first_ && pending_.long_answer;
  if (dropped > 0) {
    ZARNLog(kBackend, kExchangeLevel, "%s: records of earlier answers dropped, count = %d", log_name,
            dropped);
  }
}

bool CommandChannel::answer_may_come() {
  if (owed_.empty()) return false;
  const _TIPCIdentifier caller = GetIpcIdentifier(GetProcessID());
  if (!owed_.owed(caller)) return false;
  CIPCQueue<TCLIMessage> now(CLI_IPC_NAME, false);
  // A queue that is closing or dead fails the exchange anyway.
  if (!now.CreatorAlive() || owed_.find(caller, now.CreationId()) == nullptr) return false;
  drop_leftovers(now, caller, kOpen);
  const AnswerProgress* const debt = owed_.find(caller, now.CreationId());
  return debt != nullptr && debt->missing > (debt->long_answer ? 1 : 0);
}

int CommandChannel::open() {
  ZARNLog(kBackend, kExchangeLevel, "%s: %s", kOpen, kEntryBanner);
  int rc = 0;
  release();  // what an earlier open that failed has left
  queue = new (std::nothrow) CIPCQueue<TCLIMessage>(CLI_IPC_NAME, false);
  if (queue == nullptr || !queue->IsInitialized()) {
    rc = static_cast<int>(QUEUE_NOT_INIT);
    ZARNLog(kBackend, kExchangeLevel, "%s: Error: queue not initialized. Return code rc = %d", kOpen, rc);
  } else if (!queue->CreatorAlive()) {
    ZARNLog(kBackend, kExchangeLevel, "%s: Error: engine not running", kOpen);
    return static_cast<int>(EU_ERR_ENG_NOT_RUNNING);
  } else {
    rc = enter();
  }
  ZARNLog(kBackend, kExchangeLevel, "%s:%s Return code rc = %d", kOpen, kCompletedBanner, rc);
  return rc;
}

// Second half of the open, on a queue whose creator lives. Goes on after a refused channel: the code tells
// the caller, and a write to kInvalidChannelKey fails.
int CommandChannel::enter() {
  int rc = 0;
  bool left_over = false;
  const _TIPCIdentifier caller = GetIpcIdentifier(GetProcessID());
  const long err = queue->OpenChannel(ZARNENGINE_ID, key, asked_ ? &caller : nullptr, left_over);
  ZARNLog(kBackend, kExchangeLevel, "%s: opening the channel\n\tchannel key = %d", kOpen,
          static_cast<int>(key));
  if (err != 0) {
    ZARNLog(kBackend, kExchangeLevel, "%s: Error: open channel failed. Return code err = %d", kOpen,
            static_cast<int>(err));
    rc = static_cast<int>(EU_ERR_OPEN_CHANNEL_FAILED);
  }
  user = caller;
  ZARNLog(kBackend, kExchangeLevel, "%s: ipc identifier returned  ipc_user_id = [%d , %d]", kOpen,
          static_cast<int>(user.thread_id), static_cast<int>(user.process_id));
  if (left_over) drop_leftovers(*queue, user, kOpen);
  if (AnswerProgress* const debt = owed_.find(user, queue->CreationId())) {
    pending_ = std::exchange(*debt, {});
    rest_first_ = pending_.long_answer;
    owed_.forget_complete();
  }
  answer = new (std::nothrow) CkesBuffer;
  return answer == nullptr ? ZARN_GENERIC_ERROR : rc;
}

long CommandChannel::write(const TCLIMessage& message) {
  ZARNLog(kBackend, kExchangeLevel, "%s:%s", kWrite, kEntryBanner);
  long rc = ZARN_GENERIC_ERROR;
  if (queue != nullptr) {
    if (failed_) drop_leftovers(*queue, user, kWrite);
    rc = queue->KeyPut(key, message);
    if (queue->LastMoved()) {  // also when the engine could not be woken or the lock not released
      asked_ = true;
      ++pending_.missing;
    }
    failed_ = failed_ || rc != 0;
  }
  if (rc != 0) {
    ZARNLog(kBackend, kExchangeLevel, "%s: Error: invalid write operation. Return code rc = %d", kWrite,
            static_cast<int>(rc));
  }
  ZARNLog(kBackend, kExchangeLevel, "%s: %s Return code rc = %d", kWrite, kCompletedBanner,
          static_cast<int>(rc));
  return rc;
}

// Takes one record off the client's head, past what is left of an earlier long answer. A get that fails may
// have taken its record all the same.
long CommandChannel::get(TCLIMessage& record) {
  for (;;) {
    const long rc = queue->Get(user, record);
    if (!queue->LastMoved()) return rc;
    // Records of the rest are middle or end records. Any other kind begins the next answer: the engine gave
    // up the earlier one.
    const bool of_rest = rest_first_ && (record.kind == CLI_APPEND || record.kind == CLI_END);
    if (rest_first_ && !of_rest) pending_.note_record(CLI_END);
    rest_first_ = of_rest && record.kind == CLI_APPEND;
    pending_.note_record(record.kind);
    if (!of_rest || rc != 0) return rc;
  }
}

// Adds what a record carries to the answer. False if it does not fit into a buffer, or into memory.
bool CommandChannel::append(const TCLIMessage& record) {
  const int length = usable_length(record);
  return length == 0 || answer->Append(record.data, length);
}

// Reads the records that follow the header of a long answer, up to its end record.
long CommandChannel::read_rest(TCLIMessage& record) {
  ZARNLog(kBackend, kExchangeLevel, "%s: just read header of a long message", kRead);
  long rc = 0;
  do {
    rc = get(record);
    if (rc == 0 && !append(record)) rc = ZARN_GENERIC_ERROR;
    if (rc == 0) {
      ZARNLog(kBackend, kExchangeLevel, "%s: Good read operation. Return code rc = %d", kRead, 0);
    } else {
      ZARNLog(kBackend, kExchangeLevel, "%s: Error: pcmd_channel->Get failed. Return code rc = %d", kRead,
              static_cast<int>(rc));
    }
  } while (rc == 0 && record.kind != CLI_END);
  ZARNLog(kBackend, kExchangeLevel, "%s: long message read completed, rc = %d", kRead, static_cast<int>(rc));
  return rc;
}

long CommandChannel::read_answer() {
  TCLIMessage record;
  const bool open = queue != nullptr && answer != nullptr;
  const long rc = open ? get(record) : ZARN_GENERIC_ERROR;
  if (rc != 0) {
    ZARNLog(kBackend, kExchangeLevel, "%s: Error: Reading IPC message. Return code rc = %d", kRead,
            static_cast<int>(rc));
    return rc;
  }
  // A record without data leaves the buffer as it is.
  const int length = usable_length(record);
  if (!answer->Set(record.data, length) && length > 0) return ZARN_GENERIC_ERROR;
  if (record.kind == CLI_HEADER) return read_rest(record);
  log_kind(record.kind);
  return 0;
}

long CommandChannel::read() {
  ZARNLog(kBackend, kExchangeLevel, "%s: %s", kRead, kEntryBanner);
  const long rc = read_answer();
  if (rc != 0 && queue != nullptr) {
    failed_ = true;
    drop_leftovers(*queue, user, kRead);
  }
  ZARNLog(kBackend, kExchangeLevel, "%s: %s Return code rc = %d", kRead, kCompletedBanner,
          static_cast<int>(rc));
  return rc;
}

long CommandChannel::close() {
  ZARNLog(kBackend, kExchangeLevel, "%s: %s", kClose, kEntryBanner);
  long rc = 0;
  if (queue == nullptr) {
    rc = ZARN_GENERIC_ERROR;
    ZARNLog(kBackend, kExchangeLevel, "%s: Error: invalid pointer pcmd_channel. Return code rc = %d", kClose,
            static_cast<int>(rc));
  } else {
    release();
  }
  ZARNLog(kBackend, kExchangeLevel, "%s: %s Return code rc = %d", kClose, kCompletedBanner,
          static_cast<int>(rc));
  return rc;
}

}  // namespace mar
