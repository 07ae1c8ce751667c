// AVX-512 with byte permutes (VBMI and VBMI2): blocks of 64 bytes. Masks load and store a part of a block, so
// the ends of a text need no loop.
#if defined(__x86_64__)

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "charset/single_rows.h"
#include "charset/vectors/levels.h"

// GCC 12 takes the undefined registers of its own intrinsics for an oversight. In kernels.h the other levels
// still get these warnings.
#if defined(__GNUC__) && !defined(__clang__)
#pragma GCC diagnostic ignored "-Wmaybe-uninitialized"
#pragma GCC diagnostic ignored "-Wuninitialized"
#endif

#define LEVEL_CODE [[gnu::target("avx512f,avx512bw,avx512vbmi,avx512vbmi2,popcnt,bmi2")]]

namespace mar::charset::avx512 {
namespace {

using Block = __m512i;
using ByteMask = __mmask64;
using WordMask = __mmask32;
using Bits = uint64_t;
constexpr ptrdiff_t kBlockBytes = 64;
constexpr Bits kAllBytes = ~Bits{0};
constexpr ptrdiff_t kUnitsPart = 32;
constexpr ptrdiff_t kBytesPart = 64;
constexpr ptrdiff_t kWordsPart = 64;
constexpr ptrdiff_t kThrees = 16;
constexpr ptrdiff_t kMostMargin = 192;
constexpr bool kMasksEnds = true;

LEVEL_CODE inline Block load(const void* at) { return _mm512_loadu_si512(at); }
LEVEL_CODE inline void store(void* at, Block block) { _mm512_storeu_si512(at, block); }

// Hides the value of a constant from the compiler, which would otherwise rebuild it in every round of a loop.
LEVEL_CODE inline Block constant(Block block) {
  __asm__("" : "+v"(block));
  return block;
}
LEVEL_CODE inline Block bytes(uint32_t value) { return constant(_mm512_set1_epi8(static_cast<char>(value))); }
LEVEL_CODE inline Block words(uint32_t value) {
  return constant(_mm512_set1_epi16(static_cast<short>(value)));
}
LEVEL_CODE inline Block lanes(uint32_t value) { return constant(_mm512_set1_epi32(static_cast<int>(value))); }
LEVEL_CODE inline ByteMask equal_bytes(Block a, Block b) { return _mm512_cmpeq_epi8_mask(a, b); }
LEVEL_CODE inline WordMask equal_words(Block a, Block b) { return _mm512_cmpeq_epi16_mask(a, b); }
LEVEL_CODE inline ByteMask at_least(Block a, Block b) { return _mm512_cmpge_epu8_mask(a, b); }
LEVEL_CODE inline ByteMask high_mask(Block block) { return _mm512_movepi8_mask(block); }
inline Bits bits(ByteMask mask) { return mask; }
inline bool any(uint64_t mask) { return mask != 0; }
LEVEL_CODE inline Block choose(Block a, Block b, ByteMask mask) { return _mm512_mask_blend_epi8(mask, a, b); }
LEVEL_CODE inline Block choose(Block a, Block b, WordMask mask) {
  return _mm512_mask_blend_epi16(mask, a, b);
}
LEVEL_CODE inline Block where(ByteMask mask, Block block) { return _mm512_maskz_mov_epi8(mask, block); }
template <int kBits>
LEVEL_CODE inline Block words_left(Block block) {
  return _mm512_slli_epi16(block, kBits);
}
template <int kBits>
LEVEL_CODE inline Block words_right(Block block) {
  return _mm512_srli_epi16(block, kBits);
}
LEVEL_CODE inline Block pair_sums(Block a, Block factors) { return _mm512_maddubs_epi16(a, factors); }
LEVEL_CODE inline Block sums(Block a, Block b) { return _mm512_add_epi8(a, b); }
LEVEL_CODE inline Block products(Block a, Block b) { return _mm512_mullo_epi16(a, b); }
LEVEL_CODE inline Block word_sums(Block a, Block b) { return _mm512_add_epi16(a, b); }
LEVEL_CODE inline Block even_words(Block a, Block b) {
  return _mm512_inserti64x4(_mm512_castsi256_si512(_mm512_cvtepi32_epi16(a)), _mm512_cvtepi32_epi16(b), 1);
}
LEVEL_CODE inline Block moved_up(Block block) { return _mm512_maskz_expand_epi8(kAllBytes << 1, block); }
LEVEL_CODE inline bool none(Block block, Block bits) { return _mm512_test_epi8_mask(block, bits) == 0; }
LEVEL_CODE inline ptrdiff_t ones(Bits bits) { return __builtin_popcountll(bits); }

LEVEL_CODE inline Block widened(const uint8_t* from) {
  return _mm512_cvtepu8_epi16(_mm256_loadu_si256(reinterpret_cast<const __m256i*>(from)));
}

LEVEL_CODE inline void store_narrowed(uint8_t* to, Block units) {
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), _mm512_cvtepi16_epi8(units));
}

// The unpacking instructions take eight bytes out of each 16. After this the first half of a block is what
// they take together with "lo", the second half with "hi".
LEVEL_CODE inline Block for_unpacking(Block block) {
  return _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 4, 1, 5, 2, 6, 3, 7), block);
}

// In the merging forms: Bochs 2.7, in which the tests run, wrongly clears the block in the zeroing forms when
// all of it is kept.
LEVEL_CODE inline Block kept_words(Block block, WordMask mask) {
  return _mm512_mask_compress_epi16(block, mask, block);
}
LEVEL_CODE inline Block kept_bytes(Block block, ByteMask mask) {
  return _mm512_mask_compress_epi8(block, mask, block);
}

// The first so many bytes or words, at most kBlockBytes.
LEVEL_CODE inline Bits front(ptrdiff_t count) { return _bzhi_u64(kAllBytes, static_cast<uint32_t>(count)); }
LEVEL_CODE inline Block load_front(const void* at, ptrdiff_t size) {
  return _mm512_maskz_loadu_epi8(front(size), at);
}
LEVEL_CODE inline void store_front(uint8_t* at, Block block, ptrdiff_t size) {
  _mm512_mask_storeu_epi8(at, front(size), block);
}
LEVEL_CODE inline void store_front(uint16_t* at, Block block, ptrdiff_t count) {
  _mm512_mask_storeu_epi16(at, static_cast<WordMask>(front(count)), block);
}

// Two blocks, and what is to be kept of each.
struct Halves {
  Block first, second;
  Bits first_kept, second_kept;
};

LEVEL_CODE inline Halves halves_of_units(Block low, Block high, Bits starts) {
  const Block lows = for_unpacking(low), highs = for_unpacking(high);
  return {_mm512_unpacklo_epi8(lows, highs), _mm512_unpackhi_epi8(lows, highs), starts & 0xFFFF'FFFF,
          starts >> 32};
}

LEVEL_CODE inline uint16_t* store_units(uint16_t* to, Block low, Block high, Bits starts) {
  const Halves units = halves_of_units(low, high, starts);
  store(to, kept_words(units.first, static_cast<WordMask>(units.first_kept)));
  to += ones(units.first_kept);
  store(to, kept_words(units.second, static_cast<WordMask>(units.second_kept)));
  return to + ones(units.second_kept);
}

LEVEL_CODE inline uint8_t* store_bytes(uint8_t* to, Block block, Bits kept) {
  store(to, kept_bytes(block, kept));
  return to + ones(kept);
}

// Keeps the first byte of each word, and the second unless it is zero, as it is for a character of one byte
// only.
LEVEL_CODE inline Bits one_or_two(Block block) {
  return _mm512_test_epi8_mask(block, block) | 0x5555'5555'5555'5555;
}

LEVEL_CODE inline uint8_t* store_one_or_two(uint8_t* to, Block block, WordMask) {
  return store_bytes(to, block, one_or_two(block));
}

// The sequences of a block's units, in lanes of 32 bits. Kept are each lane's first byte and its other bytes
// that are not zero.
LEVEL_CODE inline Halves one_to_most(Block fronts, Block lasts, WordMask is_short) {
  fronts = for_unpacking(fronts);
  lasts = for_unpacking(_mm512_maskz_mov_epi16(~is_short, lasts));
  const Block first = _mm512_unpacklo_epi16(fronts, lasts), second = _mm512_unpackhi_epi16(fronts, lasts);
  constexpr Bits kFirstBytes = 0x1111'1111'1111'1111;
  return {first, second, _mm512_test_epi8_mask(first, first) | kFirstBytes,
          _mm512_test_epi8_mask(second, second) | kFirstBytes};
}

template <int kMost>
LEVEL_CODE inline uint8_t* store_one_to(uint8_t* to, Block fronts, Block lasts, WordMask, WordMask is_short) {
  const Halves sequences = one_to_most(fronts, lasts, is_short);
  to = store_bytes(to, sequences.first, sequences.first_kept);
  return store_bytes(to, sequences.second, sequences.second_kept);
}

LEVEL_CODE inline bool store_threes(uint16_t* to, const uint8_t* from) {
  // Lanes of 32 bits, the last byte of a sequence lowest.
  const Block sources =
      _mm512_set_epi8(0, 45, 46, 47, 0, 42, 43, 44, 0, 39, 40, 41, 0, 36, 37, 38, 0, 33, 34, 35, 0, 30, 31,
                      32, 0, 27, 28, 29, 0, 24, 25, 26, 0, 21, 22, 23, 0, 18, 19, 20, 0, 15, 16, 17, 0, 12,
                      13, 14, 0, 9, 10, 11, 0, 6, 7, 8, 0, 3, 4, 5, 0, 0, 1, 2);
  const Block sequences = _mm512_permutexvar_epi8(sources, load(from));
  if (!none(sequences ^ lanes(0xE08080), lanes(0xF0C0C0))) return false;
  // The last two bytes become a number of 12 bits, then the first byte's four are put in front of it.
  const Block twelve_and_four = pair_sums(sequences & lanes(0x0F3F3F), lanes(0x00014001));
  const Block units = _mm512_madd_epi16(twelve_and_four, lanes(0x10000001));
  _mm256_storeu_si256(reinterpret_cast<__m256i*>(to), _mm512_cvtepi32_epi16(units));
  return true;
}

#include "charset/vectors/kernels.h"

// The kernels for what the margins of those above leave. They take at most a block at a time, in whole
// characters, and write nothing past the result.

inline ptrdiff_t part_size(ptrdiff_t left, ptrdiff_t most) { return left < most ? left : most; }

// Bytes of the last character of so many bytes, not 0, if it goes on past them.
inline ptrdiff_t cut_bytes(const Utf8Shape& shape, ptrdiff_t size) {
  const ptrdiff_t past = kBlockBytes - size;
  if ((shape.leads << past >> 63) != 0) return 1;
  if ((shape.leads3 << past >> 62) != 0) return 2;
  return (shape.leads4 << past >> 61) != 0 ? 3 : 0;
}

// A well-formed part of a text, in whole characters; empty if there is none.
struct Utf8Part {
  Block block;  // zeros past it, perhaps after a cut character
  Utf8Shape shape;
  ptrdiff_t size;
};

LEVEL_CODE inline Utf8Part utf8_part(const uint8_t* in, const uint8_t* in_end) {
  const ptrdiff_t size = part_size(in_end - in, kBlockBytes);
  const Block block = load_front(in, size);
  const Utf8Shape shape = shape_of(block);
  if (size <= 0 || (asked_of_this(shape) & front(size)) != shape.following) return {block, shape, 0};
  return {block, shape, size - cut_bytes(shape, size)};
}

// The part without its first bytes.
LEVEL_CODE inline Block load_after(ptrdiff_t bytes, const uint8_t* in, ptrdiff_t size) {
  return size <= bytes ? Block{} : load_front(in + bytes, size - bytes);
}

LEVEL_CODE void utf8_to_ucs2_end(const uint8_t*& in, const uint8_t* in_end, uint16_t*& out,
                                 const uint16_t* out_end) {
  for (;;) {
    const Utf8Part part = utf8_part(in, in_end);
    const Bits starts = ~part.shape.following & front(part.size);
    if (part.size == 0 || part.shape.leads4 != 0 || ones(starts) > out_end - out) return;
    const Units units = units_of(part.block, load_after(1, in, part.size), load_after(2, in, part.size));
    const Halves halves = halves_of_units(units.low, units.high, starts);
    const ptrdiff_t first = ones(halves.first_kept), second = ones(halves.second_kept);
    store_front(out, kept_words(halves.first, static_cast<WordMask>(halves.first_kept)), first);
    store_front(out + first, kept_words(halves.second, static_cast<WordMask>(halves.second_kept)), second);
    in += part.size;
    out += first + second;
  }
}

// Stores so many units, not 0, as UTF-8; false, with nothing stored, if there is no room.
LEVEL_CODE inline bool store_utf8_part(Block units, ptrdiff_t count, uint8_t*& out, const uint8_t* out_end) {
  const Sequences sequences = sequences_of(units);
  const Halves halves = one_to_most(sequences.fronts, sequences.lasts, sequences.is_short);
  const ptrdiff_t first_lanes = part_size(count, kBlockBytes / 4);
  const Bits first_kept = halves.first_kept & front(4 * first_lanes);
  const Bits second_kept = halves.second_kept & front(4 * (count - first_lanes));
  const ptrdiff_t first = ones(first_kept), second = ones(second_kept);
  if (first + second > out_end - out) return false;
  store_front(out, kept_bytes(halves.first, first_kept), first);
  store_front(out + first, kept_bytes(halves.second, second_kept), second);
  out += first + second;
  return true;
}

LEVEL_CODE void ucs2_to_utf8_end(const uint16_t*& in, const uint16_t* in_end, uint8_t*& out,
                                 const uint8_t* out_end) {
  constexpr ptrdiff_t kUnits = kBlockBytes / 2;
  while (in < in_end) {
    const ptrdiff_t size = part_size(in_end - in, kUnits);
    const Block units = _mm512_maskz_loadu_epi16(static_cast<WordMask>(front(size)), in);
    if (has_surrogates(units)) return;
    if (!store_utf8_part(units, size, out, out_end)) return;
    in += size;
  }
}

LEVEL_CODE void utf8_to_utf8_end(const uint8_t*& in, const uint8_t* in_end, uint8_t*& out,
                                 const uint8_t* out_end) {
  for (;;) {
    const Utf8Part part = utf8_part(in, in_end);
    if (part.size == 0 || part.size > out_end - out) return;
    if (changes(part.block, load_after(1, in, part.size))) return;
    store_front(out, part.block, part.size);
    in += part.size;
    out += part.size;
  }
}

LEVEL_CODE void latin1_to_utf8_end(const uint8_t*& in, const uint8_t* in_end, uint8_t*& out,
                                   const uint8_t* out_end) {
  while (in < in_end) {
    const ptrdiff_t size = part_size(in_end - in, kBlockBytes / 2);
    const Block units = _mm512_cvtepu8_epi16(_mm512_castsi512_si256(load_front(in, size)));
    const Block sequences = sequences_of(units).fronts;
    const Bits kept = one_or_two(sequences) & front(2 * size);
    if (ones(kept) > out_end - out) return;
    store_front(out, kept_bytes(sequences, kept), ones(kept));
    in += size;
    out += ones(kept);
  }
}

LEVEL_CODE void utf8_to_latin1_end(const uint8_t*& in, const uint8_t* in_end, uint8_t*& out,
                                   const uint8_t* out_end) {
  for (;;) {
    const Utf8Part part = utf8_part(in, in_end);
    const Bits starts = ~part.shape.following & front(part.size);
    if (part.size == 0 || any(at_least(part.block, bytes(0xC4))) || ones(starts) > out_end - out) return;
    const Block units = latin1_units(part.block, load_after(1, in, part.size));
    store_front(out, kept_bytes(units, starts), ones(starts));
    in += part.size;
    out += ones(starts);
  }
}

#include "charset/vectors/avx512_rows.h"

template <auto kKernel, auto kEnd, class In, class Out>
void with_end(const In*& in, const In* in_end, Out*& out, const Out* out_end) {
  kKernel(in, in_end, out, out_end);
  kEnd(in, in_end, out, out_end);
}

}  // namespace

constinit const VectorKernels kKernels = {
    kLeastForKernel,
    with_end<utf8_to_ucs2<true>, utf8_to_ucs2_end>,
    with_end<ucs2_to_utf8<true>, ucs2_to_utf8_end>,
    with_end<utf8_to_utf8, utf8_to_utf8_end>,
    with_end<utf8_to_ucs2<false>, utf8_to_ucs2_end>,
    with_end<ucs2_to_utf8<false>, ucs2_to_utf8_end>,
    latin1_to_ucs2,
    ucs2_to_latin1,
    with_end<latin1_to_utf8, latin1_to_utf8_end>,
    with_end<utf8_to_latin1, utf8_to_latin1_end>,
    bytes_to_codes,
    codes_to_bytes,
    fours_to_codes,
    wide_codes_to_bytes,
    row_to_ucs2,
    row_to_utf8,
    ucs2_to_row,
    utf8_to_row,
};

}  // namespace mar::charset::avx512

#endif
