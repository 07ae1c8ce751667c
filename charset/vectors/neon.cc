// NEON as every 64-bit ARM processor has it: blocks of 16 bytes.
#include "charset/vectors/levels.h"

#if MAR_HAS_NEON_LEVEL

#include <arm_neon.h>

#include <cstddef>
#include <cstdint>

#include "charset/vectors/shuffles.h"

#define LEVEL_CODE  // no attribute: the compiler may use NEON everywhere

namespace mar::charset::neon {
namespace {

using Block = uint8x16_t;
using ByteMask = Block;  // of bytes with all bits set, or none
using WordMask = Block;
using Bits = uint32_t;
constexpr ptrdiff_t kBlockBytes = 16;
constexpr Bits kAllBytes = 0xFFFF;
constexpr ptrdiff_t kThrees = 8;

inline uint16x8_t as_words(Block block) { return vreinterpretq_u16_u8(block); }
inline Block as_bytes(uint16x8_t words) { return vreinterpretq_u8_u16(words); }

inline Block load(const void* at) { return vld1q_u8(static_cast<const uint8_t*>(at)); }
inline void store(void* at, Block block) { vst1q_u8(static_cast<uint8_t*>(at), block); }
inline Block bytes(uint32_t value) { return vdupq_n_u8(static_cast<uint8_t>(value)); }
inline Block words(uint32_t value) { return as_bytes(vdupq_n_u16(static_cast<uint16_t>(value))); }
inline Block equal_bytes(Block a, Block b) { return vceqq_u8(a, b); }
inline Block equal_words(Block a, Block b) { return as_bytes(vceqq_u16(as_words(a), as_words(b))); }
template <int kBits>
inline Block words_left(Block block) {
  return as_bytes(vshlq_n_u16(as_words(block), kBits));
}
template <int kBits>
inline Block words_right(Block block) {
  return as_bytes(vshrq_n_u16(as_words(block), kBits));
}
inline Block pair_sums(Block a, Block factors) {
  return as_bytes(vpaddq_u16(vmull_u8(vget_low_u8(a), vget_low_u8(factors)), vmull_high_u8(a, factors)));
}
inline Block sums(Block a, Block b) { return vaddq_u8(a, b); }
inline Block products(Block a, Block b) { return as_bytes(vmulq_u16(as_words(a), as_words(b))); }
inline Block word_sums(Block a, Block b) { return as_bytes(vaddq_u16(as_words(a), as_words(b))); }
inline Block moved_up(Block block) { return vextq_u8(Block{}, block, 15); }
inline Block choose(Block a, Block b, ByteMask mask) { return vbslq_u8(mask, b, a); }
inline Block where(ByteMask mask, Block block) { return block & mask; }
inline ByteMask at_least(Block a, Block b) { return vcgeq_u8(a, b); }
inline bool any(ByteMask mask) { return vmaxvq_u8(mask) != 0; }
inline bool none(Block block, Block bits) { return !any(block & bits); }
inline ByteMask high_mask(Block block) { return vcltzq_s8(vreinterpretq_s8_u8(block)); }
inline Bits bits(ByteMask mask) {
  constexpr Block kWeights = {1, 2, 4, 8, 16, 32, 64, 128, 1, 2, 4, 8, 16, 32, 64, 128};
  Block sums = mask & kWeights;
  for (int i = 0; i != 3; ++i) sums = vpaddq_u8(sums, sums);
  return vgetq_lane_u16(as_words(sums), 0);
}
inline ptrdiff_t ones(Bits bits) { return __builtin_popcount(bits); }

inline Block even_words(Block a, Block b) { return as_bytes(vuzp1q_u16(as_words(a), as_words(b))); }

template <int kMost>
inline ptrdiff_t more_bytes(Bits mask) {
  return ones(mask) + (kMost == 4 ? ones(mask & kSecondBits) : 0);
}

inline Block kept(Block block, const Shuffles& shuffles, uint32_t mask) {
  return vqtbl1q_u8(block, load(&shuffles[mask & 0xFF]));
}

inline Block widened(const uint8_t* from) { return as_bytes(vmovl_u8(vld1_u8(from))); }

inline void store_narrowed(uint8_t* to, Block units) { vst1_u8(to, vmovn_u16(as_words(units))); }

inline uint16_t* store_units(uint16_t* to, Block low, Block high, uint32_t starts) {
  store(to, kept(vzip1q_u8(low, high), kKeepUnits, starts));
  store(to + ones(starts & 0xFF), kept(vzip2q_u8(low, high), kKeepUnits, starts >> 8));
  return to + ones(starts);
}

inline uint8_t* store_bytes(uint8_t* to, Block block, uint32_t starts) {
  vst1_u8(to, vget_low_u8(kept(block, kKeepBytes, starts)));
  const Block second = vextq_u8(block, block, 8);
  vst1_u8(to + ones(starts & 0xFF), vget_low_u8(kept(second, kKeepBytes, starts >> 8)));
  return to + ones(starts);
}

inline uint8_t* store_one_or_two(uint8_t* to, Block block, WordMask is_one) {
  const Bits twos = bits(vcombine_u8(vmovn_u16(as_words(~is_one)), vdup_n_u8(0)));
  store(to, kept(block, kKeepOneOrTwo, twos));
  return to + 8 + ones(twos);
}

template <int kMost>
inline uint8_t* store_one_to(uint8_t* to, Block fronts, Block lasts, WordMask is_one, WordMask is_short) {
  constexpr const Shuffles& kShuffles = kMost == 3 ? kKeepOneToThree : kKeepOneTwoOrFour;
  // Two of each word: more than one, more than two.
  const Bits mask = ~bits(choose(is_one, is_short, words(0xFF00))) & kAllBytes;
  const Block first = as_bytes(vzip1q_u16(as_words(fronts), as_words(lasts)));
  const Block second = as_bytes(vzip2q_u16(as_words(fronts), as_words(lasts)));
  store(to, kept(first, kShuffles, mask));
  store(to + 4 + more_bytes<kMost>(mask & 0xFF), kept(second, kShuffles, mask >> 8));
  return to + 8 + more_bytes<kMost>(mask);
}

inline bool store_threes(uint16_t* to, const uint8_t* from) {
  const uint8x8x3_t byte = vld3_u8(from);  // the first ones of eight characters, the second ones, the third
  const auto bad_lead = byte.val[0] ^ vdup_n_u8(0xE0);
  const auto bad_following = (byte.val[1] ^ vdup_n_u8(0x80)) | (byte.val[2] ^ vdup_n_u8(0x80));
  if (vmaxv_u8((bad_lead & vdup_n_u8(0xF0)) | (bad_following & vdup_n_u8(0xC0))) != 0) return false;
  const uint16x8_t middle = vshll_n_u8(byte.val[1] & vdup_n_u8(0x3F), 6);
  const uint16x8_t lower = middle | vmovl_u8(byte.val[2] & vdup_n_u8(0x3F));
  store(to, as_bytes(vshlq_n_u16(vmovl_u8(byte.val[0]), 12) | lower));
  return true;
}

#include "charset/vectors/kernels.h"

}  // namespace

constinit const VectorKernels kKernels = kBlockKernels;

}  // namespace mar::charset::neon

#endif
