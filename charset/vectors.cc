#include "charset/vectors.h"

#include "charset/vectors/levels.h"

#if defined(__x86_64__) && __has_include(<sys/platform/x86.h>)
#define MAR_HAS_X86_LEVELS 1
#include <sys/platform/x86.h>
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
bool has_avx512() {
  return has_avx2() && x86_cpu_active(x86_cpu_BMI2) && x86_cpu_active(x86_cpu_AVX512F) &&
         x86_cpu_active(x86_cpu_AVX512BW) && x86_cpu_active(x86_cpu_AVX512_VBMI) &&
         x86_cpu_active(x86_cpu_AVX512_VBMI2);
}
#endif

constinit const VectorKernels kNoKernels{};

}  // namespace

constinit const VectorLevel kVectorLevels[] = {
#if MAR_HAS_X86_LEVELS
    {"AVX512", has_avx512, &avx512::kKernels},
    {"AVX2", has_avx2, &avx2::kKernels},
    {"SSE41", has_sse41, &sse41::kKernels},
#elif MAR_HAS_NEON_LEVEL
    {"NEON", always, &neon::kKernels},
#endif
    {"scalar", always, &kNoKernels},
};
constinit const VectorLevel& kScalarLevel = kVectorLevels[sizeof kVectorLevels / sizeof *kVectorLevels - 1];

// The kernels are constants, so a thread that sees the pointer sees them.
constinit std::atomic<const VectorKernels*> kernels_in_use = nullptr;

// Threads that choose at the same time choose the same.
const VectorKernels& choose_vectors() {
  const VectorLevel* level = kVectorLevels;
  while (!level->is_supported()) ++level;
  use_vectors(*level);
  return *level->kernels;
}

void use_vectors(const VectorLevel& level) { kernels_in_use.store(level.kernels, std::memory_order_relaxed); }

}  // namespace mar::charset
