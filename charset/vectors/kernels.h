// The kernels of one level, written once for blocks of any size. A level's file includes this into its own
// namespace, after LEVEL_CODE, the attribute that allows the level's instructions, and these:
//   Block                a register of kBlockBytes; kAllBytes has a bit for each
//   load, store          anywhere in memory
//   bytes, words         one value in each byte, or in each word of 16 bits
//   equal_, max_         bytes or words with all bits set where equal; the greater byte
//   words_left, _right   shifts each word by so many bits
//   pair_sums            words: byte by factor, added to the next byte by the next factor
//   choose               bytes of the second block where the third has the highest bit, else of the first
//   none                 whether the blocks have no set bit in common
//   high_bits, word_bits a mask bit for each byte by its highest bit; for each word that is all ones or zeros
//   ones                 how many bits of a mask are set
//   widened              the bytes at an address as words
//   store_narrowed       a byte for each unit of a block, all below 0x100
//   store_units          of the units with these low and high bytes those with a bit; returns their end
//   store_bytes          the same of bytes
//   store_one_or_two     of each word one byte, or two where it has a bit; returns their end
//   store_one_to_three   of a word and the word of `lasts` together one to three bytes, by two bits for each
//   store_eight_threes   eight characters of three bytes; false, with nothing stored, if there are not eight
//
// Every function that touches a Block has the attribute. None uses a lambda or a function of the standard
// library: those would not have it, and such a function could be used by the rest of the program, too.

// The bytes of a block of UTF-8 by what they are, a mask bit for each.
struct Utf8Shape {
  uint32_t following;
  uint32_t leads;   // of two bytes or more
  uint32_t leads3;  // of three bytes or more
  uint32_t leads4;  // of four bytes, or no lead at all
};

LEVEL_CODE inline Utf8Shape shape_of(Block block) {
  const uint32_t high = high_bits(block);
  const uint32_t second = high & high_bits(words_left<1>(block));
  const uint32_t third = second & high_bits(words_left<2>(block));
  return {high & ~second, second, third, third & high_bits(words_left<3>(block))};
}

// Where the leads ask for following bytes: those of this block, and from kBlockBytes up those of the next
// one.
inline uint64_t following_bytes(const Utf8Shape& shape, uint64_t asked_before) {
  return asked_before | uint64_t{shape.leads} << 1 | uint64_t{shape.leads3} << 2 |
         uint64_t{shape.leads4} << 3;
}

inline bool is_whole(const Utf8Shape& shape, uint64_t asked) {
  return (asked & kAllBytes) == shape.following;
}

// Bytes of the character that ends past `end`, if bytes past it are asked for.
inline ptrdiff_t begun_bytes(const uint8_t* end, uint64_t asked) {
  return asked == 0 ? 0 : end[-1] >= 0xC0 ? 1 : end[-2] >= 0xC0 ? 2 : 3;
}

// The units of the characters that start at each byte of a block: their low and high bytes. `second` and
// `third` are the blocks one and two bytes further on. Where no character starts, the unit is arbitrary.
struct Units {
  Block low, high;
};

LEVEL_CODE inline Units units_of(Block first, Block second, Block third) {
  const Block is_three = equal_bytes(max_bytes(first, bytes(0xE0)), first);
  const Block before_last = choose(first, second, is_three);
  const Block last = choose(second, third, is_three);
  const Block low = (words_left<6>(before_last) & bytes(0xC0)) | (last & bytes(0x3F));
  const Block middle = words_right<2>(before_last) & choose(bytes(0x07), bytes(0x0F), is_three);
  const Block high = middle | (words_left<4>(first) & bytes(0xF0) & is_three);
  // The highest bit of the first byte chooses: ASCII stands for itself.
  return {choose(first, low, first), choose(Block{}, high, first)};
}

// Converts characters of two bytes while they fill blocks, or of three while there are eight.
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
  for (; from <= in_stop && to <= out_stop && store_eight_threes(to, from); from += 24) to += 8;
}

// Takes ASCII and well-formed sequences of two and three bytes. Surrogates and overlong forms among them are
// no matter: the loop makes the same units of them.
LEVEL_CODE void utf8_to_ucs2(const uint8_t*& in, const uint8_t* in_end, uint16_t*& out,
                             const uint16_t* out_end) {
  // Units past the result: of a store's eight at least two count, and one may be given back.
  constexpr ptrdiff_t kSurplus = 7;
  constexpr ptrdiff_t kInMargin = kBlockBytes + (kSurplus + 1) * 4;
  constexpr ptrdiff_t kOutMargin = kBlockBytes + kSurplus + 2;
  static_assert(kInMargin <= kKernelMargin);
  if (in_end - in < kInMargin || out_end - out < kOutMargin) return;
  const uint8_t* const in_stop = in_end - kInMargin;
  const uint16_t* const out_stop = out_end - kOutMargin;
  const uint8_t* from = in;
  uint16_t* to = out;
  uint64_t asked = 0;
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
    const uint64_t now_asked = following_bytes(shape, asked);
    if (!is_whole(shape, now_asked) || shape.leads4 != 0) break;
    const Units units = units_of(block, load(from + 1), load(from + 2));
    to = store_units(to, units.low, units.high, ~shape.following & kAllBytes);
    from += kBlockBytes;
    asked = now_asked >> kBlockBytes;
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

struct Sequences {
  Block fronts;      // the first two bytes of a sequence
  Block lasts;       // the third one
  uint32_t lengths;  // two mask bits for each: more than one byte, more than two
};

LEVEL_CODE inline Sequences sequences_of(Block units) {
  const Block is_one = equal_words(units & words(0xFF80), Block{});
  const Block is_short = equal_words(units & words(0xF800), Block{});
  const Block upper = words_right<6>(units);
  const Block last = (units & words(0x3F)) | words(0x80);
  const Block two = upper | words(0xC0) | words_left<8>(last);
  const Block three = words_right<12>(units) | words(0x80E0) | words_left<8>(upper & words(0x3F));
  const Block lengths = choose(is_one, is_short, words(0xFF00));
  return {choose(choose(three, two, is_short), units, is_one), last, ~high_bits(lengths) & (kAllBytes)};
}

// Stores units below 0x800 as one byte or two.
LEVEL_CODE inline uint8_t* store_short(uint8_t* to, Block units) {
  const Block is_one = equal_words(units & words(0xFF80), Block{});
  const Block two = words_right<6>(units) | words(0x80C0) | words_left<8>(units & words(0x3F));
  if (high_bits(is_one) != 0) return store_one_or_two(to, choose(two, units, is_one), word_bits(~is_one));
  store(to, two);
  return to + kBlockBytes;
}

// Takes everything but surrogates.
LEVEL_CODE void ucs2_to_utf8(const uint16_t*& in, const uint16_t* in_end, uint8_t*& out,
                             const uint8_t* out_end) {
  constexpr ptrdiff_t kUnits = kBlockBytes / 2;
  constexpr ptrdiff_t kSurplus = 12;  // bytes past the result: of a store's 16, at least four count
  constexpr ptrdiff_t kInMargin = kUnits + (kSurplus + 1) * 2;
  constexpr ptrdiff_t kOutMargin = 3 * kUnits + kSurplus + 4;
  static_assert(kInMargin <= kKernelMargin);
  if (in_end - in < kInMargin || out_end - out < kOutMargin) return;
  const uint16_t* const in_stop = in_end - kInMargin;
  const uint8_t* const out_stop = out_end - kOutMargin;
  const uint16_t* from = in;
  uint8_t* to = out;
  for (; from <= in_stop && to <= out_stop; from += kUnits) {
    const Block units = load(from);
    if (none(units, words(0xFF80))) {
      store_narrowed(to, units);
      to += kUnits;
    } else if (none(units, words(0xF800))) {
      to = store_short(to, units);
    } else {
      if (high_bits(equal_words(units & words(0xF800), words(0xD800))) != 0) break;
      const Sequences sequences = sequences_of(units);
      to = store_one_to_three(to, sequences.fronts, sequences.lasts, sequences.lengths);
    }
  }
  in = from;
  out = to;
}

// Whether a sequence of the block is overlong or begins with a byte above 0xF7. `second` is the block one
// byte further on.
LEVEL_CODE inline bool changes(Block first, Block second) {
  const Block two = equal_bytes(first & bytes(0xFE), bytes(0xC0));
  const Block three = equal_bytes(first, bytes(0xE0)) & equal_bytes(second & bytes(0xE0), bytes(0x80));
  const Block four = equal_bytes(first, bytes(0xF0)) & equal_bytes(second & bytes(0xF0), bytes(0x80));
  const Block no_lead = equal_bytes(max_bytes(first, bytes(0xF8)), first);
  return high_bits(two | three | four | no_lead) != 0;
}

// Takes what decoding and encoding would reproduce: ASCII and well-formed sequences, but no overlong forms.
LEVEL_CODE void utf8_to_utf8(const uint8_t*& in, const uint8_t* in_end, uint8_t*& out,
                             const uint8_t* out_end) {
  constexpr ptrdiff_t kSurplus = 3;  // bytes of a character that is given back
  constexpr ptrdiff_t kInMargin = kBlockBytes + (kSurplus + 1) * 4;
  constexpr ptrdiff_t kOutMargin = kBlockBytes + kSurplus + 4;
  static_assert(kInMargin <= kKernelMargin);
  if (in_end - in < kInMargin || out_end - out < kOutMargin) return;
  const uint8_t* const in_stop = in_end - kInMargin;
  const uint8_t* const out_stop = out_end - kOutMargin;
  const uint8_t* from = in;
  uint8_t* to = out;
  uint64_t asked = 0;
  for (; from <= in_stop && to <= out_stop; from += kBlockBytes, to += kBlockBytes) {
    const Block block = load(from);
    if ((high_bits(block) | asked) != 0) {
      const Utf8Shape shape = shape_of(block);
      const uint64_t now_asked = following_bytes(shape, asked);
      if (!is_whole(shape, now_asked) || changes(block, load(from + 1))) break;
      asked = now_asked >> kBlockBytes;
    }
    store(to, block);
  }
  const ptrdiff_t begun = begun_bytes(from, asked);
  in = from - begun;
  out = to - begun;
}

// Takes everything.
LEVEL_CODE void latin1_to_ucs2(const uint8_t*& in, const uint8_t* in_end, uint16_t*& out,
                               const uint16_t* out_end) {
  for (; in_end - in >= kBlockBytes && out_end - out >= kBlockBytes; in += kBlockBytes, out += kBlockBytes) {
    store(out, widened(in));
    store(out + kBlockBytes / 2, widened(in + kBlockBytes / 2));
  }
}

// Takes units below 0x100.
LEVEL_CODE void ucs2_to_latin1(const uint16_t*& in, const uint16_t* in_end, uint8_t*& out,
                               const uint8_t* out_end) {
  for (; in_end - in >= kBlockBytes && out_end - out >= kBlockBytes; in += kBlockBytes, out += kBlockBytes) {
    const Block first = load(in), second = load(in + kBlockBytes / 2);
    if (!none(first | second, words(0xFF00))) return;
    store_narrowed(out, first);
    store_narrowed(out + kBlockBytes / 2, second);
  }
}

// Takes everything.
LEVEL_CODE void latin1_to_utf8(const uint8_t*& in, const uint8_t* in_end, uint8_t*& out,
                               const uint8_t* out_end) {
  constexpr ptrdiff_t kSurplus = 8;  // bytes past the result: of a store's 16, at least eight count
  constexpr ptrdiff_t kInMargin = kBlockBytes + kSurplus;
  constexpr ptrdiff_t kOutMargin = 2 * kBlockBytes + kSurplus + 3;
  static_assert(kInMargin <= kKernelMargin);
  if (in_end - in < kInMargin || out_end - out < kOutMargin) return;
  const uint8_t* const in_stop = in_end - kInMargin;
  const uint8_t* const out_stop = out_end - kOutMargin;
  const uint8_t* from = in;
  uint8_t* to = out;
  for (; from <= in_stop && to <= out_stop; from += kBlockBytes) {
    const Block block = load(from);
    if (high_bits(block) == 0) {
      store(to, block);
      to += kBlockBytes;
    } else {
      to = store_short(to, widened(from));
      to = store_short(to, widened(from + kBlockBytes / 2));
    }
  }
  in = from;
  out = to;
}

// Takes ASCII and well-formed sequences of two bytes whose value is below 0x100.
LEVEL_CODE void utf8_to_latin1(const uint8_t*& in, const uint8_t* in_end, uint8_t*& out,
                               const uint8_t* out_end) {
  // Bytes past the result: of a store's eight at least four count, and one may be given back.
  constexpr ptrdiff_t kSurplus = 5;
  constexpr ptrdiff_t kInMargin = kBlockBytes + (kSurplus + 1) * 3;
  constexpr ptrdiff_t kOutMargin = kBlockBytes + kSurplus + 1;
  static_assert(kInMargin <= kKernelMargin);
  if (in_end - in < kInMargin || out_end - out < kOutMargin) return;
  const uint8_t* const in_stop = in_end - kInMargin;
  const uint8_t* const out_stop = out_end - kOutMargin;
  const uint8_t* from = in;
  uint8_t* to = out;
  uint64_t asked = 0;
  for (; from <= in_stop && to <= out_stop; from += kBlockBytes) {
    const Block block = load(from);
    const uint32_t high = high_bits(block);
    if ((high | asked) == 0) {
      store(to, block);
      to += kBlockBytes;
      continue;
    }
    if (high == kAllBytes) {
      // Letters alone. A character that the block before has begun is converted again.
      from -= asked != 0;
      to -= asked != 0;
      asked = 0;
      const Block pairs = load(from);
      if (!none(pairs ^ words(0x80C0), words(0xC0FC))) break;
      store_narrowed(to, pair_sums(pairs & words(0x3F1F), words(0x0140)));
      to += kBlockBytes / 2;
      continue;
    }
    const Block is_low = equal_bytes(max_bytes(block, bytes(0xC3)), bytes(0xC3));
    const uint32_t leads = high & high_bits(words_left<1>(block));
    const uint64_t now_asked = asked | uint64_t{leads} << 1;
    if (high_bits(is_low) != kAllBytes || (now_asked & kAllBytes) != (high & ~leads)) break;
    asked = now_asked >> kBlockBytes;
    const Block two = (words_left<6>(block) & bytes(0xC0)) | (load(from + 1) & bytes(0x3F));
    to = store_bytes(to, choose(block, two, block), ~(high & ~leads) & kAllBytes);
  }
  in = from - (asked != 0);
  out = to - (asked != 0);
}

constexpr VectorKernels kLevelKernels = {utf8_to_ucs2,   ucs2_to_utf8,   utf8_to_utf8,  latin1_to_ucs2,
                                         ucs2_to_latin1, latin1_to_utf8, utf8_to_latin1};
