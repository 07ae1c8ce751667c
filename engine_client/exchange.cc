#include "engine_client/exchange.h"

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <cstring>
#include <new>
#include <thread>

#include "contract/message.h"
#include "engine_client/type_table.h"
#include "ipc/channel.h"
#include "log/banners.h"
#include "log/engine_log.h"

CkesMutex* pMutex = new (std::nothrow) CkesMutex;

namespace {

constexpr int kLevel = 3;
constexpr char kBareName[] = "zarn_send_rcv_from_mar_engine";
constexpr std::chrono::seconds kPause{2};
constexpr int kStartRetries = 30;

// A request that has a header and whose payload fits into a record.
bool fits_message(int length) {
  return length >= kRequestHeaderSize && length - kRequestHeaderSize <= CLI_MAX_BUFFER_SIZE;
}

// The process id of the header stays behind: the record names its sender itself.
void fill_message(const unsigned char* request, int length, TCLIMessage& message) {
  message.length = length - kRequestHeaderSize;
  std::memcpy(&message.command, request + kRequestCodeOffset, sizeof message.command);
  std::memcpy(message.data, request + kRequestHeaderSize, static_cast<size_t>(message.length));
  message.sender = ipc_user_id;
  message.kind = CLI_SINGLE;
}

// Kept as is in the error lines of the three steps: they print the flag, 0, not the channel's code.

bool write_request(const unsigned char* request, int length, long& rc) {
  ZARNLog(kBackend, kLevel, "%s: inserting the command into a TCLIMessage type variable", kBareName);
  TCLIMessage message{};  // zeroed: everybody can read what is queued
  const bool fits = fits_message(length);
  if (fits) fill_message(request, length, message);
  ZARNLog(kBackend, kLevel, "%s: writing the command to the engine", kBareName);
  ZARNLog(kBackend, kLevel, "%s: %s: zarn_ipc_writex()", kBareName, kInvokingBanner);
  rc = fits ? zarn_ipc_writex(message) : ZARN_GENERIC_ERROR;
  if (rc == 0) return true;
  ZARNLog(kBackend, kLevel, "%s: Error: bad write operation. Return code ret_cd = %d", kBareName, 0);
  return false;
}

bool read_answer(long& rc) {
  ZARNLog(kBackend, kLevel, "%s: reading the message from the engine", kBareName);
  ZARNLog(kBackend, kLevel, "%s:%s:  zarn_ipc_readx()", kBareName, kInvokingBanner);
  rc = zarn_ipc_readx();
  if (rc == 0) return true;
  ZARNLog(kBackend, kLevel, "%s: Error: bad read operation. Return code ret_cd = %d", kBareName, 0);
  return false;
}

// A copy of the answer for the caller, never smaller than what a read routine may look at; null without
// memory.
unsigned char* copy_answer() {
  ZARNLog(kBackend, kLevel, "%s: returning the message from the engine", kBareName);
  const auto length = static_cast<size_t>(prdbuff->GetLength());
  const size_t size = std::max<size_t>(length, CLI_MAX_BUFFER_SIZE);
  auto* answer = static_cast<unsigned char*>(std::malloc(size));
  if (answer == nullptr) {
    ZARNLog(kBackend, kLevel,
            "%s: Error: memory allocation fault for msg_from. Can't return message from engine", kBareName);
    return nullptr;
  }
  // A short answer reads as zeros behind its end, never as old memory.
  if (length > 0) std::memcpy(answer, prdbuff->GetBuffer(), length);
  std::memset(answer + length, 0, size - length);
  return answer;
}

// Write, read, close on a channel that is open.
bool use_channel(const unsigned char* request, int length, unsigned char*& answer, long& rc) {
  const bool answered = write_request(request, length, rc) && read_answer(rc);
  if (answered) answer = copy_answer();
  ZARNLog(kBackend, kLevel, "%s: closing the channel", kBareName);
  ZARNLog(kBackend, kLevel, "%s:%s:zarn_ipc_closex()", kBareName, kInvokingBanner);
  rc = zarn_ipc_closex();
  return answered;
}

// The verdict on an exchange that failed: give the engine a moment, then see whether it is still there. The
// two callers read the answer differently, so each brings its own test.
template <typename Running>
int judge_failure(Running running) {
  std::this_thread::sleep_for(kPause);
  return running(EngineIsRunning()) ? MAR_EXCHANGE_FAILED : MAR_ENGINE_NOT_RUNNING;
}

}  // namespace

int zarn_send_rcv_from_mar_engine(const unsigned char* request, int length, unsigned char** reply) {
  unsigned char* answer = *reply;
  if (pMutex == nullptr) pMutex = new (std::nothrow) CkesMutex;
  if (pMutex == nullptr) return 0;
  const MutexHold turn(*pMutex);
  ZARNLog(kBackend, kLevel, "%s: %s", kBareName, kEntryBanner);
  ZARNLog(kBackend, kLevel, "%s: %s:  zarn_ipc_openx()", kBareName, kInvokingBanner);
  int flag = 0;
  long rc = zarn_ipc_openx();
  if (rc != 0) {
    ZARNLog(kBackend, kLevel, "%s: Error: bad open operation. Return code ret_cd = %d", kBareName, flag);
  } else {
    flag = use_channel(request, length, answer, rc) ? 1 : 0;
  }
  ZARNLog(kBackend, kLevel, "%s: %s Return code rc = %d", kBareName, kCompletedBanner, static_cast<int>(rc));
  *reply = answer;
  return flag;
}

int zarn_send_and_rcv(const unsigned char* request, int length, unsigned char* reply) {
  static constexpr char kName[] = "zarn_send_and_rcv";
  if (EngineIsRunning() == 0) return MAR_ENGINE_NOT_RUNNING;
  ZARNLog(kBackend, kLevel, "%s: %s", kName, kEntryBanner);
  ZARNLog(kBackend, kLevel, "%s:%s: zarn_send_rcv_from_mar_engine()", kName, kInvokingBanner);
  unsigned char* answer = nullptr;
  int result = zarn_send_rcv_from_mar_engine(request, length, &answer);
  if (result != 1) {
    result = judge_failure([](int running) { return running != 0; });
  } else if (answer == nullptr) {
    result = MAR_ENGINE_NOT_RUNNING;  // no memory for the answer: a failure like any other buffer's
  } else if (reply != nullptr) {
    std::memcpy(reply, answer, CLI_MAX_BUFFER_SIZE);
  }
  ZARNLog(kBackend, kLevel, "%s: %s Return code rc = %d", kName, kCompletedBanner, result);
  std::free(answer);
  return result;
}

int zarnStartSend(const unsigned char* request, int length, unsigned char* reply) {
  static constexpr char kName[] = "zarnStartSend";
  const CmdRecord* const row = get_command(CMD_START_SEND);
  ZARNLog(kBackend, kLevel, "%s: %s", kName, kEntryBanner);
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
  ZARNLog(kBackend, kLevel, "%s: %s Return code rc = %d", kName, kCompletedBanner, result);
  return result;
}

int zarn_send_and_rcv_long_msg(const unsigned char* request, int length, unsigned char** reply,
                               int /*unused*/) {
  static constexpr char kName[] = "zarn_send_and_rcv_long_msg";
  int result = 1;
  ZARNLog(kBackend, kLevel, "%s: %s", kName, kEntryBanner);
  if (EngineIsRunning() == 1) {
    ZARNLog(kBackend, kLevel, "%s: %s: zarn_send_rcv_from_mar_engine ()", kName, kInvokingBanner);
    if (zarn_send_rcv_from_mar_engine(request, length, reply) != 1) {
      result = judge_failure([](int running) { return running == 1; });
    }
  } else {
    result = MAR_ENGINE_NOT_RUNNING;
  }
  ZARNLog(kBackend, kLevel, "%s: %s Return code rc = %d", kName, kCompletedBanner, result);
  return result;
}
