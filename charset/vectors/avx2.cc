// AVX2: blocks of 32 bytes. Most instructions work on each half of a block by itself.
#if defined(__x86_64__)

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "charset/vectors/levels.h"
#include "charset/vectors/shuffles.h"

#define LEVEL_CODE [[gnu::target("avx2,popcnt")]]

namespace mar::charset::avx2 {
namespace {

using Block = __m256i;
using ByteMask = Block;  // of bytes with all bits set
using WordMask = Block;
using Bits = uint32_t;
constexpr ptrdiff_t kBlockBytes = 32;
constexpr Bits kAllBytes = 0xFFFFFFFF;
constexpr ptrdiff_t kThrees = 8;

LEVEL_CODE inline Block load(const void* at) { return _mm256_loadu_si256(static_cast<const Block*>(at)); }
LEVEL_CODE inline void store(void* at, Block block) { _mm256_storeu_si256(static_cast<Block*>(at), block); }
LEVEL_CODE inline Block bytes(uint32_t value) { return _mm256_set1_epi8(static_cast<char>(value)); }
LEVEL_CODE inline Block words(uint32_t value) { return _mm256_set1_epi16(static_cast<short>(value)); }
LEVEL_CODE inline Block equal_bytes(Block a, Block b) { return _mm256_cmpeq_epi8(a, b); }
LEVEL_CODE inline Block equal_words(Block a, Block b) { return _mm256_cmpeq_epi16(a, b); }
template <int kBits>
LEVEL_CODE inline Block words_left(Block block) {
  return _mm256_slli_epi16(block, kBits);
}
template <int kBits>
LEVEL_CODE inline Block words_right(Block block) {
  return _mm256_srli_epi16(block, kBits);
}
LEVEL_CODE inline Block pair_sums(Block a, Block factors) { return _mm256_maddubs_epi16(a, factors); }
LEVEL_CODE inline Block sums(Block a, Block b) { return _mm256_add_epi8(a, b); }
LEVEL_CODE inline Block products(Block a, Block b) { return _mm256_mullo_epi16(a, b); }
LEVEL_CODE inline Block word_sums(Block a, Block b) { return _mm256_add_epi16(a, b); }
LEVEL_CODE inline Block moved_up(Block block) {
  const Block front_behind = _mm256_permute2x128_si256(block, block, 0x08);  // a half of zeros before it
  return _mm256_alignr_epi8(block, front_behind, 15);
}
LEVEL_CODE inline Block choose(Block a, Block b, ByteMask mask) { return _mm256_blendv_epi8(a, b, mask); }
LEVEL_CODE inline Block where(ByteMask mask, Block block) { return block & mask; }
LEVEL_CODE inline ByteMask at_least(Block a, Block b) { return equal_bytes(_mm256_max_epu8(a, b), a); }
LEVEL_CODE inline bool none(Block block, Block bits) { return _mm256_testz_si256(block, bits) != 0; }
LEVEL_CODE inline ByteMask high_mask(Block block) { return block; }
LEVEL_CODE inline Bits bits(ByteMask mask) { return static_cast<Bits>(_mm256_movemask_epi8(mask)); }
LEVEL_CODE inline bool any(ByteMask mask) { return bits(mask) != 0; }
LEVEL_CODE inline ptrdiff_t ones(Bits bits) { return __builtin_popcount(bits); }

LEVEL_CODE inline Block even_words(Block a, Block b) {
  const Block lower = _mm256_set1_epi32(0xFFFF);
  return _mm256_permute4x64_epi64(_mm256_packus_epi32(a & lower, b & lower), 0xD8);
}

template <int kMost>
LEVEL_CODE inline ptrdiff_t more_bytes(Bits mask) {
  return ones(mask) + (kMost == 4 ? ones(mask & kSecondBits) : 0);
}

LEVEL_CODE inline __m128i front(Block block) { return _mm256_castsi256_si128(block); }
LEVEL_CODE inline __m128i back(Block block) { return _mm256_extracti128_si256(block, 1); }

LEVEL_CODE inline __m128i kept(__m128i half, const Shuffles& shuffles, uint32_t mask) {
  const auto* const control = reinterpret_cast<const __m128i*>(&shuffles[mask & 0xFF]);
  return _mm_shuffle_epi8(half, _mm_load_si128(control));
}

LEVEL_CODE inline void store_kept(void* at, __m128i half, const Shuffles& shuffles, uint32_t mask) {
  _mm_storeu_si128(static_cast<__m128i*>(at), kept(half, shuffles, mask));
}

LEVEL_CODE inline Block widened(const uint8_t* from) {
  return _mm256_cvtepu8_epi16(_mm_loadu_si128(reinterpret_cast<const __m128i*>(from)));
}

LEVEL_CODE inline void store_narrowed(uint8_t* to, Block units) {
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_packus_epi16(front(units), back(units)));
}

LEVEL_CODE inline uint16_t* store_units(uint16_t* to, Block low, Block high, uint32_t starts) {
  const Block even = _mm256_unpacklo_epi8(low, high);  // of bytes 0 to 7 and 16 to 23
  const Block odd = _mm256_unpackhi_epi8(low, high);
  store_kept(to, front(even), kKeepUnits, starts);
  store_kept(to + ones(starts & 0xFF), front(odd), kKeepUnits, starts >> 8);
  store_kept(to + ones(starts & 0xFFFF), back(even), kKeepUnits, starts >> 16);
  store_kept(to + ones(starts & 0xFFFFFF), back(odd), kKeepUnits, starts >> 24);
  return to + ones(starts);
}

LEVEL_CODE inline uint8_t* store_bytes(uint8_t* to, Block block, uint32_t starts) {
  _mm_storeu_si64(to, kept(front(block), kKeepBytes, starts));
  _mm_storeu_si64(to + ones(starts & 0xFF), kept(_mm_srli_si128(front(block), 8), kKeepBytes, starts >> 8));
  _mm_storeu_si64(to + ones(starts & 0xFFFF), kept(back(block), kKeepBytes, starts >> 16));
  _mm_storeu_si64(to + ones(starts & 0xFFFFFF),
                  kept(_mm_srli_si128(back(block), 8), kKeepBytes, starts >> 24));
  return to + ones(starts);
}

LEVEL_CODE inline uint8_t* store_one_or_two(uint8_t* to, Block block, WordMask is_one) {
  const __m128i is_two = _mm_packs_epi16(front(~is_one), back(~is_one));
  const auto twos = static_cast<uint32_t>(_mm_movemask_epi8(is_two));
  store_kept(to, front(block), kKeepOneOrTwo, twos);
  store_kept(to + 8 + ones(twos & 0xFF), back(block), kKeepOneOrTwo, twos >> 8);
  return to + 16 + ones(twos);
}

template <int kMost>
LEVEL_CODE inline uint8_t* store_one_to(uint8_t* to, Block fronts, Block lasts, WordMask is_one,
                                        WordMask is_short) {
  constexpr const Shuffles& kShuffles = kMost == 3 ? kKeepOneToThree : kKeepOneTwoOrFour;
  const Bits mask = ~bits(choose(is_one, is_short, words(0xFF00)));  // two of a word: more than one, than two
  const Block even = _mm256_unpacklo_epi16(fronts, lasts);           // of units 0 to 3 and 8 to 11
  const Block odd = _mm256_unpackhi_epi16(fronts, lasts);
  store_kept(to, front(even), kShuffles, mask);
  store_kept(to + 4 + more_bytes<kMost>(mask & 0xFF), front(odd), kShuffles, mask >> 8);
  store_kept(to + 8 + more_bytes<kMost>(mask & 0xFFFF), back(even), kShuffles, mask >> 16);
  store_kept(to + 12 + more_bytes<kMost>(mask & 0xFFFFFF), back(odd), kShuffles, mask >> 24);
  return to + 16 + more_bytes<kMost>(mask);
}

LEVEL_CODE inline bool store_threes(uint16_t* to, const uint8_t* from) {
  const __m128i to_lanes = _mm_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1);
  const auto* const halves = reinterpret_cast<const __m128i*>(from);
  const auto* const second = reinterpret_cast<const __m128i*>(from + 12);
  const Block sequences = _mm256_set_m128i(_mm_loadu_si128(second), _mm_loadu_si128(halves));
  const Block lanes = _mm256_shuffle_epi8(sequences, _mm256_broadcastsi128_si256(to_lanes));
  const Block shape = _mm256_cmpeq_epi32(lanes & _mm256_set1_epi32(0xF0C0C0), _mm256_set1_epi32(0xE08080));
  if (bits(shape) != kAllBytes) return false;
  // The last two bytes become a number of 12 bits, then the first byte's four are put in front of it.
  const Block twelve_and_four = pair_sums(lanes & _mm256_set1_epi32(0x0F3F3F), _mm256_set1_epi32(0x00014001));
  const Block units = _mm256_madd_epi16(twelve_and_four, _mm256_set1_epi32(0x10000001));
  _mm_storeu_si128(reinterpret_cast<__m128i*>(to), _mm_packus_epi32(front(units), back(units)));
  return true;
}

#include "charset/vectors/kernels.h"

}  // namespace

constinit const VectorKernels kKernels = kBlockKernels;

}  // namespace mar::charset::avx2

#endif
