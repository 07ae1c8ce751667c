// The part of kernels.h, which includes this, from UCS-2 into UTF-8.

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
  return store_one_to<3>(to, sequences.fronts, sequences.lasts, sequences.is_one, sequences.is_short);
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
  uint8_t* const end = store_one_to<3>(to, fronts, choose(others.lasts, second, is_high),
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

// How many of the first words a mask has, of a part of a block.
LEVEL_CODE inline ptrdiff_t ones_of(WordMask mask, ptrdiff_t count) {
  constexpr ptrdiff_t kBits = sizeof(WordMask) == sizeof(Block) ? 2 : 1;  // of each word
  return ones(bits(mask) & ((Bits{1} << kBits * count) - 1)) / kBits;
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
  if (block_end != nullptr && at != in_end) {
    const Block last = load(in_end - kUnits);
    block_end = store_utf8(end - utf8_bytes(last, kUnits - (in_end - at)), last);
    if (block_end != nullptr) {
      end = block_end;
      at = in_end;
    }
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
