// The steps of every engine command: request buffer, header, exchange, verdict, and a log line for each. The
// command functions (engine_client/commands.h) call this; programs call those.
#pragma once

#include <atomic>
#include <cstdint>

extern "C" {

// The process id in the last request's header. Every call stores the same value, on whatever thread.
extern std::atomic<uint32_t> pid;

// Sends `payload` (`payload_size` bytes; may be null when that is 0) as message `code`. Each line in the
// engine log begins with `log_name`. Returns the engine's result, or
//   MAR_EXCHANGE_FAILED     the exchange failed although the engine runs, or the code has no row in CmdTable
//   MAR_ENGINE_NOT_RUNNING  or no memory
//   MAR_REQUEST_TOO_LARGE   nothing was sent
//   MAR_BAD_REPLY           the answer has no marker
int32_t mar_api_worker(const char* log_name, uint32_t code, const void* payload, uint32_t payload_size);
}

namespace mar {

// mar_api_worker without a payload, for a command with something left to do once the engine has answered:
// `after_exchange` is called with `log_name` after an exchange that succeeded, whatever the engine's result.
int32_t run_bare_command(const char* log_name, uint32_t code, void (*after_exchange)(const char* log_name));

}  // namespace mar
