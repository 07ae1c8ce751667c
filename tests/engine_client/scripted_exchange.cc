#include "tests/engine_client/scripted_exchange.h"

#include <unistd.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>

#include "contract/byte_order.h"
#include "contract/message.h"
#include "engine_client/exchange.h"
#include "log/engine_log.h"

ScriptedExchange scripted_exchange;
int failing_calloc = 0;

extern "C" void* __real_calloc(size_t count, size_t size_bytes);

extern "C" void* __wrap_calloc(size_t count, size_t size_bytes) {
  const bool fail = failing_calloc > 0 && --failing_calloc == 0;
  return fail ? nullptr : __real_calloc(count, size_bytes);
}

int mar::exchange_into_zeros(const unsigned char* request, int length, unsigned char* reply) {
  const auto& script = scripted_exchange.script;
  const size_t turn = scripted_exchange.requests.size();
  scripted_exchange.requests.emplace_back(request, request + length);
  const Answer answer = turn < script.size() ? script[turn] : Answer{};
  mar::put_be32(reply, answer.marker);
  mar::put_be32(reply + 4, static_cast<uint32_t>(answer.result));
  return answer.exchanged;
}

long ZARNLog(long component, int level, const char* format, ...) {
  char text[1024];
  va_list values;
  va_start(values, format);
  vsnprintf(text, sizeof text, format, values);
  va_end(values);
  scripted_exchange.log.push_back(std::to_string(component) + " " + std::to_string(level) + " " + text);
  return 0;
}

extern "C" int __wrap_nanosleep(const timespec* wanted, timespec*) {
  scripted_exchange.slept_ms += wanted->tv_sec * 1000 + wanted->tv_nsec / 1000000;
  return 0;
}

std::string request_of(uint8_t code, size_t size, const std::string& pieces) {
  char header[17];
  snprintf(header, sizeof header, "%08x000000%02x", static_cast<unsigned>(getpid()), code);
  return header + bytes_of(size, pieces);
}
