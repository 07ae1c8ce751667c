// The part of avx512.cc, which includes this, from single-byte codesets based on ASCII: their units lie in
// registers.

// The units of a codeset's bytes from 0x80 up, 64 a block: their low and their high bytes.
struct Row {
  Block low[2], high[2];
};

LEVEL_CODE inline Block narrowed(Block first, Block second) {
  return _mm512_inserti64x4(_mm512_castsi256_si512(_mm512_cvtepi16_epi8(first)), _mm512_cvtepi16_epi8(second),
                            1);
}

LEVEL_CODE inline Row loaded(const uint16_t* row) {
  Row table;
  for (ptrdiff_t i = 0; i != 2; ++i) {
    const Block first = load(row + 128 + 64 * i), second = load(row + 128 + 64 * i + 32);
    table.low[i] = narrowed(first, second);
    table.high[i] = narrowed(words_right<8>(first), words_right<8>(second));
  }
  return table;
}

// The low and high bytes of the units of a block. The lower seven bits of a byte choose; ASCII stays.
LEVEL_CODE inline Units units_of(const Row& row, Block block) {
  const ByteMask is_upper = high_mask(block);
  return {_mm512_mask2_permutex2var_epi8(row.low[0], block, is_upper, row.low[1]),
          _mm512_maskz_permutex2var_epi8(is_upper, row.high[0], block, row.high[1])};
}

LEVEL_CODE void row_to_ucs2(const uint16_t* row, const uint8_t*& in, const uint8_t* in_end, uint16_t*& out,
                            const uint16_t* out_end) {
  const Row table = loaded(row);
  const uint8_t* const stop = in + part_size(in_end - in, out_end - out);
  constexpr ptrdiff_t kUnits = kBlockBytes / 2;
  for (; stop - in >= kBlockBytes; in += kBlockBytes, out += kBlockBytes) {
    const Units units = units_of(table, load(in));
    const Halves halves = halves_of_units(units.low, units.high, 0);
    store(out, halves.first);
    store(out + kUnits, halves.second);
  }
  const ptrdiff_t size = stop - in, first = part_size(size, kUnits);
  const Units units = units_of(table, load_front(in, size));
  const Halves halves = halves_of_units(units.low, units.high, 0);
  store_front(out, halves.first, first);
  store_front(out + first, halves.second, size - first);
  in += size;
  out += size;
}

// The units of the first half of a block.
LEVEL_CODE inline Block first_units_of(const Row& row, Block block) {
  const Units units = units_of(row, block);
  const Block high = _mm512_cvtepu8_epi16(_mm512_castsi512_si256(units.high));
  return words_left<8>(high) | _mm512_cvtepu8_epi16(_mm512_castsi512_si256(units.low));
}

LEVEL_CODE void row_to_utf8(const uint16_t* row, const uint8_t*& in, const uint8_t* in_end, uint8_t*& out,
                            const uint8_t* out_end) {
  const Row table = loaded(row);
  constexpr ptrdiff_t kUnits = kBlockBytes / 2;
  constexpr ptrdiff_t kSurplus = kWordsPart - kWordsPart / 4;  // bytes past the result
  constexpr ptrdiff_t kInMargin = kBlockBytes + kSurplus + 1;
  constexpr ptrdiff_t kOutMargin = 3 * kUnits + kSurplus + 3;
  while (in_end - in >= kInMargin && out_end - out >= kOutMargin) {
    const Block block = load(in);
    if (high_bits(block) == 0) {
      store(out, block);
      in += kBlockBytes;
      out += kBlockBytes;
    } else {
      const Sequences sequences = sequences_of(first_units_of(table, block));
      in += kUnits;
      out = store_one_to_three(out, sequences.fronts, sequences.lasts, sequences.is_one, sequences.is_short);
    }
  }
  while (in < in_end) {
    const ptrdiff_t size = part_size(in_end - in, kUnits);
    if (!store_utf8_part(first_units_of(table, load_front(in, size)), size, out, out_end)) return;
    in += size;
  }
}
