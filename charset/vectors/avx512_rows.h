// The part of avx512.cc, which includes this, for single-byte codesets based on ASCII: the units of their
// bytes lie in registers, and so do the bytes of their units.

// The low bytes of two blocks of words whose high bytes are zero.
LEVEL_CODE inline Block packed(Block first, Block second) {
  return _mm512_permutexvar_epi64(_mm512_setr_epi64(0, 2, 4, 6, 1, 3, 5, 7),
                                  _mm512_packus_epi16(first, second));
}

// The low and high bytes of two blocks of units.
LEVEL_CODE inline Units split(Block first, Block second) {
  return {packed(first & words(0xFF), second & words(0xFF)),
          packed(words_right<8>(first), words_right<8>(second))};
}

// The units of a codeset's bytes from 0x80 up, 64 a block.
struct Row {
  Units units[2];
};

LEVEL_CODE inline Row loaded(const uint16_t* row) {
  return {split(load(row + 128), load(row + 160)), split(load(row + 192), load(row + 224))};
}

// The low and high bytes of the units of a block. The lower seven bits of a byte choose; ASCII stays.
LEVEL_CODE inline Units units_of(const Row& row, Block block) {
  const ByteMask is_upper = high_mask(block);
  return {_mm512_mask2_permutex2var_epi8(row.units[0].low, block, is_upper, row.units[1].low),
          _mm512_maskz_permutex2var_epi8(is_upper, row.units[0].high, block, row.units[1].high)};
}

LEVEL_CODE void row_to_ucs2(const xcs_single_rows& rows, const uint8_t*& in, const uint8_t* in_end,
                            uint16_t*& out, const uint16_t* out_end) {
  const Row table = loaded(rows.to_unicode);
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

LEVEL_CODE void row_to_utf8(const xcs_single_rows& rows, const uint8_t*& in, const uint8_t* in_end,
                            uint8_t*& out, const uint8_t* out_end) {
  const Row table = loaded(rows.to_unicode);
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
      out = store_one_to<3>(out, sequences.fronts, sequences.lasts, sequences.is_one, sequences.is_short);
    }
  }
  while (in < in_end) {
    const ptrdiff_t size = part_size(in_end - in, kUnits);
    if (!store_utf8_part(first_units_of(table, load_front(in, size)), size, out, out_end)) return;
    in += size;
  }
}

constexpr ptrdiff_t kMostOthers = 16;  // units of a block that are looked up one by one

// The way from a codeset's units to their bytes.
struct Slots {
  Block shifts, bytes[4];
  Row row;
};

LEVEL_CODE inline Slots slots_of(const xcs_single_rows& rows) {
  Slots slots;
  slots.shifts = load(rows.class_shift);
  for (ptrdiff_t i = 0; i != 4; ++i) slots.bytes[i] = load(rows.slot_byte + kBlockBytes * i);
  slots.row = loaded(rows.to_unicode);
  return slots;
}

LEVEL_CODE inline Block find_bytes(const Slots& slots, const Units& units) {
  // A class is six bits; the permutation takes no notice of the two above them.
  const Block from_6 = (words_left<2>(units.high) & bytes(0xFC)) | (words_right<6>(units.low) & bytes(0x03));
  const Block slot = sums(units.low, _mm512_permutexvar_epi8(from_6 ^ units.high, slots.shifts));
  const Block found = choose(_mm512_permutex2var_epi8(slots.bytes[0], slot, slots.bytes[1]),
                             _mm512_permutex2var_epi8(slots.bytes[2], slot, slots.bytes[3]), high_mask(slot));
  const ByteMask is_ascii = equal_bytes(units.high, Block{}) & ~high_mask(units.low);
  return choose(found, units.low, is_ascii);
}

// Stores the bytes of those units that have a bit, and nothing past them. What is not in its slot is looked
// up in the table of all units. False, with nothing stored, if that is so much that the loop does better.
LEVEL_CODE inline bool store_bytes_of(const Units& units, Bits starts, const xcs_single_rows& rows,
                                      const Slots& slots, uint8_t* to) {
  const Block found = find_bytes(slots, units);
  const Units back = units_of(slots.row, found);
  Bits others = starts & ~(equal_bytes(back.low, units.low) & equal_bytes(back.high, units.high));
  if (ones(others) > kMostOthers) return false;
  store_front(to, kept_bytes(found, starts), ones(starts));
  if (others == 0) return true;
  uint8_t low[kBlockBytes], high[kBlockBytes];
  store(low, units.low);
  store(high, units.high);
  for (; others != 0; others &= others - 1) {
    const ptrdiff_t at = __builtin_ctzll(others);
    to[ones(starts & front(at))] = rows.from_unicode[high[at] << 8 | low[at]];
  }
  return true;
}

LEVEL_CODE void ucs2_to_row(const xcs_single_rows& rows, const uint16_t*& in, const uint16_t* in_end,
                            uint8_t*& out, const uint8_t* out_end) {
  const Slots slots = slots_of(rows);
  constexpr ptrdiff_t kUnits = kBlockBytes / 2;
  const uint16_t* const stop = in + part_size(in_end - in, out_end - out);
  while (in != stop) {
    const ptrdiff_t size = part_size(stop - in, kBlockBytes), in_first = part_size(size, kUnits);
    const Block first = load_front(in, 2 * in_first),
                second = load_front(in + in_first, 2 * (size - in_first));
    const Units units = split(first, second);
    if (none(first | second, words(0xFF80))) {
      store_front(out, units.low, size);
    } else if (!store_bytes_of(units, front(size), rows, slots, out)) {
      return;
    }
    in += size;
    out += size;
  }
}

// Takes well-formed sequences of one to three bytes.
LEVEL_CODE void utf8_to_row(const xcs_single_rows& rows, const uint8_t*& in, const uint8_t* in_end,
                            uint8_t*& out, const uint8_t* out_end) {
  const Slots slots = slots_of(rows);
  for (;;) {
    const Utf8Part part = utf8_part(in, in_end);
    const Bits starts = ~part.shape.following & front(part.size);
    if (part.size == 0 || part.shape.leads4 != 0 || ones(starts) > out_end - out) return;
    if (high_bits(part.block) == 0) {
      store_front(out, part.block, part.size);
    } else {
      const Block second = load_after(1, in, part.size), third = load_after(2, in, part.size);
      if (!store_bytes_of(units_of(part.block, second, third), starts, rows, slots, out)) return;
    }
    in += part.size;
    out += ones(starts);
  }
}
