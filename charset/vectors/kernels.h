// The kernels of one level, written once for blocks of any size. A level's file includes this into its own
// namespace, after LEVEL_CODE, the attribute that allows the level's instructions, and these:
//   Block                a register of kBlockBytes
//   ByteMask, WordMask   a choice of a block's bytes, or of its words of 16 bits; they know &, | and ~
//   Bits                 an integer with a bit for each byte of a block, kAllBytes with all of them
//   load, store          anywhere in memory
//   bytes, words         one value in each byte, or in each word
//   equal_bytes, _words  a mask of those that are equal
//   at_least             a mask of the bytes that are at least so great
//   high_mask            a mask of the bytes with the highest bit
//   bits, any            a byte mask as Bits; whether a mask has anything
//   choose               the second block's bytes or words where the mask says so, the first one's elsewhere
//   where                the block's bytes where a comparison's mask says so, zeros elsewhere
//   words_left, _right   shifts each word by so many bits
//   pair_sums            words: byte by factor, added to the next byte by the next factor
//   ones_of              how many of the first words a mask has, of a part of a block
//   none                 whether the blocks have no set bit in common
//   ones                 how many bits are set
//   sums                 adds each byte to the other block's
//   moved_up             each byte at the next place, the first one zero
//   widened              the bytes at an address as words
//   store_narrowed       a byte for each unit of a block, all below 0x100
//   store_units          of the units with these low and high bytes those with a bit; returns their end
//   store_bytes          the same of bytes
//   store_one_or_two     of each word one byte where the mask says so, else two; returns their end
//   store_one_to_three   of a word and the word of `lasts` together one byte where is_one says so, else two
//                        where is_short does, else three; returns their end
//   store_threes         kThrees characters of three bytes; false if there are fewer, with nothing stored
// Those that keep a part store more than they keep. They take the block in parts of so many of its units or
// bytes, and each part's store ends where its part would if all of it were kept:
//   kUnitsPart           units of a part for store_units
//   kBytesPart           bytes of a part for store_bytes
//   kWordsPart           bytes of a part for store_one_or_two and store_one_to_three
// And two of the level itself:
//   kMostMargin          units of a text of which at least one block is taken
//   kMasksEnds           the level has kernels of its own for the ends, which load and store by masks
//
// Every function that touches a Block has the attribute. None uses a lambda or a function of the standard
// library: those would not have it, and such a function could be used by the rest of the program, too.

// The bytes of a block of UTF-8 by what they are, a mask bit for each.
struct Utf8Shape {
  Bits following;
  Bits leads;   // of two bytes or more
  Bits leads3;  // of three bytes or more
  Bits leads4;  // of four bytes, or no lead at all
};

LEVEL_CODE inline Bits high_bits(Block block) { return bits(high_mask(block)); }

LEVEL_CODE inline Utf8Shape shape_of(Block block) {
  const Bits high = high_bits(block);
  const Bits second = high & high_bits(words_left<1>(block));
  const Bits third = second & high_bits(words_left<2>(block));
  return {high & ~second, second, third, third & high_bits(words_left<3>(block))};
}

// Where the leads ask for following bytes in this block.
inline Bits asked_of_this(const Utf8Shape& shape) {
  return shape.leads << 1 | shape.leads3 << 2 | shape.leads4 << 3;
}

// Whether following bytes are just where the leads of this block and those before it ask for them.
inline bool is_whole(const Utf8Shape& shape, Bits asked_before) {
  return ((asked_before | asked_of_this(shape)) & kAllBytes) == shape.following;
}

// Where the leads ask for following bytes in the next block.
inline Bits asked_of_next(const Utf8Shape& shape) {
  return shape.leads >> (kBlockBytes - 1) | shape.leads3 >> (kBlockBytes - 2) |
         shape.leads4 >> (kBlockBytes - 3);
}

// Bytes of the character that ends past `end`, if bytes past it are asked for.
inline ptrdiff_t begun_bytes(const uint8_t* end, Bits asked) {
  return asked == 0 ? 0 : end[-1] >= 0xC0 ? 1 : end[-2] >= 0xC0 ? 2 : 3;
}

// The units of the characters that start at each byte of a block: their low and high bytes. `second` and
// `third` are the blocks one and two bytes further on. Where no character starts, the unit is arbitrary.
struct Units {
  Block low, high;
};

LEVEL_CODE inline Units units_of(Block first, Block second, Block third) {
  const ByteMask is_three = at_least(first, bytes(0xE0));
  const Block before_last = choose(first, second, is_three);
  const Block last = choose(second, third, is_three);
  const Block low = (words_left<6>(before_last) & bytes(0xC0)) | (last & bytes(0x3F));
  const Block middle = words_right<2>(before_last) & choose(bytes(0x07), bytes(0x0F), is_three);
  const Block high = middle | where(is_three, words_left<4>(first) & bytes(0xF0));
  const ByteMask is_lead = high_mask(first);  // ASCII stands for itself
  return {choose(first, low, is_lead), choose(Block{}, high, is_lead)};
}

// Converts characters of two bytes while they fill blocks, or of three while there are kThrees.
LEVEL_CODE inline void convert_twos(const uint8_t*& from, const uint8_t* in_stop, uint16_t*& to,
                                    const uint16_t* out_stop) {
  for (; from <= in_stop && to <= out_stop; from += kBlockBytes, to += kBlockBytes / 2) {
    const Block block = load(from);
    if (!none(block ^ words(0x80C0), words(0xC0E0))) return;
    store(to, pair_sums(block & words(0x3F1F), words(0x0140)));
  }
}

LEVEL_CODE inline void convert_threes(const uint8_t*& from, const uint8_t* in_stop, uint16_t*& to,
                                      const uint16_t* out_stop) {
  for (; from <= in_stop && to <= out_stop && store_threes(to, from); from += 3 * kThrees) to += kThrees;
}

// The overlong sequences of four bytes, and the bytes above 0xF7: the loop has rules of its own for them.
// `second` is the block one byte further on.
LEVEL_CODE inline ByteMask bad_fours(Block first, Block second) {
  const ByteMask overlong = equal_bytes(first, bytes(0xF0)) & equal_bytes(second & bytes(0xF0), bytes(0x80));
  return overlong | at_least(first, bytes(0xF8));
}

// Converts a block with characters of four bytes, which become two units: the first one is made where the
// character starts, the other one a byte further on. Begins with the character that the block before has
// begun, and leaves one that this block only begins. False, with nothing stored, if something is for the
// loop.
LEVEL_CODE inline bool convert_fours(const uint8_t*& from, uint16_t*& to, Bits& asked) {
  from -= begun_bytes(from, asked);
  to -= asked != 0;
  asked = 0;
  const Block first = load(from), second = load(from + 1), third = load(from + 2);
  const Utf8Shape shape = shape_of(first);
  if (!is_whole(shape, 0) || any(bad_fours(first, second))) return false;
  const ByteMask is_four = at_least(first, bytes(0xF0));
  const ByteMask is_next = at_least(moved_up(first), bytes(0xF0));
  // The bits from 10 up, less 0x40, which is 0x10000: eight of them, and three with what was borrowed.
  const Block eight = (words_left<2>(second) & bytes(0xFC)) | (words_right<4>(third) & bytes(0x03));
  const Block borrowed = choose(bytes(0xD8), bytes(0xD7), equal_bytes(second & bytes(0x30), Block{}));
  const Block last = (words_left<6>(second) & bytes(0xC0)) | (third & bytes(0x3F));
  const Block middle = (words_right<2>(second) & bytes(0x03)) | bytes(0xDC);
  Units units = units_of(first, second, third);
  units.low = choose(choose(units.low, sums(eight, bytes(0xC0)), is_four), last, is_next);
  units.high = choose(choose(units.high, sums(first & bytes(0x07), borrowed), is_four), middle, is_next);
  const ptrdiff_t cut = begun_bytes(from + kBlockBytes, asked_of_next(shape));
  to = store_units(to, units.low, units.high, (~shape.following | shape.leads4 << 1) & kAllBytes >> cut);
  from += kBlockBytes - cut;
  return true;
}

// Takes ASCII and well-formed sequences, those of four bytes only for codesets of all planes. Surrogates and
// overlong forms of two and three bytes among them are no matter: the loop makes the same units of them.
template <bool kAllPlanes>
LEVEL_CODE void utf8_to_ucs2(const uint8_t*& in, const uint8_t* in_end, uint16_t*& out,
                             const uint16_t* out_end) {
  // Units past the result: of a part at least a third count, and one may be given back.
  constexpr ptrdiff_t kSurplus = kUnitsPart - kUnitsPart / 3 + 1;
  constexpr ptrdiff_t kInMargin = kBlockBytes + (kSurplus + 1) * 4;
  constexpr ptrdiff_t kOutMargin = kBlockBytes + kSurplus + 2;
  static_assert(kInMargin <= kMostMargin);
  if (in_end - in < kInMargin || out_end - out < kOutMargin) return;
  const uint8_t* const in_stop = in_end - kInMargin;
  const uint16_t* const out_stop = out_end - kOutMargin;
  const uint8_t* from = in;
  uint16_t* to = out;
  Bits asked = 0;
  while (from <= in_stop && to <= out_stop) {
    const Block block = load(from);
    if ((high_bits(block) | asked) == 0) {
      store(to, widened(from));
      store(to + kBlockBytes / 2, widened(from + kBlockBytes / 2));
      from += kBlockBytes;
      to += kBlockBytes;
      continue;
    }
    const Utf8Shape shape = shape_of(block);
    if (shape.leads4 != 0) {
      if (!kAllPlanes || !convert_fours(from, to, asked)) break;
      continue;
    }
    if (!is_whole(shape, asked)) break;
    const Units units = units_of(block, load(from + 1), load(from + 2));
    to = store_units(to, units.low, units.high, ~shape.following & kAllBytes);
    from += kBlockBytes;
    asked = asked_of_next(shape);
    const bool has_ascii = (shape.leads | shape.following) != kAllBytes;
    if (has_ascii || (shape.leads3 != 0 && shape.leads3 != shape.leads)) continue;
    // All characters have the same length, and more of them often follow.
    from -= begun_bytes(from, asked);
    to -= asked != 0;
    asked = 0;
    if (shape.leads3 == 0) {
      convert_twos(from, in_stop, to, out_stop);
    } else {
      convert_threes(from, in_stop, to, out_stop);
    }
  }
  in = from - begun_bytes(from, asked);
  out = to - (asked != 0);
}

// The units that UTF-8 writes in one byte, and in two at most.
LEVEL_CODE inline WordMask ones_in(Block units) { return equal_words(units & words(0xFF80), Block{}); }
LEVEL_CODE inline WordMask shorts_in(Block units) { return equal_words(units & words(0xF800), Block{}); }

LEVEL_CODE inline bool has_surrogates(Block units) {
  return any(equal_words(units & words(0xF800), words(0xD800)));
}

struct Sequences {
  Block fronts;  // the first two bytes of a sequence
  Block lasts;   // the third one
  WordMask is_one, is_short;
};

LEVEL_CODE inline Sequences sequences_of(Block units) {
  const WordMask is_one = ones_in(units), is_short = shorts_in(units);
  const Block upper = words_right<6>(units);
  const Block last = (units & words(0x3F)) | words(0x80);
  const Block two = upper | words(0xC0) | words_left<8>(last);
  const Block three = words_right<12>(units) | words(0x80E0) | words_left<8>(upper & words(0x3F));
  return {choose(choose(three, two, is_short), units, is_one), last, is_one, is_short};
}

// Stores units below 0x800 as one byte or two.
LEVEL_CODE inline uint8_t* store_short(uint8_t* to, Block units) {
  const WordMask is_one = ones_in(units);
  const Block two = words_right<6>(units) | words(0x80C0) | words_left<8>(units & words(0x3F));
  if (any(is_one)) return store_one_or_two(to, choose(two, units, is_one), is_one);
  store(to, two);
  return to + kBlockBytes;
}

// Stores a block of units; null if there are surrogates.
LEVEL_CODE inline uint8_t* store_utf8(uint8_t* to, Block units) {
  if (none(units, words(0xFF80))) {
    store_narrowed(to, units);
    return to + kBlockBytes / 2;
  }
  if (none(units, words(0xF800))) return store_short(to, units);
  if (has_surrogates(units)) return nullptr;
  const Sequences sequences = sequences_of(units);
  return store_one_to_three(to, sequences.fronts, sequences.lasts, sequences.is_one, sequences.is_short);
}

// Stores a block that has surrogates, each pair as four bytes: three where the first one is, one where the
// other one is. Leaves a pair that this block only begins. Null, with nothing stored, if one is not of a
// pair.
LEVEL_CODE inline uint8_t* store_pairs(uint8_t* to, const uint16_t*& from) {
  constexpr ptrdiff_t kUnits = kBlockBytes / 2;
  const Block units = load(from), next = load(from + 1);
  const WordMask is_high = equal_words(units & words(0xFC00), words(0xD800));
  const WordMask is_low = equal_words(units & words(0xFC00), words(0xDC00));
  const WordMask is_before_low = equal_words(next & words(0xFC00), words(0xDC00));
  if ((*from & 0xFC00) == 0xDC00 || any(is_high ^ is_before_low)) return nullptr;
  const Block plane = sums(words_right<6>(units) & words(0x000F), words(1));
  const Block first = words_right<2>(plane) | words_left<12>(plane & words(0x0003)) |
                      words_left<6>(units & words(0x003C)) | words(0x80F0);
  const Block second =
      words_left<4>(units & words(0x0003)) | (words_right<6>(next) & words(0x000F)) | words(0x80);
  const Sequences others = sequences_of(units);
  const Block fronts = choose(choose(others.fronts, first, is_high), others.lasts, is_low);
  uint8_t* const end = store_one_to_three(to, fronts, choose(others.lasts, second, is_high),
                                          others.is_one | is_low, others.is_short | is_low);
  const bool is_begun = (from[kUnits - 1] & 0xFC00) == 0xD800;
  from += kUnits - is_begun;
  return is_begun ? end - 3 : end;
}

// Stores what it can of a block and moves on past it. Null, with nothing stored, if there are surrogates,
// unless for codesets of all planes they are pairs and the text does not end with the block.
template <bool kAllPlanes>
LEVEL_CODE inline uint8_t* store_block(uint8_t* to, const uint16_t*& from, const uint16_t* in_end) {
  constexpr ptrdiff_t kUnits = kBlockBytes / 2;
  uint8_t* const end = store_utf8(to, load(from));
  if (end == nullptr) return kAllPlanes && in_end - from > kUnits ? store_pairs(to, from) : nullptr;
  from += kUnits;
  return end;
}

// Bytes of the first units of a block in UTF-8.
LEVEL_CODE inline ptrdiff_t utf8_bytes(Block units, ptrdiff_t count) {
  return 3 * count - ones_of(ones_in(units), count) - ones_of(shorts_in(units), count);
}

// Converts what is left of a text, at most kMostRest units, up to a block that is not stored; nothing if
// there is no room for it. The last block ends with the text and overlaps what is already converted. That
// needs a block since `in`, where `from` has moved on from.
constexpr ptrdiff_t kMostRest = 5 * kBlockBytes / 2;
template <bool kAllPlanes>
LEVEL_CODE inline void convert_rest(const uint16_t* in, const uint16_t*& from, const uint16_t* in_end,
                                    uint8_t*& to, const uint8_t* out_end) {
  constexpr ptrdiff_t kUnits = kBlockBytes / 2, kMostBytes = 3 * kUnits;
  if (in_end - in < kUnits || in_end - from > kMostRest) return;
  uint8_t buffer[kMostBytes + 3 * kMostRest + kWordsPart];
  uint8_t* const start = buffer + kMostBytes;  // leaves room for what a last block repeats
  uint8_t* end = start;
  const uint16_t* at = from;
  uint8_t* block_end = start;
  while (in_end - at >= kUnits && (block_end = store_block<kAllPlanes>(end, at, in_end)) != nullptr)
    end = block_end;
  const Block last = load(in_end - kUnits);
  if (block_end != nullptr && at != in_end && !has_surrogates(last)) {
    end = store_utf8(end - utf8_bytes(last, kUnits - (in_end - at)), last);
    at = in_end;
  }
  if (end - start > out_end - to) return;
  __builtin_memcpy(to, start, static_cast<size_t>(end - start));
  to += end - start;
  from = at;
}

// Takes everything but surrogates, and for codesets of all planes also pairs of them that are not near the
// end.
template <bool kAllPlanes>
LEVEL_CODE void ucs2_to_utf8(const uint16_t*& in, const uint16_t* in_end, uint8_t*& out,
                             const uint8_t* out_end) {
  constexpr ptrdiff_t kUnits = kBlockBytes / 2;
  // Bytes past the result: of a part at least a fourth count, or one less.
  constexpr ptrdiff_t kSurplus = kWordsPart - kWordsPart / 4 + 1;
  constexpr ptrdiff_t kInMargin = kUnits + (kSurplus + 1) * 2;
  constexpr ptrdiff_t kOutMargin = 3 * kUnits + kSurplus + 4;
  static_assert(kInMargin <= kMostMargin && (kMasksEnds || kInMargin <= kMostRest));
  const uint16_t* from = in;
  uint8_t* to = out;
  while (in_end - from >= kInMargin && out_end - to >= kOutMargin) {
    uint8_t* const end = store_block<kAllPlanes>(to, from, in_end);
    if (end == nullptr) break;
    to = end;
  }
  if (!kMasksEnds) convert_rest<kAllPlanes>(in, from, in_end, to, out_end);
  in = from;
  out = to;
}

// Whether a sequence of the block is overlong or begins with a byte above 0xF7. `second` is the block one
// byte further on.
LEVEL_CODE inline bool changes(Block first, Block second) {
  const ByteMask two = equal_bytes(first & bytes(0xFE), bytes(0xC0));
  const ByteMask three = equal_bytes(first, bytes(0xE0)) & equal_bytes(second & bytes(0xE0), bytes(0x80));
  return any(two | three | bad_fours(first, second));
}

// Copies what is left of a text, at most two blocks, if it is whole characters that do not change, else
// nothing. The last block ends with the text and overlaps what is already copied. That needs more than a
// block since `in`: `from` and `to` have moved on from `in` and `out`.
LEVEL_CODE inline bool copy_rest(const uint8_t* in, const uint8_t* from, const uint8_t* in_end, uint8_t* to,
                                 const uint8_t* out_end, Bits asked) {
  const ptrdiff_t rest = in_end - from;  // not 0: a margin is left, or `from` is `in`
  if (in_end - in <= kBlockBytes || rest > 2 * kBlockBytes || rest > out_end - to) return false;
  const bool has_two = rest > kBlockBytes;
  const Block first = load(has_two ? from : in);  // without two blocks, any that can be read
  if (has_two) {
    const Utf8Shape shape = shape_of(first);
    if (!is_whole(shape, asked) || changes(first, load(from + 1))) return false;
    asked = asked_of_next(shape);
  }
  const ptrdiff_t repeated = (has_two ? 2 : 1) * kBlockBytes - rest;
  const Block last = load(in_end - kBlockBytes);
  const Utf8Shape shape = shape_of(last);
  const Bits known = shape.following & ((Bits{1} << repeated) - 1);
  // Bits that are shifted out belong to a lead inside the last block, which asked_of_next() sees.
  if (!is_whole(shape, asked << repeated | known) || asked_of_next(shape) != 0) return false;
  if (changes(load(in_end - kBlockBytes - 1), last)) return false;
  if (has_two) store(to, first);
  store(to + rest - kBlockBytes, last);
  return true;
}

// Takes what decoding and encoding would reproduce: ASCII and well-formed sequences, but no overlong forms.
LEVEL_CODE void utf8_to_utf8(const uint8_t*& in, const uint8_t* in_end, uint8_t*& out,
                             const uint8_t* out_end) {
  constexpr ptrdiff_t kSurplus = 3;  // bytes of a character that is given back
  constexpr ptrdiff_t kInMargin = kBlockBytes + (kSurplus + 1) * 4;
  constexpr ptrdiff_t kOutMargin = kBlockBytes + kSurplus + 4;
  static_assert(kInMargin <= kMostMargin);
  const uint8_t* from = in;
  uint8_t* to = out;
  Bits asked = 0;
  for (; in_end - from >= kInMargin && out_end - to >= kOutMargin; from += kBlockBytes, to += kBlockBytes) {
    const Block block = load(from);
    if ((high_bits(block) | asked) != 0) {
      const Utf8Shape shape = shape_of(block);
      if (!is_whole(shape, asked) || changes(block, load(from + 1))) break;
      asked = asked_of_next(shape);
    }
    store(to, block);
  }
  if (!kMasksEnds && copy_rest(in, from, in_end, to, out_end, asked)) {
    out = to + (in_end - from);
    in = in_end;
    return;
  }
  const ptrdiff_t begun = begun_bytes(from, asked);
  in = from - begun;
  out = to - begun;
}

#include "charset/vectors/latin1_kernels.h"

// For levels that have nothing beyond these.
[[maybe_unused]] constexpr VectorKernels kBlockKernels = {kKernelMargin,
                                                          utf8_to_ucs2<true>,
                                                          ucs2_to_utf8<true>,
                                                          utf8_to_utf8,
                                                          utf8_to_ucs2<false>,
                                                          ucs2_to_utf8<false>,
                                                          latin1_to_ucs2,
                                                          ucs2_to_latin1,
                                                          latin1_to_utf8,
                                                          utf8_to_latin1,
                                                          nullptr,
                                                          nullptr};
