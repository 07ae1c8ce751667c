#include "ipc/process_generation.h"

#include <pthread.h>

#include <atomic>

namespace mar {

namespace {

constinit std::atomic<uint32_t> generation = 1;

[[maybe_unused]] const int registered =
    pthread_atfork(nullptr, nullptr, [] { generation.fetch_add(1, std::memory_order_relaxed); });

}  // namespace

uint32_t process_generation() { return generation.load(std::memory_order_relaxed); }

}  // namespace mar
