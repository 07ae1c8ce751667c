#include "engine_client/exchange.h"

#include <pthread.h>

#include <algorithm>
#include <chrono>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <new>
#include <thread>

#include "contract/message.h"
#include "engine_client/type_table.h"
#include "ipc/channel.h"
#include "ipc/command_log.h"
#include "log/engine_log.h"
#include "runtime/error_manager.h"

using namespace mar;

CkesMutex* pMutex = new (std::nothrow) CkesMutex;

namespace mar {

namespace {

// A child forked while another thread exchanges inherits that thread's turn, but not the thread. Its mutex is
// made anew and its channel forgotten. A thread that forks between exchanges holds the turn itself during the
// fork.
thread_local bool holds_turn_for_fork = false;

void before_fork() {
  holds_turn_for_fork = pMutex != nullptr && pthread_mutex_trylock(pMutex->GetUNIXMutex()) == 0;
}

void after_fork() {
  if (holds_turn_for_fork) pthread_mutex_unlock(pMutex->GetUNIXMutex());
}

void after_fork_in_child() {
  if (holds_turn_for_fork || pMutex == nullptr) return after_fork();
  new (pMutex) CkesMutex;
  abandon_channel();
}

[[maybe_unused]] const int fork_handlers = pthread_atfork(before_fork, after_fork, after_fork_in_child);

constexpr char kBareName[] = "zarn_send_rcv_from_mar_engine";
constexpr std::chrono::seconds kPause{2};
constexpr int kStartRetries = 30;
constexpr int kTrailTexts = 50;  // all that an error stack keeps

// A request that has a header and whose payload fits into a record.
bool fits_message(int length) {
  return length >= kRequestHeaderSize && length - kRequestHeaderSize <= CLI_MAX_BUFFER_SIZE;
}

// The header's process id is not sent: the record names its sender itself.
void fill_message(const unsigned char* request, int length, TCLIMessage& message) {
  message.length = length - kRequestHeaderSize;
  std::memcpy(&message.command, request + kRequestCodeOffset, sizeof message.command);
  std::memcpy(message.data, request + kRequestHeaderSize, static_cast<size_t>(message.length));
  message.sender = ipc_user_id;
  message.kind = CLI_SINGLE;
}

// Kept as is: the error lines of the three steps print the flag, 0, not the channel's code.

bool write_request(const unsigned char* request, int length, long& rc) {
  ZARNLog(kBackend, kExchangeLevel, "%s: inserting the command into a TCLIMessage type variable", kBareName);
  TCLIMessage message{};  // zeroed: any process can read what is queued
  const bool fits = fits_message(length);
  if (fits) fill_message(request, length, message);
  ZARNLog(kBackend, kExchangeLevel, "%s: writing the command to the engine", kBareName);
  ZARNLog(kBackend, kExchangeLevel, "%s: %s: zarn_ipc_writex()", kBareName, kInvokingBanner);
  rc = fits ? zarn_ipc_writex(message) : ZARN_GENERIC_ERROR;
  if (rc == 0) return true;
  ZARNLog(kBackend, kExchangeLevel, "%s: Error: bad write operation. Return code ret_cd = %d", kBareName, 0);
  return false;
}

bool read_answer(long& rc) {
  ZARNLog(kBackend, kExchangeLevel, "%s: reading the message from the engine", kBareName);
  ZARNLog(kBackend, kExchangeLevel, "%s:%s:  zarn_ipc_readx()", kBareName, kInvokingBanner);
  rc = zarn_ipc_readx();
  if (rc == 0) return true;
  ZARNLog(kBackend, kExchangeLevel, "%s: Error: bad read operation. Return code ret_cd = %d", kBareName, 0);
  return false;
}

// A copy of the answer for the caller, never smaller than what a read routine may look at. Null without
// memory.
unsigned char* copy_answer() {
  ZARNLog(kBackend, kExchangeLevel, "%s: returning the message from the engine", kBareName);
  const auto length = static_cast<size_t>(prdbuff->GetLength());
  const size_t size = std::max<size_t>(length, CLI_MAX_BUFFER_SIZE);
  auto* answer = static_cast<unsigned char*>(std::malloc(size));
  if (answer == nullptr) {
    ZARNLog(kBackend, kExchangeLevel,
            "%s: Error: memory allocation fault for msg_from. Can't return message from engine", kBareName);
    return nullptr;
  }
  // Past its end a short answer reads as zeros, never as old memory.
  if (length > 0) std::memcpy(answer, prdbuff->GetBuffer(), length);
  std::memset(answer + length, 0, size - length);
  return answer;
}

// Writes, reads and closes an open channel.
bool use_channel(const unsigned char* request, int length, unsigned char*& answer, long& rc) {
  const bool answered = write_request(request, length, rc) && read_answer(rc);
  if (answered) answer = copy_answer();
  ZARNLog(kBackend, kExchangeLevel, "%s: closing the channel", kBareName);
  ZARNLog(kBackend, kExchangeLevel, "%s:%s:zarn_ipc_closex()", kBareName, kInvokingBanner);
  rc = zarn_ipc_closex();
  return answered;
}

// One request, its answer and how it went.
struct Exchange {
  const unsigned char* request;
  int length;
  unsigned char* answer;
  int flag = 0;
  long rc = 0;                // the channel's last code
  CkesErrorStack trail = {};  // of a failure on a thread of its own
};

void exchange_here(Exchange& exchange) {
  ZARNLog(kBackend, kExchangeLevel, "%s: %s:  zarn_ipc_openx()", kBareName, kInvokingBanner);
  exchange.rc = zarn_ipc_openx();
  if (exchange.rc != 0) {
    ZARNLog(kBackend, kExchangeLevel, "%s: Error: bad open operation. Return code ret_cd = %d", kBareName, 0);
    return;
  }
  const bool answered = use_channel(exchange.request, exchange.length, exchange.answer, exchange.rc);
  exchange.flag = answered ? 1 : 0;
}

// Exchanges under an identity to which no answer is owed. A late answer to an earlier request could otherwise
// pass for the answer to this one. When the calling thread's identity will not do, a thread is started for
// the exchange: its number makes another identity. That thread starts one more if its number, too, is one
// that came back; all wait for the one that exchanges, so no number comes twice.
void exchange_where_nothing_is_owed(Exchange& exchange);

void* exchange_on_own_thread(void* exchange) {
  CkesErrorManager::RegisterThread();
  exchange_where_nothing_is_owed(*static_cast<Exchange*>(exchange));
  CkesErrorManager::GetStack(static_cast<Exchange*>(exchange)->trail);
  CkesErrorManager::UnregisterThread();
  return nullptr;
}

// The caller's signals stay the caller's, and it cannot be cancelled while the thread uses its stack.
bool impl_run_and_join(void* (*body)(void*), void* argument) {
  sigset_t all, before;
  int cancel_state = 0;
  pthread_t thread;
  sigfillset(&all);
  pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &cancel_state);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const bool started = pthread_create(&thread, nullptr, body, argument) == 0;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (started) pthread_join(thread, nullptr);
  pthread_setcancelstate(cancel_state, nullptr);
  return started;
}

// What failed on the other thread is found on the caller's error stack.
void copy_trail(CkesErrorStack& trail) {
  if (trail.GetErrorCode() == 0) return;
  CkesErrorManager::SetError(trail.GetErrorCode(), trail.GetFirstFunction());
  for (int i = 1; i < kTrailTexts; ++i) {
    const char* const name = trail.GetNextFunction();
    if (name == nullptr) return;
    CkesErrorManager::AddFunction(name);
  }
}

void exchange_where_nothing_is_owed(Exchange& exchange) {
  if (!answer_may_come()) return exchange_here(exchange);
  ZARNLog(kBackend, kExchangeLevel,
          "%s: an answer to an earlier request may still come, using another identity", kBareName);
  if (impl_run_and_join(exchange_on_own_thread, &exchange)) return copy_trail(exchange.trail);
  ZARNLog(kBackend, kExchangeLevel, "%s: Error: no thread for another identity", kBareName);
  exchange.rc = ZARN_GENERIC_ERROR;
}

// The verdict on an exchange that failed: give the engine a moment, then see whether it is still there. The
// two callers read the answer differently, so each brings its own test.
template <typename Running>
int judge_failure(Running running) {
  std::this_thread::sleep_for(kPause);
  return running(EngineIsRunning()) ? MAR_EXCHANGE_FAILED : MAR_ENGINE_NOT_RUNNING;
}

}  // namespace

}  // namespace mar

int zarn_send_rcv_from_mar_engine(const unsigned char* request, int length, unsigned char** reply) {
  if (pMutex == nullptr) pMutex = new (std::nothrow) CkesMutex;
  if (pMutex == nullptr) return 0;
  const MutexHold turn(*pMutex);
  ZARNLog(kBackend, kExchangeLevel, "%s: %s", kBareName, kEntryBanner);
  Exchange exchange{.request = request, .length = length, .answer = *reply};
  exchange_where_nothing_is_owed(exchange);
  ZARNLog(kBackend, kExchangeLevel, "%s: %s Return code rc = %d", kBareName, kCompletedBanner,
          static_cast<int>(exchange.rc));
  *reply = exchange.answer;
  return exchange.flag;
}

int zarn_send_and_rcv(const unsigned char* request, int length, unsigned char* reply) {
  static constexpr char kName[] = "zarn_send_and_rcv";
  if (EngineIsRunning() == 0) return MAR_ENGINE_NOT_RUNNING;
  ZARNLog(kBackend, kExchangeLevel, "%s: %s", kName, kEntryBanner);
  ZARNLog(kBackend, kExchangeLevel, "%s:%s: zarn_send_rcv_from_mar_engine()", kName, kInvokingBanner);
  unsigned char* answer = nullptr;
  int result = zarn_send_rcv_from_mar_engine(request, length, &answer);
  if (result != 1) {
    result = judge_failure([](int running) { return running != 0; });
  } else if (answer == nullptr) {
    result = MAR_ENGINE_NOT_RUNNING;  // no memory for the answer: a failure like any other buffer's
  } else if (reply != nullptr) {
    std::memcpy(reply, answer, CLI_MAX_BUFFER_SIZE);
  }
  ZARNLog(kBackend, kExchangeLevel, "%s: %s Return code rc = %d", kName, kCompletedBanner, result);
  std::free(answer);
  return result;
}

int zarnStartSend(const unsigned char* request, int length, unsigned char* reply) {
  static constexpr char kName[] = "zarnStartSend";
  const CmdRecord* const row = get_command(CMD_START_SEND);
  ZARNLog(kBackend, kExchangeLevel, "%s: %s", kName, kEntryBanner);
  int running = EngineIsRunning();
  for (int retries = 0; running == 0 && retries < kStartRetries; ++retries) {
    std::this_thread::sleep_for(kPause);
    running = EngineIsRunning();
  }
  int result = MAR_EXCHANGE_FAILED;
  if (running != 0) {
    result = zarn_send_and_rcv(request, length, reply);
    // The code has no row, so there is nothing to judge the reply by: the exchange's result stands.
    if (result == 1 && row != nullptr && row->read != nullptr && reply != nullptr)
      result = row->read(0, reply);
  }
  ZARNLog(kBackend, kExchangeLevel, "%s: %s Return code rc = %d", kName, kCompletedBanner, result);
  return result;
}

int zarn_send_and_rcv_long_msg(const unsigned char* request, int length, unsigned char** reply,
                               int /*unused*/) {
  static constexpr char kName[] = "zarn_send_and_rcv_long_msg";
  int result = 1;
  ZARNLog(kBackend, kExchangeLevel, "%s: %s", kName, kEntryBanner);
  if (EngineIsRunning() == 1) {
    ZARNLog(kBackend, kExchangeLevel, "%s: %s: zarn_send_rcv_from_mar_engine ()", kName, kInvokingBanner);
    if (zarn_send_rcv_from_mar_engine(request, length, reply) != 1) {
      result = judge_failure([](int running) { return running == 1; });
    }
  } else {
    result = MAR_ENGINE_NOT_RUNNING;
  }
  ZARNLog(kBackend, kExchangeLevel, "%s: %s Return code rc = %d", kName, kCompletedBanner, result);
  return result;
}
