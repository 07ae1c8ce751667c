#include "charset/vectors.h"

#include <atomic>

#if defined(__x86_64__) && __has_include(<sys/platform/x86.h>)
#define MAR_HAS_X86_LEVELS 1
#include <sys/platform/x86.h>

#include "charset/vectors_x86.h"
#else
#define MAR_HAS_X86_LEVELS 0
#endif

namespace mar::charset {
namespace {

bool always() { return true; }

#if MAR_HAS_X86_LEVELS
// The C library asks the processor at its own start and keeps the answers. To ask again costs many
// microseconds for each question in a virtual machine.
bool has_sse41() { return x86_cpu_active(x86_cpu_SSE4_1) && x86_cpu_active(x86_cpu_POPCNT); }
bool has_avx2() { return has_sse41() && x86_cpu_active(x86_cpu_AVX2); }
#endif

}  // namespace

constinit const VectorLevel kVectorLevels[] = {
#if MAR_HAS_X86_LEVELS
    {"AVX2", has_avx2, avx2::utf8_to_ucs2, avx2::ucs2_to_utf8},
#endif
    {"scalar", always, nullptr, nullptr},
};
const VectorLevel& kScalarLevel = kVectorLevels[sizeof kVectorLevels / sizeof *kVectorLevels - 1];

namespace {

constinit std::atomic<const VectorLevel*> chosen = nullptr;

const VectorLevel& choose() {
  const VectorLevel* level = kVectorLevels;
  while (!level->is_supported()) ++level;
  chosen.store(level, std::memory_order_relaxed);
  return *level;
}

}  // namespace

// The levels are constants, so a thread that sees the pointer sees the level. Threads that choose at the same
// time choose the same.
const VectorLevel& vectors() {
  const VectorLevel* const level = chosen.load(std::memory_order_relaxed);
  return level != nullptr ? *level : choose();
}

void use_vectors(const VectorLevel& level) { chosen.store(&level, std::memory_order_relaxed); }

}  // namespace mar::charset
