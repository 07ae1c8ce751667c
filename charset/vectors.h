// The converters' vector forms: for each level of instructions one set of kernels, of which the best that the
// processor has is chosen at run time. docs/converters.md draws their method.
//
// The loop of transcode.h stays the definition of every conversion. A kernel takes plain text from the
// front, in whole blocks and at some levels up to the end, for which it writes the very units that the loop
// would write. It leaves the rest, and all result codes, to the loop.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

struct xcs_single_rows;

namespace mar::charset {

// Wants in <= in_end and out <= out_end. Advances both pointers past what it takes, perhaps nothing. `in`
// then points to the start of a character. Reads nothing outside [in, in_end) and writes nothing outside
// [out, out_end). Units past the new `out` may be overwritten; then so many whole characters are left, and so
// much room, that the loop replaces them all.
template <class In, class Out>
using Kernel = void (*)(const In*& in, const In* in_end, Out*& out, const Out* out_end);

// The same for a single-byte codeset based on ASCII that is not latin1, by its rows.
template <class In, class Out>
using RowKernel = void (*)(const xcs_single_rows& rows, const In*& in, const In* in_end, Out*& out,
                           const Out* out_end);

// The shortest input, in units, that is worth a kernel's while: for kernels that need input past their
// blocks, and for those that also take ends.
constexpr ptrdiff_t kKernelMargin = 64;
constexpr ptrdiff_t kLeastForKernel = 24;

// Room, in bytes, that the kernels from codes to bytes need past what they write.
constexpr ptrdiff_t kBytesBehind = 192;

// The first number of GB18030's codes of four bytes: those below stand for ASCII.
constexpr uint32_t kFoursBegin = 0x80;

struct VectorKernels {
  ptrdiff_t margin;  // of the level: one of the two
  Kernel<uint8_t, uint16_t> utf8_to_ucs2;
  Kernel<uint16_t, uint8_t> ucs2_to_utf8;  // this and the next take ends at every level
  Kernel<uint8_t, uint8_t> utf8_to_utf8;
  // For codesets without characters from U+10000 up, whose surrogates stand for themselves and in which a
  // lead of four bytes is another one of three. Both are left to the loop.
  Kernel<uint8_t, uint16_t> utf8_to_bmp;
  Kernel<uint16_t, uint8_t> bmp_to_utf8;
  // For codesets in which every byte is its own UCS-2 value.
  Kernel<uint8_t, uint16_t> latin1_to_ucs2;
  Kernel<uint16_t, uint8_t> ucs2_to_latin1;
  Kernel<uint8_t, uint8_t> latin1_to_utf8;
  Kernel<uint8_t, uint8_t> utf8_to_latin1;
  // For codesets with codes of two bytes: a text's codes as numbers, and the text of codes. They write to
  // buffers, where units past the new `out` are not replaced. The second two are for GB18030, with codes of
  // four bytes. vectors/code_kernels.h has the numbers.
  Kernel<uint8_t, uint16_t> bytes_to_codes;
  Kernel<uint16_t, uint8_t> codes_to_bytes;
  Kernel<uint8_t, uint16_t> fours_to_codes;
  void (*wide_codes_to_bytes)(const uint16_t* lasts, const uint16_t*& in, const uint16_t* in_end,
                              uint8_t*& out, const uint8_t* out_end);
  // For other single-byte codesets based on ASCII; null where the level has nothing better than the loop.
  RowKernel<uint8_t, uint16_t> row_to_ucs2;
  RowKernel<uint8_t, uint8_t> row_to_utf8;
  RowKernel<uint16_t, uint8_t> ucs2_to_row;
  RowKernel<uint8_t, uint8_t> utf8_to_row;
};

struct VectorLevel {
  const char* name;
  bool (*is_supported)();  // by this processor and system
  const VectorKernels* kernels;
};

// The levels of this build, the best first. The last one, kScalarLevel, is supported everywhere and has null
// in place of the kernels.
extern const VectorLevel kVectorLevels[];
extern const VectorLevel& kScalarLevel;

extern std::atomic<const VectorKernels*> kernels_in_use;  // null before the first look
const VectorKernels& choose_vectors();

// The kernels in use: those of the best level that is supported, unless use_vectors() has set another. Safe
// before main() and on several threads. Inline, as every short text asks.
inline const VectorKernels& vectors() {
  const VectorKernels* const kernels = kernels_in_use.load(std::memory_order_relaxed);
  return kernels != nullptr ? *kernels : choose_vectors();
}

// For tests: sets the level for the whole process. It must be supported.
void use_vectors(const VectorLevel& level);

}  // namespace mar::charset
