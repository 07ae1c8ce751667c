// The part of kernels.h, which includes this, for codesets with codes of one byte and of two, and for GB18030
// with its codes of four. Between a text and its characters lie their codes as numbers, by which the program
// looks up in tables.

constexpr Bits kEvenBytes = kAllBytes / 3;

// The bytes of a block that begin a code of two, where each byte from 0x80 up that does not end such a code
// begins one. `high` are those from 0x80 up; the first of a run of them begins one, then every other one.
inline Bits leads_among(Bits high) {
  // Added to a run, its first bit clears all of the run and sets the bit past it.
  const Bits even_starts = high & ~(high << 1) & kEvenBytes;
  const Bits of_even_runs = high & ~(high + even_starts);
  return high & ~(of_even_runs ^ kEvenBytes);
}

// Takes everything: a byte below 0x80 is a code, any other byte and the one
// after it are a code whose number has the first byte in its upper half.
LEVEL_CODE void bytes_to_codes(const uint8_t*& in, const uint8_t* in_end, uint16_t*& out,
                               const uint16_t* out_end) {
  constexpr ptrdiff_t kInMargin = kBlockBytes + 1;
  constexpr ptrdiff_t kOutMargin = kBlockBytes + kUnitsPart;
  const uint8_t* from = in;
  uint16_t* to = out;
  Bits begun = 0;  // whether the first byte ends a code
  while (in_end - from >= kInMargin && out_end - to >= kOutMargin) {
    const Block first = load(from);
    const Bits high = high_bits(first);
    if (begun != 0 && (high | kEvenBytes) == kAllBytes) {  // codes of two bytes from the next byte on
      from += 1;
      begun = 0;
    } else if (begun == 0 && (high & kEvenBytes) == kEvenBytes) {
      store(to, words_left<8>(first) | words_right<8>(first));
      from += kBlockBytes;
      to += kBlockBytes / 2;
    } else if ((high | begun) == 0) {
      store_widened(to, from);
      from += kBlockBytes;
      to += kBlockBytes;
    } else {
      const Bits leads = leads_among(high & ~begun);
      const ByteMask is_high = high_mask(first);
      to = store_units(to, choose(first, load(from + 1), is_high), choose(Block{}, first, is_high),
                       ~(leads << 1 | begun) & kAllBytes);
      from += kBlockBytes;
      begun = leads >> (kBlockBytes - 1);
    }
  }
  in = from + begun;
  out = to;
}

// Stores a block of codes. Here the first byte of a code is the lower half of its number, and the upper half
// is zero if there is no second one.
LEVEL_CODE inline uint8_t* store_codes(uint8_t* to, Block codes) {
  const WordMask is_one = equal_words(codes & words(0xFF00), Block{});
  if (any(is_one)) return store_one_or_two(to, codes, is_one);
  store(to, codes);
  return to + kBlockBytes;
}

// Takes everything, in whole blocks.
LEVEL_CODE void codes_to_bytes(const uint16_t*& in, const uint16_t* in_end, uint8_t*& out,
                               const uint8_t* out_end) {
  constexpr ptrdiff_t kUnits = kBlockBytes / 2;
  constexpr ptrdiff_t kOutMargin = kBlockBytes + kWordsPart;
  const uint16_t* from = in;
  uint8_t* to = out;
  for (; in_end - from >= kUnits && out_end - to >= kOutMargin; from += kUnits)
    to = store_codes(to, load(from));
  in = from;
  out = to;
}

// The same with the last two bytes of codes of four in `lasts`, and zeros there for the others.
LEVEL_CODE void wide_codes_to_bytes(const uint16_t* lasts, const uint16_t*& in, const uint16_t* in_end,
                                    uint8_t*& out, const uint8_t* out_end) {
  constexpr ptrdiff_t kUnits = kBlockBytes / 2;
  constexpr ptrdiff_t kOutMargin = 2 * kBlockBytes + kWordsPart;
  static_assert(kOutMargin <= kBytesBehind);
  const uint16_t* from = in;
  uint8_t* to = out;
  for (; in_end - from >= kUnits && out_end - to >= kOutMargin; from += kUnits, lasts += kUnits) {
    const Block fronts = load(from), ends = load(lasts);
    const WordMask is_short = equal_words(ends, Block{});
    if (none(ends, ends)) {
      to = store_codes(to, fronts);
    } else {
      to = store_one_to<4>(to, fronts, ends, equal_words(fronts & words(0xFF00), Block{}), is_short);
    }
  }
  in = from;
  out = to;
}

// Every other one of these bits, from the first one on.
inline Bits every_other(Bits of) {
  Bits parity = of;  // of the bits up to each place
  for (uint32_t distance = 1; distance != kBlockBytes; distance *= 2) parity ^= parity << distance;
  return of & parity;
}

// The codes of four bytes that begin at `from` and at every second byte after it: their linear numbers and
// kFoursBegin.
LEVEL_CODE inline Block four_codes(const uint8_t* from) {
  constexpr int kFirst = 0x81 * 10 + 0x30;
  const Block fronts = pair_sums(load(from), words(0x010A));
  const Block lasts = pair_sums(load(from + 2), words(0x010A));
  const Block last_numbers = word_sums(lasts, words((kFoursBegin - kFirst * 1260 - kFirst) & 0xFFFF));
  return word_sums(products(fronts, words(1260)), last_numbers);
}

// The bytes of a block at which codes of four bytes begin, and of those the ones that are whole in it.
struct Fours {
  Bits leads, thirds, digits;
  ptrdiff_t taken;  // bytes up to a code that the block only begins
};

inline Fours fours_among(Bits high) {
  const Bits leads = every_other(high);
  const Bits cut = leads & ~(kAllBytes >> 3);
  const Bits within = cut == 0 ? kAllBytes : (cut & -cut) - 1;
  const Bits whole = leads & within;
  return {whole, (high ^ leads) & within, whole << 1 | whole << 3,
          cut == 0 ? kBlockBytes : __builtin_ctzll(cut)};
}

// Whether these are codes with leads up to 0x84, and well-formed.
LEVEL_CODE inline bool are_fours(const Fours& fours, Block block) {
  const Bits no_digit = ~bits(at_least(block, bytes('0'))) | bits(at_least(block, bytes('9' + 1)));
  const Bits no_lead = bits(equal_bytes(block, bytes(0x80)) | at_least(block, bytes(0x85)));
  const Bits no_third = bits(equal_bytes(block, bytes(0x80)) | equal_bytes(block, bytes(0xFF)));
  return fours.thirds == fours.leads << 2 &&
         ((fours.digits & no_digit) | (fours.leads & no_lead) | (fours.thirds & no_third)) == 0;
}

// Takes ASCII, which stands for itself, and GB18030's well-formed codes of four bytes up to 8439FE39.
LEVEL_CODE void fours_to_codes(const uint8_t*& in, const uint8_t* in_end, uint16_t*& out,
                               const uint16_t* out_end) {
  constexpr ptrdiff_t kInMargin = kBlockBytes + 3;
  constexpr ptrdiff_t kOutMargin = kBlockBytes + kUnitsPart;
  constexpr Bits kEveryFourth = kAllBytes / 15;
  const uint8_t* from = in;
  uint16_t* to = out;
  while (in_end - from >= kInMargin && out_end - to >= kOutMargin) {
    const Block block = load(from);
    const Bits high = high_bits(block);
    if (high == 0) {
      store_widened(to, from);
      from += kBlockBytes;
      to += kBlockBytes;
      continue;
    }
    const Fours fours = fours_among(high);
    if (!are_fours(fours, block)) break;
    const Block even = four_codes(from);
    if (fours.leads == kEveryFourth) {
      store(to, even_words(even, even));
      from += kBlockBytes;
      to += kBlockBytes / 4;
      continue;
    }
    const Block odd = four_codes(from + 1);
    const Block low = (even & words(0x00FF)) | words_left<8>(odd);
    const Block upper = words_right<8>(even) | (odd & words(0xFF00));
    const ByteMask is_high = high_mask(block);
    to = store_units(to, choose(block, low, is_high), choose(Block{}, upper, is_high),
                     ~(fours.digits | fours.thirds) & (kAllBytes >> (kBlockBytes - fours.taken)));
    from += fours.taken;
  }
  in = from;
  out = to;
}
