// The part of kernels.h, which includes this, for codesets in which every byte is its own UCS-2 value.

// Takes everything.
LEVEL_CODE void latin1_to_ucs2(const uint8_t*& in, const uint8_t* in_end, uint16_t*& out,
                               const uint16_t* out_end) {
  for (; in_end - in >= kBlockBytes && out_end - out >= kBlockBytes; in += kBlockBytes, out += kBlockBytes)
    store_widened(out, in);
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
  constexpr ptrdiff_t kSurplus = kWordsPart / 2;  // bytes past the result
  constexpr ptrdiff_t kInMargin = kBlockBytes + kSurplus;
  constexpr ptrdiff_t kOutMargin = 2 * kBlockBytes + kSurplus + 3;
  static_assert(kInMargin <= kMostMargin);
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

// The units below 0x100 of the characters that start at each byte. `second` is the block one byte further on.
LEVEL_CODE inline Block latin1_units(Block first, Block second) {
  const Block two = (words_left<6>(first) & bytes(0xC0)) | (second & bytes(0x3F));
  return choose(first, two, high_mask(first));
}

// Takes ASCII and well-formed sequences of two bytes whose value is below 0x100.
LEVEL_CODE void utf8_to_latin1(const uint8_t*& in, const uint8_t* in_end, uint8_t*& out,
                               const uint8_t* out_end) {
  constexpr ptrdiff_t kSurplus = kBytesPart / 2 + 1;  // bytes past the result: one may be given back
  constexpr ptrdiff_t kInMargin = kBlockBytes + (kSurplus + 1) * 3;
  constexpr ptrdiff_t kOutMargin = kBlockBytes + kSurplus + 1;
  static_assert(kInMargin <= kMostMargin);
  if (in_end - in < kInMargin || out_end - out < kOutMargin) return;
  const uint8_t* const in_stop = in_end - kInMargin;
  const uint8_t* const out_stop = out_end - kOutMargin;
  const uint8_t* from = in;
  uint8_t* to = out;
  Bits asked = 0;
  for (; from <= in_stop && to <= out_stop; from += kBlockBytes) {
    const Block block = load(from);
    const Bits high = high_bits(block);
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
    const Bits leads = high & high_bits(words_left<1>(block));
    const Bits following = high & ~leads;
    if (any(at_least(block, bytes(0xC4))) || ((asked | leads << 1) & kAllBytes) != following) break;
    asked = leads >> (kBlockBytes - 1);
    to = store_bytes(to, latin1_units(block, load(from + 1)), ~following & kAllBytes);
  }
  in = from - (asked != 0);
  out = to - (asked != 0);
}
