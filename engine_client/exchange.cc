#include "engine_client/exchange.h"

#include <cstdlib>

#include "contract/message.h"
#include "engine_client/open_connection.h"
#include "engine_client/single_exchange.h"
#include "engine_client/turn.h"
#include "engine_client/type_table.h"
#include "ipc/cause.h"
#include "ipc/channel.h"
#include "ipc/command_log.h"
#include "log/engine_log.h"

using namespace mar;

namespace mar {

namespace {

constexpr int64_t kPauseMs = 2000;
constexpr int kStartRetries = 30;

// Whether the engine runs, asked after an exchange that failed: as EngineIsRunning(), which is given a moment
// to change first. On an open connection there is no such pause. What ran out of time gets no further look.
int look_after_failure() {
  if (last_cause().code == MAR_CAUSE_DEADLINE) return 1;
  if (thread_connection() == nullptr) pause_call(kPauseMs);
  return EngineIsRunning();
}

// The bare exchange.
void exchange_bare(Exchange& exchange) {
  exchange.connected = thread_connection() != nullptr;
  const Turn turn(!exchange.connected);
  if (!turn.taken()) {
    note_cause(MAR_CAUSE_DEADLINE);
    return;
  }
  ZARNLog(kBackend, kExchangeLevel, "%s: %s", kExchangeName, kEntryBanner);
  exchange_where_nothing_is_owed(exchange);
  ZARNLog(kBackend, kExchangeLevel, "%s: %s Return code rc = %d", kExchangeName, kCompletedBanner,
          static_cast<int>(exchange.rc));
}

// The guarded exchange. After MAR_OK the answer is there; a block is the caller's to free.
int exchange_guarded(Exchange& exchange) {
  static constexpr char kName[] = "zarn_send_and_rcv";
  // An open connection notices by itself.
  if (thread_connection() == nullptr && EngineIsRunning() == 0) return MAR_ENGINE_NOT_RUNNING;
  ZARNLog(kBackend, kExchangeLevel, "%s: %s", kName, kEntryBanner);
  ZARNLog(kBackend, kExchangeLevel, "%s:%s: zarn_send_rcv_from_mar_engine()", kName, kInvokingBanner);
  exchange_bare(exchange);
  int result = MAR_OK;
  if (!exchange.succeeded) {
    result = look_after_failure() != 0 ? MAR_EXCHANGE_FAILED : MAR_ENGINE_NOT_RUNNING;
  } else if (exchange.answer == nullptr) {
    result = MAR_ENGINE_NOT_RUNNING;  // no memory for the answer: a failure like any other buffer's
  }
  ZARNLog(kBackend, kExchangeLevel, "%s: %s Return code rc = %d", kName, kCompletedBanner, result);
  return result;
}

}  // namespace

int exchange_into_zeros(const unsigned char* request, int length, unsigned char* reply) {
  Exchange exchange{.request = request, .length = length, .reply = reply, .reply_is_zero = true};
  return exchange_guarded(exchange);
}

}  // namespace mar

int zarn_send_rcv_from_mar_engine(const unsigned char* request, int length, unsigned char** reply) {
  Exchange exchange{.request = request, .length = length, .answer = *reply};
  exchange_bare(exchange);
  *reply = exchange.answer;
  return exchange.succeeded ? 1 : 0;
}

int zarn_send_and_rcv(const unsigned char* request, int length, unsigned char* reply) {
  Exchange exchange{.request = request, .length = length, .reply = reply};
  const int result = exchange_guarded(exchange);
  if (reply == nullptr) std::free(exchange.answer);
  return result;
}

int zarnStartSend(const unsigned char* request, int length, unsigned char* reply) {
  static constexpr char kName[] = "zarnStartSend";
  const CmdRecord* const row = get_command(CMD_START_SEND);
  ZARNLog(kBackend, kExchangeLevel, "%s: %s", kName, kEntryBanner);
  int running = EngineIsRunning();
  for (int retries = 0; running == 0 && retries < kStartRetries; ++retries) {
    pause_call(kPauseMs);
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
      result = look_after_failure() == 1 ? MAR_EXCHANGE_FAILED : MAR_ENGINE_NOT_RUNNING;
    }
  } else {
    result = MAR_ENGINE_NOT_RUNNING;
  }
  ZARNLog(kBackend, kExchangeLevel, "%s: %s Return code rc = %d", kName, kCompletedBanner, result);
  return result;
}
