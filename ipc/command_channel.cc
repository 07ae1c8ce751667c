#include "ipc/command_channel.h"

#include <limits.h>

#include <algorithm>
#include <new>

#include "contract/engine_config.h"
#include "contract/names.h"
#include "ipc/cause.h"
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

// Writes all of the record: any process can read what is queued, so nothing of an earlier message stays.
void fill_record(TCLIMessage& record, const Request& request, _TIPCIdentifier sender) {
  const auto length = static_cast<size_t>(request.length);
  store_shared(record.command, request.command);
  store_shared(record.length, request.length);
  copy_shared(record.data, request.payload, length);
  clear_shared(record.data + length, sizeof record.data - length);
  store_shared(record.sender.process_id, sender.process_id);
  store_shared(record.sender.thread_id, sender.thread_id);
  store_shared(record.kind, CLI_SINGLE);
}

// Frees what the head of `owner` holds. No request that is yet to be queued has asked for it, and other users
// need the slots.
//   due  the answers that the owner may still get, of which those that are dropped are ticked off
void drop_records(CIPCQueue<TCLIMessage>& queue, _TIPCIdentifier owner, AnswerProgress& due,
                  const char* log_name) {
  int dropped = 0;
  queue.EmptyHeadOf(owner, [&](const TCLIMessage& record) {
    due.note_record(load_shared(record.kind));
    ++dropped;
  });
  if (dropped == 0) return;
  ZARNLog(kBackend, kExchangeLevel, "%s: records of earlier answers dropped, count = %d", log_name, dropped);
}

}  // namespace

bool answer_may_come() {
  if (owed_answers().empty()) return false;
  CIPCQueue<TCLIMessage> now(CLI_IPC_NAME, false);
  if (!now.CreatorAlive()) return false;  // a queue that is closing or dead fails the exchange anyway
  const _TIPCIdentifier caller = GetIpcIdentifier(GetProcessID());
  owed_answers().forget_others(now.CreationId());
  AnswerProgress due = owed_answers().take(caller, now.CreationId());
  if (due.complete()) return false;
  drop_records(now, caller, due, kOpen);
  owed_answers().remember(caller, now.CreationId(), due);
  return !due.only_rest();
}

bool may_ask(CIPCQueue<TCLIMessage>* queue) {
  if (queue == nullptr || owed_answers().empty()) return true;
  const _TIPCIdentifier caller = GetIpcIdentifier(GetProcessID());
  if (owed_answers().has_room(*queue) && !owed_answers().owed(caller, queue->CreationId())) return true;
  note_cause(MAR_CAUSE_ANSWERS_OWED);
  return false;
}

void CommandChannel::release() {
  // What was asked and not read to its end may be answered later.
  if (parts_.queue != nullptr)
    owed_answers().remember(parts_.user, parts_.queue->CreationId(), session_.pending);
  delete parts_.queue;
  delete parts_.answer;
  forget();
}

void CommandChannel::abandon() {
  if (parts_.queue != nullptr) parts_.queue->Detach();
  forget();
}

void CommandChannel::forget() {
  parts_.queue = nullptr;
  parts_.answer = nullptr;
  parts_.key = kInvalidChannelKey;
  session_ = {};
}

void CommandChannel::drop_leftovers(const char* log_name) {
  drop_records(*parts_.queue, parts_.user, session_.pending, log_name);
  session_.rest_first = session_.rest_first && session_.pending.long_answer;
  session_.failed = false;
}

int CommandChannel::open() {
  ZARNLog(kBackend, kExchangeLevel, "%s: %s", kOpen, kEntryBanner);
  int rc = 0;
  release();  // what an earlier open that failed has left
  CIPCQueue<TCLIMessage>*& queue = parts_.queue;
  queue = new (std::nothrow) CIPCQueue<TCLIMessage>(CLI_IPC_NAME, false);
  if (queue == nullptr || !queue->IsInitialized()) {
    if (queue != nullptr) note_unreachable(*queue);
    rc = static_cast<int>(QUEUE_NOT_INIT);
    ZARNLog(kBackend, kExchangeLevel, "%s: Error: queue not initialized. Return code rc = %d", kOpen, rc);
  } else if (!queue->CreatorAlive()) {
    note_unreachable(*queue);
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
  const long err = parts_.queue->OpenChannel(ZARNENGINE_ID, &parts_.key);
  ZARNLog(kBackend, kExchangeLevel, "%s: opening the channel\n\tchannel key = %d", kOpen,
          static_cast<int>(parts_.key));
  if (err != 0) {
    ZARNLog(kBackend, kExchangeLevel, "%s: Error: open channel failed. Return code err = %d", kOpen,
            static_cast<int>(err));
    note_queue_code(err, MAR_CAUSE_NO_HEAD);
    rc = static_cast<int>(EU_ERR_OPEN_CHANNEL_FAILED);
  }
  parts_.user = GetIpcIdentifier(GetProcessID());
  ZARNLog(kBackend, kExchangeLevel, "%s: ipc identifier returned  ipc_user_id = [%d , %d]", kOpen,
          static_cast<int>(parts_.user.thread_id), static_cast<int>(parts_.user.process_id));
  if (err == 0) settle_debt();
  parts_.answer = new (std::nothrow) CkesBuffer;
  if (parts_.answer != nullptr) return rc;
  note_cause(MAR_CAUSE_NO_MEMORY);
  return ZARN_GENERIC_ERROR;
}

// Drops what has come for the user, perhaps for one of an earlier process with the same numbers. The rest of
// a long answer may still come and be passed over; a whole answer stays owed.
void CommandChannel::settle_debt() {
  session_.pending = owed_answers().take(parts_.user, parts_.queue->CreationId());
  session_.rest_first = session_.pending.long_answer;
  if (parts_.queue->HoldsMessageFor(parts_.user)) drop_leftovers(kOpen);
  if (session_.pending.only_rest()) return;
  owed_answers().remember(parts_.user, parts_.queue->CreationId(), session_.pending);
  session_.pending = {};
  session_.rest_first = false;
}

// `put` queues the message on the queue that it is given.
template <typename Put>
long CommandChannel::write_by(Put put) {
  ZARNLog(kBackend, kExchangeLevel, "%s:%s", kWrite, kEntryBanner);
  long rc = ZARN_GENERIC_ERROR;
  if (CIPCQueue<TCLIMessage>* const queue = parts_.queue) {
    // An answer that comes twice may have come since the last request.
    if (session_.failed || (session_.used && queue->HoldsMessageFor(parts_.user))) drop_leftovers(kWrite);
    rc = put(*queue);
    if (queue->LastMoved()) {  // also when the engine could not be woken or the lock not released
      session_.used = true;
      ++session_.pending.missing;
    }
    session_.failed = session_.failed || rc != 0;
  }
  if (rc != 0) {
    note_queue_code(rc, MAR_CAUSE_QUEUE_FULL);
    ZARNLog(kBackend, kExchangeLevel, "%s: Error: invalid write operation. Return code rc = %d", kWrite,
            static_cast<int>(rc));
  }
  ZARNLog(kBackend, kExchangeLevel, "%s: %s Return code rc = %d", kWrite, kCompletedBanner,
          static_cast<int>(rc));
  return rc;
}

long CommandChannel::write(const TCLIMessage& message) {
  return write_by([&](CIPCQueue<TCLIMessage>& queue) { return queue.KeyPut(parts_.key, message); });
}

long CommandChannel::write(const Request& request) {
  return write_by([&](CIPCQueue<TCLIMessage>& queue) {
    return queue.KeyPutInPlace(parts_.key,
                               [&](TCLIMessage& slot) { fill_record(slot, request, parts_.user); });
  });
}

// Takes one record off the client's head, past what is left of an earlier long answer. Its data go into the
// answer's memory, after the first `kept` bytes; the answer's length does not change. A get that fails may
// have taken its record all the same.
long CommandChannel::get(int kept, Received& record) {
  // Now, because nothing is allocated with the lock held.
  const int enough = kept > INT_MAX - CLI_MAX_BUFFER_SIZE ? INT_MAX : kept + CLI_MAX_BUFFER_SIZE;
  const int room = parts_.answer->Reserve(enough) - kept;
  for (;;) {
    bool of_rest = false;
    const long rc = parts_.queue->GetInPlace(parts_.user, [&](const TCLIMessage& slot) {
      record.kind = load_shared(slot.kind);
      // Records of the rest are middle or end records. Any other kind begins the next answer: the engine gave
      // up the earlier one.
      of_rest = session_.rest_first && (record.kind == CLI_APPEND || record.kind == CLI_END);
      record.length = of_rest ? 0 : usable_length(load_shared(slot.length));
      record.fits = record.length <= room;
      if (record.length > 0 && record.fits)
        copy_shared(parts_.answer->GetBuffer() + kept, slot.data, static_cast<size_t>(record.length));
    });
    if (rc != 0) note_queue_code(rc, MAR_CAUSE_NO_HEAD);
    if (!parts_.queue->LastMoved()) return rc;
    if (session_.rest_first && !of_rest) session_.pending.note_record(CLI_END);
    session_.rest_first = of_rest && record.kind == CLI_APPEND;
    session_.pending.note_record(record.kind);
    if (!of_rest || rc != 0) return rc;
  }
}

// Reads the records that follow the header of a long answer, up to its end record.
long CommandChannel::read_rest() {
  ZARNLog(kBackend, kExchangeLevel, "%s: just read header of a long message", kRead);
  Received record;
  long rc = 0;
  do {
    const int kept = parts_.answer->GetLength();
    rc = get(kept, record);
    if (rc == 0 && !record.fits) {
      note_cause(MAR_CAUSE_ANSWER_TOO_LONG);
      rc = ZARN_GENERIC_ERROR;
    }
    if (rc == 0) {
      parts_.answer->SetLength(kept + record.length);
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
  Received record;
  const bool open = parts_.queue != nullptr && parts_.answer != nullptr;
  const long rc = open ? get(0, record) : ZARN_GENERIC_ERROR;
  if (rc != 0) {
    ZARNLog(kBackend, kExchangeLevel, "%s: Error: Reading IPC message. Return code rc = %d", kRead,
            static_cast<int>(rc));
    return rc;
  }
  if (!record.fits) {
    note_cause(MAR_CAUSE_NO_MEMORY);
    return ZARN_GENERIC_ERROR;
  }
  // A record without data leaves the buffer as it is.
  if (record.length > 0) parts_.answer->SetLength(record.length);
  if (record.kind == CLI_HEADER) return read_rest();
  log_kind(record.kind);
  return 0;
}

long CommandChannel::read() {
  ZARNLog(kBackend, kExchangeLevel, "%s: %s", kRead, kEntryBanner);
  const long rc = read_answer();
  if (rc != 0 && parts_.queue != nullptr) {
    drop_leftovers(kRead);
    session_.failed = true;
  }
  ZARNLog(kBackend, kExchangeLevel, "%s: %s Return code rc = %d", kRead, kCompletedBanner,
          static_cast<int>(rc));
  return rc;
}

long CommandChannel::close() {
  ZARNLog(kBackend, kExchangeLevel, "%s: %s", kClose, kEntryBanner);
  long rc = 0;
  if (parts_.queue == nullptr) {
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
