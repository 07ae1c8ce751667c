// The sequence behind every engine command: request buffer, header, exchange, verdict, and the log lines of
// each step. For the command functions; programs call those.
#pragma once

#include <atomic>
#include <cstdint>

extern "C" {

// The process id that the last request carried. Every call stores the same value, from whatever thread.
extern std::atomic<uint32_t> pid;

// Sends `payload` (`payload_size` bytes; may be null when that is 0) as message `code`. Returns the engine's
// result or MAR_EXCHANGE_FAILED (also for a code without a row in CmdTable), MAR_ENGINE_NOT_RUNNING (also for
// no memory), MAR_REQUEST_TOO_LARGE (nothing sent) or MAR_BAD_REPLY. `log_name` opens each of its lines in
// the engine log.
int32_t mar_api_worker(const char* log_name, uint32_t code, const void* payload, uint32_t payload_size);
}

// mar_api_worker without a payload, for a command with something left to do once the engine has answered:
// `after_exchange` is called with `log_name` after an exchange that succeeded, whatever the engine's result.
int32_t run_bare_command(const char* log_name, uint32_t code, void (*after_exchange)(const char* log_name));
