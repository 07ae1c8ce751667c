#include "engine_client/api_worker.h"

#include <unistd.h>

#include <cinttypes>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "contract/byte_order.h"
#include "contract/message.h"
#include "engine_client/call.h"
#include "engine_client/exchange.h"
#include "engine_client/open_connection.h"
#include "engine_client/type_table.h"
#include "ipc/cause.h"
#include "ipc/command_log.h"
#include "log/engine_log.h"

using namespace mar;

std::atomic<uint32_t> pid{0};

namespace mar {

namespace {

struct FreeBlock {
  void operator()(uint8_t* block) const { std::free(block); }
};
using Block = std::unique_ptr<uint8_t, FreeBlock>;  // CLI_MAX_BUFFER_SIZE bytes

Block zeroed_block() { return Block(static_cast<uint8_t*>(std::calloc(1, CLI_MAX_BUFFER_SIZE))); }

struct Command {
  const char* log_name;
  uint32_t code;
  const void* payload;
  uint32_t payload_size_bytes;
  void (*after_exchange)(const char* log_name);  // may be null
};

// The engine's verdict, and where it is no success the cause.
int32_t judge(const CmdRecord& row, const uint8_t* reply) {
  const int32_t result = row.read != nullptr ? row.read(0, reply) : MAR_OK;
  const bool marked = row.read == nullptr || get_be32(reply) == kReplyMarker;
  note_cause(!marked ? MAR_CAUSE_WRONG_MARKER : result == MAR_OK ? MAR_CAUSE_NONE : MAR_CAUSE_ENGINE_SAID);
  return result;
}

int32_t exchange_and_judge(const Command& command, const CmdRecord& row, uint8_t* request, uint8_t* reply) {
  const OpenConnection* const connection = thread_connection();
  const auto own_pid = connection != nullptr ? connection->process_id() : static_cast<uint32_t>(getpid());
  pid.store(own_pid, std::memory_order_relaxed);
  const int32_t header_size = row.write(own_pid, &row, request);

  const uint64_t total = static_cast<uint64_t>(header_size) + command.payload_size_bytes;
  if (total > CLI_MAX_BUFFER_SIZE) {
    // As a text: the log's "%d" takes an int, and the total may be larger than that.
    char total_text[21];
    std::snprintf(total_text, sizeof total_text, "%" PRIu64, total);
    ZARNLog(kBackend, kErrorLevel, "%s: Command is too big [%s] to write to msg buffer!\n", command.log_name,
            total_text);
    note_cause(MAR_CAUSE_REQUEST_TOO_LONG);
    return MAR_REQUEST_TOO_LARGE;
  }
  if (command.payload_size_bytes > 0)
    std::memcpy(request + header_size, command.payload, command.payload_size_bytes);

  ZARNLog(kBackend, kCommandLevel, "%s:%s: zarn_send_and_rcv()", command.log_name, kInvokingBanner);
  const int32_t exchanged = exchange_into_zeros(request, static_cast<int>(total), reply);
  if (exchanged != MAR_OK) return exchanged;
  if (command.after_exchange != nullptr) command.after_exchange(command.log_name);
  return judge(row, reply);
}

int32_t allocate_and_send(const Command& command) {
  const Block request = zeroed_block();
  if (request == nullptr) {
    note_cause(MAR_CAUSE_NO_MEMORY);
    ZARNLog(kBackend, kCommandLevel, "%s: calloc for msg failed!\n", command.log_name);
    return MAR_ENGINE_NOT_RUNNING;
  }
  const Block reply = zeroed_block();
  if (reply == nullptr) {
    note_cause(MAR_CAUSE_NO_MEMORY);
    ZARNLog(kBackend, kCommandLevel, "%s: calloc for msg_from failed!\n", command.log_name);
    return MAR_ENGINE_NOT_RUNNING;
  }
  const CmdRecord* const row = get_command(command.code);
  if (row == nullptr) {
    ZARNLog(kBackend, kCommandLevel, "%s: pCommand == NULL !!!!\n", command.log_name);
    return MAR_EXCHANGE_FAILED;
  }
  return exchange_and_judge(command, *row, request.get(), reply.get());
}

int32_t run(const Command& command) {
  const Call call;
  if (call.is_nested()) return MAR_EXCHANGE_FAILED;
  ZARNLog(kBackend, kCommandLevel, "%s: %s", command.log_name, kEntryBanner);
  const int32_t result = allocate_and_send(command);
  ZARNLog(kBackend, kCommandLevel, "%s: %s Return code: %d", command.log_name, kCompletedBanner, result);
  return result;
}

}  // namespace

int32_t run_bare_command(const char* log_name, uint32_t code, void (*after_exchange)(const char* log_name)) {
  return run({log_name, code, nullptr, 0, after_exchange});
}

}  // namespace mar

int32_t mar_api_worker(const char* log_name, uint32_t code, const void* payload, uint32_t payload_size) {
  return mar::run({log_name, code, payload, payload_size, nullptr});
}
