#include "engine_client/single_exchange.h"

#include <pthread.h>

#include <algorithm>
#include <csignal>
#include <cstdlib>
#include <cstring>
#include <optional>

#include "contract/message.h"
#include "engine_client/open_connection.h"
#include "engine_client/type_table.h"
#include "ipc/channel.h"
#include "ipc/command_log.h"
#include "log/engine_log.h"
#include "runtime/error_manager.h"

namespace mar {

namespace {

constexpr int kTrailTexts = 50;  // all that an error stack keeps

// Kept as is: the error lines of the three steps print the flag, 0, not the channel's code.

// The steps of an exchange on some channel. open() says whether the next steps make sense. A thread that is
// cancelled while it waits leaves by the destructor.
class Route {
 public:
  virtual bool open(long& rc) = 0;
  virtual CIPCQueue<TCLIMessage>* queue() const = 0;
  virtual long write(const Request& request) = 0;
  virtual long read() = 0;
  virtual const CkesBuffer& answer() const = 0;
  virtual void close(long& rc) = 0;

 protected:
  ~Route() = default;
};

// Over the process's channel, opened for this one exchange.
class ChannelRoute final : public Route {
 public:
  ~ChannelRoute() {
    if (open_) zarn_ipc_closex();
  }
  bool open(long& rc) override {
    ZARNLog(kBackend, kExchangeLevel, "%s: %s:  zarn_ipc_openx()", kExchangeName, kInvokingBanner);
    rc = zarn_ipc_openx();
    open_ = rc == 0;
    return open_;
  }
  CIPCQueue<TCLIMessage>* queue() const override { return pcmd_channel; }
  long write(const Request& request) override { return zarn_ipc_writex(request); }
  long read() override { return zarn_ipc_readx(); }
  const CkesBuffer& answer() const override { return *prdbuff; }
  void close(long& rc) override {
    ZARNLog(kBackend, kExchangeLevel, "%s: closing the channel", kExchangeName);
    ZARNLog(kBackend, kExchangeLevel, "%s:%s:zarn_ipc_closex()", kExchangeName, kInvokingBanner);
    open_ = false;
    rc = zarn_ipc_closex();
  }

 private:
  bool open_ = false;
};

// Over a connection that stays open.
class ConnectionRoute final : public Route {
 public:
  explicit ConnectionRoute(OpenConnection& connection) : connection_(connection) {}
  ~ConnectionRoute() {
    if (waiting_) connection_.give_up();
  }
  bool open(long& rc) override {
    rc = connection_.prepare();
    return rc == 0;
  }
  CIPCQueue<TCLIMessage>* queue() const override { return connection_.queue(); }
  long write(const Request& request) override { return connection_.write(request); }
  long read() override {
    waiting_ = true;
    const long rc = connection_.read();
    waiting_ = false;
    return rc;
  }
  const CkesBuffer& answer() const override { return connection_.answer(); }
  void close(long&) override {}

 private:
  OpenConnection& connection_;
  bool waiting_ = false;
};

// A request that has a header and whose payload fits into a record.
bool fits_message(int length) {
  return length >= kRequestHeaderSize && length - kRequestHeaderSize <= CLI_MAX_BUFFER_SIZE;
}

// The header's process id is not sent: the record names its sender itself.
Request request_of(const Exchange& exchange) {
  Request request{0, exchange.request + kRequestHeaderSize, exchange.length - kRequestHeaderSize};
  std::memcpy(&request.command, exchange.request + kRequestCodeOffset, sizeof request.command);
  return request;
}

bool write_request(Exchange& exchange, Route& route) {
  ZARNLog(kBackend, kExchangeLevel, "%s: inserting the command into a TCLIMessage type variable",
          kExchangeName);
  const bool fits = fits_message(exchange.length);
  if (!fits) note_cause(MAR_CAUSE_REQUEST_TOO_LONG);
  ZARNLog(kBackend, kExchangeLevel, "%s: writing the command to the engine", kExchangeName);
  ZARNLog(kBackend, kExchangeLevel, "%s: %s: zarn_ipc_writex()", kExchangeName, kInvokingBanner);
  exchange.rc = fits ? route.write(request_of(exchange)) : ZARN_GENERIC_ERROR;
  if (exchange.rc == 0) return true;
  ZARNLog(kBackend, kExchangeLevel, "%s: Error: bad write operation. Return code ret_cd = %d", kExchangeName,
          0);
  return false;
}

bool read_answer(Exchange& exchange, Route& route) {
  ZARNLog(kBackend, kExchangeLevel, "%s: reading the message from the engine", kExchangeName);
  ZARNLog(kBackend, kExchangeLevel, "%s:%s:  zarn_ipc_readx()", kExchangeName, kInvokingBanner);
  exchange.rc = route.read();
  if (exchange.rc == 0) return true;
  ZARNLog(kBackend, kExchangeLevel, "%s: Error: bad read operation. Return code ret_cd = %d", kExchangeName,
          0);
  return false;
}

// Copies what fits; zeros follow.
void copy_to_reply(const CkesBuffer& received, Exchange& exchange) {
  constexpr size_t kSize = CLI_MAX_BUFFER_SIZE;
  const size_t length = std::min(static_cast<size_t>(received.GetLength()), kSize);
  exchange.answer = exchange.reply;
  if (length > 0) std::memcpy(exchange.reply, received.GetBuffer(), length);
  if (!exchange.reply_is_zero) std::memset(exchange.reply + length, 0, kSize - length);
}

// A copy of the answer for the caller, never smaller than what a read routine may look at; null without
// memory. Past its end a short answer reads as zeros, never as old memory.
void copy_answer(const CkesBuffer& received, Exchange& exchange) {
  ZARNLog(kBackend, kExchangeLevel, "%s: returning the message from the engine", kExchangeName);
  if (exchange.reply != nullptr) return copy_to_reply(received, exchange);
  const auto length = static_cast<size_t>(received.GetLength());
  exchange.answer =
      static_cast<unsigned char*>(std::calloc(1, std::max<size_t>(length, CLI_MAX_BUFFER_SIZE)));
  if (exchange.answer == nullptr) {
    note_cause(MAR_CAUSE_NO_MEMORY);
    ZARNLog(kBackend, kExchangeLevel,
            "%s: Error: memory allocation fault for msg_from. Can't return message from engine",
            kExchangeName);
    return;
  }
  if (length > 0) std::memcpy(exchange.answer, received.GetBuffer(), length);
}

bool is_free_to_ask(Exchange& exchange, const Route& route) {
  if (may_ask(route.queue())) return true;
  exchange.rc = ZARN_GENERIC_ERROR;
  ZARNLog(kBackend, kExchangeLevel, "%s: Error: answers to earlier requests have not come yet",
          kExchangeName);
  return false;
}

void exchange_over(Route& route, Exchange& exchange) {
  if (!route.open(exchange.rc)) {
    ZARNLog(kBackend, kExchangeLevel, "%s: Error: bad open operation. Return code ret_cd = %d", kExchangeName,
            0);
    return;
  }
  exchange.succeeded =
      is_free_to_ask(exchange, route) && write_request(exchange, route) && read_answer(exchange, route);
  if (exchange.succeeded) copy_answer(route.answer(), exchange);
  route.close(exchange.rc);
}

void exchange_here(Exchange& exchange) {
  if (!exchange.connected) {
    ChannelRoute route;
    return exchange_over(route, exchange);
  }
  // A thread that was started for this exchange has no connection yet, and ends with it.
  std::optional<OpenConnection> temporary;
  OpenConnection* const own = thread_connection();
  ConnectionRoute route(own != nullptr ? *own : temporary.emplace());
  exchange_over(route, exchange);
}

// What the thread leaves for the one that waits for it, also when it is cancelled.
class OwnThread {
 public:
  explicit OwnThread(Exchange& exchange) : exchange_(exchange), limit_(exchange.deadline) {
    CkesErrorManager::RegisterThread();
  }
  ~OwnThread() {
    CkesErrorManager::GetStack(exchange_.trail);
    CkesErrorManager::UnregisterThread();
    exchange_.cause = last_cause();
  }
  OwnThread(const OwnThread&) = delete;
  OwnThread& operator=(const OwnThread&) = delete;

 private:
  Exchange& exchange_;
  const CallDeadline limit_;
};

void* exchange_on_own_thread(void* argument) {
  Exchange& exchange = *static_cast<Exchange*>(argument);
  const OwnThread frame(exchange);
  exchange_where_nothing_is_owed(exchange);
  return nullptr;
}

// Waits for a thread. If the waiting thread is cancelled, so is the other: it uses this one's stack.
class Joiner {
 public:
  explicit Joiner(pthread_t thread) : thread_(thread) {}
  ~Joiner() {
    if (joined_) return;
    pthread_cancel(thread_);
    pthread_join(thread_, nullptr);
  }
  Joiner(const Joiner&) = delete;
  Joiner& operator=(const Joiner&) = delete;

  void join() { joined_ = pthread_join(thread_, nullptr) == 0; }

 private:
  const pthread_t thread_;
  bool joined_ = false;
};

// The caller's signals stay the caller's.
bool impl_run_and_join(void* (*body)(void*), void* argument) {
  sigset_t all, before;
  pthread_t thread;
  sigfillset(&all);
  pthread_sigmask(SIG_SETMASK, &all, &before);
  const bool started = pthread_create(&thread, nullptr, body, argument) == 0;
  pthread_sigmask(SIG_SETMASK, &before, nullptr);
  if (started) Joiner(thread).join();
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

}  // namespace

// The thread that is started starts one more if its number, too, is one that came back. All wait for the one
// that exchanges, so no number comes twice.
void exchange_where_nothing_is_owed(Exchange& exchange) {
  if (!answer_may_come()) return exchange_here(exchange);
  ZARNLog(kBackend, kExchangeLevel,
          "%s: an answer to an earlier request may still come, using another identity", kExchangeName);
  exchange.deadline = call_deadline();
  if (impl_run_and_join(exchange_on_own_thread, &exchange)) {
    last_cause() = exchange.cause;
    return copy_trail(exchange.trail);
  }
  note_cause(MAR_CAUSE_NO_MEMORY);
  ZARNLog(kBackend, kExchangeLevel, "%s: Error: no thread for another identity", kExchangeName);
  exchange.rc = ZARN_GENERIC_ERROR;
}

}  // namespace mar
