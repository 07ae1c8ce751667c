// The kernels of the levels that x86-64 processors have. Each level is a file of its own.
#pragma once

#include "charset/vectors.h"

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

}  // namespace mar::charset
