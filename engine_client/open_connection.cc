#include "engine_client/open_connection.h"

#include <pthread.h>

#include <new>

#include "contract/engine_config.h"
#include "contract/message.h"
#include "contract/status.h"
#include "engine_client/call.h"
#include "engine_client/connection.h"
#include "ipc/cause.h"

namespace mar {

namespace {

constexpr int64_t kCloseMs = 250;  // how long the end of a thread waits for the queue's lock

constinit thread_local OpenConnection* connection = nullptr;

void drop_connection() {
  delete connection;
  connection = nullptr;
}

// Closes the connection of a thread that ends without mar_close(). Only a thread that has opened one
// pays for it.
struct AtThreadEnd {
  ~AtThreadEnd() {
    const CallDeadline limit(Deadline::in_ms(kCloseMs));
    drop_connection();
  }
  void arm() {}
};
thread_local AtThreadEnd at_thread_end;

[[maybe_unused]] const int fork_handler = pthread_atfork(nullptr, nullptr, [] {
  if (connection != nullptr) connection->abandon();
  connection = nullptr;
});

}  // namespace

OpenConnection::~OpenConnection() { channel_.release(); }

int OpenConnection::open() {
  channel_.release();
  const int rc = channel_.open();
  open_ = rc == 0;
  return rc;
}

long OpenConnection::write(const Request& request) {
  long rc = channel_.write(request);
  // A full queue is the right one, and there is no time to open another once the deadline has passed.
  if (rc != 0 && rc != QUEUE_OVERFLOW && !channel_.queued() && !call_deadline().has_passed()) {
    rc = open();
    if (rc == 0) rc = channel_.write(request);
  }
  if (rc != 0 && rc != QUEUE_OVERFLOW) give_up();
  return rc;
}

// The answer before goes first: a record without data would leave it there. A long one's memory goes, too.
long OpenConnection::read() {
  if (answer_->Reserve(0) > CLI_MAX_BUFFER_SIZE) (void)answer_->Set(nullptr, 0);
  answer_->SetLength(0);
  const long rc = channel_.read();
  if (rc != 0) give_up();
  return rc;
}

// What may still be answered is remembered by the process.
void OpenConnection::give_up() {
  channel_.release();
  open_ = false;
}

OpenConnection* thread_connection() { return connection; }

}  // namespace mar

using namespace mar;

int32_t mar_open() {
  const Call call;
  if (call.is_nested()) return MAR_EXCHANGE_FAILED;
  if (thread_connection() != nullptr) return MAR_OK;
  at_thread_end.arm();
  connection = new (std::nothrow) OpenConnection;
  if (connection == nullptr) {
    note_cause(MAR_CAUSE_NO_MEMORY);
    return MAR_ENGINE_NOT_RUNNING;
  }
  const int rc = connection->open();
  if (rc == 0) return MAR_OK;
  drop_connection();
  const bool has_engine = rc == static_cast<int>(EU_ERR_OPEN_CHANNEL_FAILED);
  return has_engine ? MAR_EXCHANGE_FAILED : MAR_ENGINE_NOT_RUNNING;
}

int32_t mar_close() {
  const Call call;
  if (call.is_nested()) return MAR_EXCHANGE_FAILED;
  if (thread_connection() == nullptr) {
    note_cause(MAR_CAUSE_NOT_OPEN);
    return MAR_EXCHANGE_FAILED;
  }
  drop_connection();
  return MAR_OK;
}

int32_t mar_set_deadline(int32_t milliseconds) {
  const Call call;
  if (call.is_nested()) return MAR_EXCHANGE_FAILED;
  if (milliseconds < 0) {
    note_cause(MAR_CAUSE_BAD_ARGUMENT);
    return MAR_EXCHANGE_FAILED;
  }
  set_call_limit(milliseconds);
  return MAR_OK;
}

const mar_error* mar_last_error() {
  static constexpr mar_error kNested = {MAR_CAUSE_NESTED_CALL, kNestedCallSentence};
  thread_local mar_error error;
  thread_local char sentence[kCauseSentenceBytes];
  if (thread_is_in_call()) return &kNested;
  describe_last_cause(sentence, sizeof sentence);
  error = {last_cause().code, sentence};
  return &error;
}

const char* mar_version() { return MAR_VERSION; }
