// The part of kernels.h, which includes this, from UTF-8 into UCS-2 and into itself.

// Gives back the character that bytes past `from` are asked for: its bytes, and the unit made of it.
inline void give_back(const uint8_t*& from, uint16_t*& to, Bits& asked) {
  from -= begun_bytes(from, asked);
  to -= asked != 0;
  asked = 0;
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
// character starts, the other one a byte further on. The block is at `from`, the start of a character. Leaves
// a character that it only begins. False, with nothing stored, if something is for the loop.
LEVEL_CODE inline bool convert_fours(const uint8_t*& from, uint16_t*& to, Block first,
                                     const Utf8Shape& shape) {
  const Block second = load(from + 1), third = load(from + 2);
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
      store_widened(to, from);
      from += kBlockBytes;
      to += kBlockBytes;
      continue;
    }
    const Utf8Shape shape = shape_of(block);
    if (shape.leads4 != 0) {
      const bool is_begun = asked != 0;  // then the block begins anew
      give_back(from, to, asked);
      if (!kAllPlanes || (!is_begun && !convert_fours(from, to, block, shape))) break;
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
    give_back(from, to, asked);
    if (shape.leads3 == 0) {
      convert_twos(from, in_stop, to, out_stop);
    } else {
      convert_threes(from, in_stop, to, out_stop);
    }
  }
  give_back(from, to, asked);
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
