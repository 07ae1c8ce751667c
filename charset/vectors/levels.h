// The kernels of each level, which is a file of its own: three for x86-64 processors, one for 64-bit ARM.
#pragma once

#include "charset/vectors.h"

// It is written for one byte order.
#if defined(__aarch64__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
#define MAR_HAS_NEON_LEVEL 1
#else
#define MAR_HAS_NEON_LEVEL 0
#endif

namespace mar::charset {

namespace sse41 {
extern const VectorKernels kKernels;
}
namespace avx2 {
extern const VectorKernels kKernels;
}
namespace avx512 {
extern const VectorKernels kKernels;
}
namespace neon {
extern const VectorKernels kKernels;
}

}  // namespace mar::charset
