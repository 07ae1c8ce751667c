// The kernels for AVX2: blocks of 32 bytes. Every function that uses its instructions names them in its own
// target attribute, so that the rest of the library runs on any processor. For the same reason the kernels
// use no library templates and no lambdas: those would not have the attribute.
#if defined(__x86_64__)

#include <immintrin.h>

#include <cstddef>

#include "charset/vector_shuffles.h"
#include "charset/vectors_x86.h"

#define AVX2_CODE [[gnu::target("avx2,popcnt")]]

namespace mar::charset::avx2 {
namespace {

constexpr ptrdiff_t kBlockBytes = 32;

AVX2_CODE inline __m256i bytes(uint32_t value) { return _mm256_set1_epi8(static_cast<char>(value)); }
AVX2_CODE inline __m256i words(uint32_t value) { return _mm256_set1_epi16(static_cast<short>(value)); }

AVX2_CODE inline __m256i load(const void* at) { return _mm256_loadu_si256(static_cast<const __m256i*>(at)); }
AVX2_CODE inline void store(void* at, __m256i block) {
  _mm256_storeu_si256(static_cast<__m256i*>(at), block);
}

// A bit for each byte with its highest bit set.
AVX2_CODE inline uint32_t high_bits(__m256i block) {
  return static_cast<uint32_t>(_mm256_movemask_epi8(block));
}

AVX2_CODE inline __m128i low_half(__m256i block) { return _mm256_castsi256_si128(block); }
AVX2_CODE inline __m128i high_half(__m256i block) { return _mm256_extracti128_si256(block, 1); }

AVX2_CODE inline ptrdiff_t ones(uint32_t bits) { return __builtin_popcount(bits); }

// Stores 16 bytes, of which those that the shuffle keeps come first.
AVX2_CODE inline void store_kept(void* at, __m128i block, const Shuffles& shuffles, uint32_t mask) {
  const auto* const control = reinterpret_cast<const __m128i*>(&shuffles[mask & 0xFF]);
  _mm_storeu_si128(static_cast<__m128i*>(at), _mm_shuffle_epi8(block, _mm_load_si128(control)));
}

// The bytes of a block of UTF-8 by what they are, a bit for each byte.
struct Utf8Shape {
  uint32_t following;
  uint32_t leads;   // of two bytes or more
  uint32_t leads3;  // of three bytes or more
  uint32_t leads4;  // of four bytes, or no lead at all
};

AVX2_CODE inline Utf8Shape shape_of(__m256i block) {
  const uint32_t high = high_bits(block);
  const uint32_t second = high & high_bits(_mm256_slli_epi16(block, 1));
  const uint32_t third = second & high_bits(_mm256_slli_epi16(block, 2));
  return {high & ~second, second, third, third & high_bits(_mm256_slli_epi16(block, 3))};
}

// Where the leads of the block, and those before it, ask for following bytes; in the lower half for this
// block, in the upper half for the next one.
inline uint64_t expected_following(const Utf8Shape& shape, uint64_t from_before) {
  return from_before | uint64_t{shape.leads} << 1 | uint64_t{shape.leads3} << 2;
}

// The characters that start at each byte of a block, as UCS-2 units in two halves. `second` and `third` are
// the blocks one and two bytes further on. Where no character starts, the unit is arbitrary.
struct Units {
  __m256i low, high;
};

AVX2_CODE inline Units units_of(__m256i first, __m256i second, __m256i third) {
  const __m256i six_bits = bytes(0x3F);
  const __m256i is_three = _mm256_cmpeq_epi8(_mm256_max_epu8(first, bytes(0xE0)), first);
  const __m256i before_last = _mm256_blendv_epi8(first, second, is_three);
  const __m256i last = _mm256_and_si256(_mm256_blendv_epi8(second, third, is_three), six_bits);
  const __m256i low = _mm256_or_si256(_mm256_and_si256(_mm256_slli_epi16(before_last, 6), bytes(0xC0)), last);
  const __m256i middle_bits = _mm256_blendv_epi8(bytes(0x07), bytes(0x0F), is_three);
  const __m256i top = _mm256_and_si256(_mm256_and_si256(_mm256_slli_epi16(first, 4), bytes(0xF0)), is_three);
  const __m256i high = _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi16(before_last, 2), middle_bits), top);
  // The highest bit of the first byte chooses: ASCII stands for itself.
  return {_mm256_blendv_epi8(first, low, first), _mm256_and_si256(high, _mm256_cmpgt_epi8(__m256i{}, first))};
}

// Stores the units whose bit in `starts` is set; returns where they end.
AVX2_CODE inline uint16_t* store_units(uint16_t* out, const Units& units, uint32_t starts) {
  const __m256i even = _mm256_unpacklo_epi8(units.low, units.high);  // bytes 0 to 7 and 16 to 23
  const __m256i odd = _mm256_unpackhi_epi8(units.low, units.high);
  store_kept(out, low_half(even), kKeepLanes, starts);
  store_kept(out + ones(starts & 0xFF), low_half(odd), kKeepLanes, starts >> 8);
  store_kept(out + ones(starts & 0xFFFF), high_half(even), kKeepLanes, starts >> 16);
  store_kept(out + ones(starts & 0xFFFFFF), high_half(odd), kKeepLanes, starts >> 24);
  return out + ones(starts);
}

AVX2_CODE inline void store_ascii(uint16_t* out, __m256i block) {
  store(out, _mm256_cvtepu8_epi16(low_half(block)));
  store(out + kBlockBytes / 2, _mm256_cvtepu8_epi16(high_half(block)));
}

// Converts characters of two bytes, sixteen at a time, while there are sixteen.
AVX2_CODE inline void two_byte_runs(const uint8_t*& in, const uint8_t* in_stop, uint16_t*& out,
                                    const uint16_t* out_stop) {
  while (in <= in_stop && out <= out_stop) {
    const __m256i block = load(in);
    const __m256i shape = _mm256_and_si256(block, words(0xC0E0));
    if (high_bits(_mm256_cmpeq_epi16(shape, words(0x80C0))) != UINT32_MAX) return;
    store(out, _mm256_maddubs_epi16(_mm256_and_si256(block, words(0x3F1F)), words(0x0140)));
    in += 32;
    out += 16;
  }
}

// Converts characters of three bytes, eight at a time, while there are eight.
AVX2_CODE inline void three_byte_runs(const uint8_t*& in, const uint8_t* in_stop, uint16_t*& out,
                                      const uint16_t* out_stop) {
  const __m256i to_lanes = _mm256_setr_epi8(2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1,  //
                                            2, 1, 0, -1, 5, 4, 3, -1, 8, 7, 6, -1, 11, 10, 9, -1);
  while (in <= in_stop && out <= out_stop) {
    const __m128i front = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in));
    const __m128i back = _mm_loadu_si128(reinterpret_cast<const __m128i*>(in + 12));
    const __m256i lanes = _mm256_shuffle_epi8(_mm256_set_m128i(back, front), to_lanes);
    const __m256i shape = _mm256_and_si256(lanes, _mm256_set1_epi32(0xF0C0C0));
    if (high_bits(_mm256_cmpeq_epi32(shape, _mm256_set1_epi32(0xE08080))) != UINT32_MAX) return;
    const __m256i six_bits = _mm256_and_si256(lanes, _mm256_set1_epi32(0x0F3F3F));
    // The last two bytes become one number of 12 bits, and the first one is put in front of it.
    const __m256i pairs = _mm256_maddubs_epi16(six_bits, _mm256_set1_epi32(0x00014001));
    const __m256i values = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x10000001));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_packus_epi32(low_half(values), high_half(values)));
    in += 24;
    out += 8;
  }
}

// Gives back the character that the blocks so far have begun and not ended.
inline void give_back(const uint8_t*& from, uint16_t*& to, uint64_t& expected) {
  if (expected == 0) return;
  from -= from[-1] < 0xC0 ? 2 : 1;
  --to;
  expected = 0;
}

}  // namespace

// Takes ASCII and well-formed sequences of two and three bytes. Surrogates and overlong forms in them are no
// matter: the loop makes the same units of them.
AVX2_CODE void utf8_to_ucs2(const uint8_t*& in, const uint8_t* in_end, uint16_t*& out,
                            const uint16_t* out_end) {
  // Units past the result: of a store's eight at least two count, and one may be given back.
  constexpr ptrdiff_t kSurplus = 7;
  constexpr ptrdiff_t kInMargin = kBlockBytes + (kSurplus + 1) * 4;
  constexpr ptrdiff_t kOutMargin = kBlockBytes + kSurplus + 2;
  if (in_end - in < kInMargin || out_end - out < kOutMargin) return;
  const uint8_t* const in_stop = in_end - kInMargin;
  const uint16_t* const out_stop = out_end - kOutMargin;
  const uint8_t* from = in;
  uint16_t* to = out;
  uint64_t expected = 0;
  while (from <= in_stop && to <= out_stop) {
    const __m256i first = load(from);
    const Utf8Shape shape = shape_of(first);
    if ((shape.following | shape.leads) == 0 && expected == 0) {
      store_ascii(to, first);
      from += kBlockBytes;
      to += kBlockBytes;
      continue;
    }
    const uint64_t all_expected = expected_following(shape, expected);
    if (static_cast<uint32_t>(all_expected) != shape.following || shape.leads4 != 0) break;
    const Units units = units_of(first, load(from + 1), load(from + 2));
    to = store_units(to, units, ~shape.following);
    from += kBlockBytes;
    expected = all_expected >> 32;
    // Nothing but leads of one kind: more of it often follows.
    if (~shape.following == shape.leads) {
      if (shape.leads3 != 0 && shape.leads3 != shape.leads) continue;
      give_back(from, to, expected);
      if (shape.leads3 == 0)
        two_byte_runs(from, in_stop, to, out_stop);
      else
        three_byte_runs(from, in_stop, to, out_stop);
    }
  }
  give_back(from, to, expected);
  in = from;
  out = to;
}

// Takes everything but surrogates.
AVX2_CODE void ucs2_to_utf8(const uint16_t*& in, const uint16_t* in_end, uint8_t*& out,
                            const uint8_t* out_end) {
  constexpr ptrdiff_t kBlock = kBlockBytes / 2;
  constexpr ptrdiff_t kSurplus = 12;  // bytes of a store that may not count
  constexpr ptrdiff_t kInMargin = kBlock + (kSurplus + 1) * 2;
  constexpr ptrdiff_t kOutMargin = 3 * kBlock + kSurplus + 4;
  if (in_end - in < kInMargin || out_end - out < kOutMargin) return;
  const uint16_t* const in_stop = in_end - kInMargin;
  const uint8_t* const out_stop = out_end - kOutMargin;
  const uint16_t* from = in;
  uint8_t* to = out;
  while (from <= in_stop && to <= out_stop) {
    const __m256i units = load(from);
    const __m256i six_bits = _mm256_and_si256(units, words(0x3F));
    if (_mm256_testz_si256(units, words(0xFF80))) {
      const __m128i ascii = _mm_packus_epi16(low_half(units), high_half(units));
      _mm_storeu_si128(reinterpret_cast<__m128i*>(to), ascii);
      to += kBlock;
    } else if (_mm256_testz_si256(units, words(0xF800))) {
      const __m256i is_two = _mm256_cmpgt_epi16(units, words(0x7F));
      const __m256i lead = _mm256_or_si256(_mm256_srli_epi16(units, 6), words(0x80C0));
      const __m256i two = _mm256_or_si256(lead, _mm256_slli_epi16(six_bits, 8));
      const __m256i block = _mm256_blendv_epi8(units, two, is_two);
      const auto mask =
          static_cast<uint32_t>(_mm_movemask_epi8(_mm_packs_epi16(low_half(is_two), high_half(is_two))));
      store_kept(to, low_half(block), kKeepOneOrTwo, mask);
      store_kept(to + 8 + ones(mask & 0xFF), high_half(block), kKeepOneOrTwo, mask >> 8);
      to += kBlock + ones(mask);
    } else {
      const __m256i zone = _mm256_and_si256(units, words(0xF800));
      if (!_mm256_testz_si256(_mm256_cmpeq_epi16(zone, words(0xD800)), bytes(0xFF))) break;
      const __m256i is_three = _mm256_xor_si256(_mm256_cmpeq_epi16(zone, __m256i{}), bytes(0xFF));
      const __m256i is_one = _mm256_cmpeq_epi16(_mm256_and_si256(units, words(0xFF80)), __m256i{});
      const __m256i last = _mm256_or_si256(six_bits, words(0x80));
      const __m256i upper = _mm256_srli_epi16(units, 6);
      const __m256i two = _mm256_or_si256(_mm256_or_si256(upper, words(0xC0)), _mm256_slli_epi16(last, 8));
      const __m256i middle = _mm256_slli_epi16(_mm256_and_si256(upper, words(0x3F)), 8);
      const __m256i three =
          _mm256_or_si256(_mm256_or_si256(_mm256_srli_epi16(units, 12), words(0x80E0)), middle);
      const __m256i front = _mm256_blendv_epi8(_mm256_blendv_epi8(two, three, is_three), units, is_one);
      // Two bits for each unit: more than one byte, and more than two.
      const uint32_t mask =
          high_bits(_mm256_blendv_epi8(_mm256_xor_si256(is_one, bytes(0xFF)), is_three, words(0xFF00)));
      const __m256i even = _mm256_unpacklo_epi16(front, last);
      const __m256i odd = _mm256_unpackhi_epi16(front, last);
      store_kept(to, low_half(even), kKeepOneToThree, mask);
      store_kept(to + 4 + ones(mask & 0xFF), low_half(odd), kKeepOneToThree, mask >> 8);
      store_kept(to + 8 + ones(mask & 0xFFFF), high_half(even), kKeepOneToThree, mask >> 16);
      store_kept(to + 12 + ones(mask & 0xFFFFFF), high_half(odd), kKeepOneToThree, mask >> 24);
      to += kBlock + ones(mask);
    }
    from += kBlock;
  }
  in = from;
  out = to;
}

}  // namespace mar::charset::avx2

#endif
