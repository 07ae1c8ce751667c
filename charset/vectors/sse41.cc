// SSE4.1 and POPCNT: blocks of 16 bytes.
#if defined(__x86_64__)

#include <immintrin.h>

#include <cstddef>
#include <cstdint>

#include "charset/vectors/levels.h"
#include "charset/vectors/shuffles.h"

#define LEVEL_CODE [[gnu::target("sse4.1,popcnt")]]

namespace mar::charset::sse41 {
namespace {

using Block = __m128i;
using ByteMask = Block;  // of bytes with all bits set
using WordMask = Block;
using Bits = uint32_t;
constexpr ptrdiff_t kBlockBytes = 16;
constexpr Bits kAllBytes = 0xFFFF;
constexpr ptrdiff_t kThrees = 8;

LEVEL_CODE inline Block load(const void* at) { return _mm_loadu_si128(static_cast<const Block*>(at)); }
LEVEL_CODE inline void store(void* at, Block block) { _mm_storeu_si128(static_cast<Block*>(at), block); }
LEVEL_CODE inline Block bytes(uint32_t value) { return _mm_set1_epi8(static_cast<char>(value)); }
LEVEL_CODE inline Block words(uint32_t value) { return _mm_set1_epi16(static_cast<short>(value)); }
LEVEL_CODE inline Block equal_bytes(Block a, Block b) { return _mm_cmpeq_epi8(a, b); }
LEVEL_CODE inline Block equal_words(Block a, Block b) { return _mm_cmpeq_epi16(a, b); }
template <int kBits>
LEVEL_CODE inline Block words_left(Block block) {
  return _mm_slli_epi16(block, kBits);
}
template <int kBits>
LEVEL_CODE inline Block words_right(Block block) {
  return _mm_srli_epi16(block, kBits);
}
LEVEL_CODE inline Block pair_sums(Block a, Block factors) { return _mm_maddubs_epi16(a, factors); }
LEVEL_CODE inline Block sums(Block a, Block b) { return _mm_add_epi8(a, b); }
LEVEL_CODE inline Block products(Block a, Block b) { return _mm_mullo_epi16(a, b); }
LEVEL_CODE inline Block word_sums(Block a, Block b) { return _mm_add_epi16(a, b); }
LEVEL_CODE inline Block moved_up(Block block) { return _mm_slli_si128(block, 1); }
LEVEL_CODE inline Block choose(Block a, Block b, ByteMask mask) { return _mm_blendv_epi8(a, b, mask); }
LEVEL_CODE inline Block where(ByteMask mask, Block block) { return block & mask; }
LEVEL_CODE inline ByteMask at_least(Block a, Block b) { return equal_bytes(_mm_max_epu8(a, b), a); }
LEVEL_CODE inline bool none(Block block, Block bits) { return _mm_testz_si128(block, bits) != 0; }
LEVEL_CODE inline ByteMask high_mask(Block block) { return block; }
LEVEL_CODE inline Bits bits(ByteMask mask) { return static_cast<Bits>(_mm_movemask_epi8(mask)); }
LEVEL_CODE inline bool any(ByteMask mask) { return bits(mask) != 0; }
LEVEL_CODE inline ptrdiff_t ones(Bits bits) { return __builtin_popcount(bits); }

LEVEL_CODE inline Block even_words(Block a, Block b) {
  const Block lower = _mm_set1_epi32(0xFFFF);
  return _mm_packus_epi32(a & lower, b & lower);
}

template <int kMost>
LEVEL_CODE inline ptrdiff_t more_bytes(Bits mask) {
  return ones(mask) + (kMost == 4 ? ones(mask & kSecondBits) : 0);
}

LEVEL_CODE inline Block kept(Block block, const Shuffles& shuffles, uint32_t mask) {
  return _mm_shuffle_epi8(block, load(&shuffles[mask & 0xFF]));
}

LEVEL_CODE inline Block widened(const uint8_t* from) { return _mm_cvtepu8_epi16(_mm_loadu_si64(from)); }

LEVEL_CODE inline void store_narrowed(uint8_t* to, Block units) {
  _mm_storeu_si64(to, _mm_packus_epi16(units, units));
}

LEVEL_CODE inline uint16_t* store_units(uint16_t* to, Block low, Block high, uint32_t starts) {
  store(to, kept(_mm_unpacklo_epi8(low, high), kKeepUnits, starts));
  store(to + ones(starts & 0xFF), kept(_mm_unpackhi_epi8(low, high), kKeepUnits, starts >> 8));
  return to + ones(starts);
}

LEVEL_CODE inline uint8_t* store_bytes(uint8_t* to, Block block, uint32_t starts) {
  _mm_storeu_si64(to, kept(block, kKeepBytes, starts));
  _mm_storeu_si64(to + ones(starts & 0xFF), kept(_mm_srli_si128(block, 8), kKeepBytes, starts >> 8));
  return to + ones(starts);
}

LEVEL_CODE inline uint8_t* store_one_or_two(uint8_t* to, Block block, WordMask is_one) {
  const Bits twos = bits(_mm_packs_epi16(~is_one, Block{}));
  store(to, kept(block, kKeepOneOrTwo, twos));
  return to + 8 + ones(twos);
}

template <int kMost>
LEVEL_CODE inline uint8_t* store_one_to(uint8_t* to, Block fronts, Block lasts, WordMask is_one,
                                        WordMask is_short) {
  constexpr const Shuffles& kShuffles = kMost == 3 ? kKeepOneToThree : kKeepOneTwoOrFour;
  // Two of each word: more than one, more than two.
  const Bits mask = ~bits(choose(is_one, is_short, words(0xFF00))) & kAllBytes;
  store(to, kept(_mm_unpacklo_epi16(fronts, lasts), kShuffles, mask));
  store(to + 4 + more_bytes<kMost>(mask & 0xFF),
        kept(_mm_unpackhi_epi16(fronts, lasts), kShuffles, mask >> 8));
  return to + 8 + more_bytes<kMost>(mask);
}

// Four characters of three bytes as lanes of 32 bits.
LEVEL_CODE inline Block three_byte_lanes(const uint8_t* from) {
  return _mm_shuffle_epi8(load(from), _mm_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1));
}

LEVEL_CODE inline Block three_byte_units(Block lanes) {
  // The last two bytes become a number of 12 bits, then the first byte's four are put in front of it.
  const Block twelve_and_four = pair_sums(lanes & _mm_set1_epi32(0x0F3F3F), _mm_set1_epi32(0x00014001));
  return _mm_madd_epi16(twelve_and_four, _mm_set1_epi32(0x10000001));
}

LEVEL_CODE inline bool store_threes(uint16_t* to, const uint8_t* from) {
  const Block first = three_byte_lanes(from), second = three_byte_lanes(from + 12);
  const Block off = ((first ^ _mm_set1_epi32(0xE08080)) | (second ^ _mm_set1_epi32(0xE08080)));
  if (!none(off, _mm_set1_epi32(0xF0C0C0))) return false;
  store(to, _mm_packus_epi32(three_byte_units(first), three_byte_units(second)));
  return true;
}

#include "charset/vectors/kernels.h"

}  // namespace

constinit const VectorKernels kKernels = kBlockKernels;

}  // namespace mar::charset::sse41

#endif
