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
//   none                 whether the blocks have no set bit in common
//   ones                 how many bits are set
//   sums, word_sums      adds each byte, or each word, to the other block's
//   products             the lower halves of the products of words
//   even_words           the lower word of each two, of two blocks
//   moved_up             each byte at the next place, the first one zero
//   widened              the bytes at an address as words
//   store_narrowed       a byte for each unit of a block, all below 0x100
//   store_units          of the units with these low and high bytes those with a bit; returns their end
//   store_bytes          the same of bytes
//   store_one_or_two     of each word one byte where the mask says so, else two; returns their end
//   store_one_to<kMost>  of a word and the word of `lasts` together one byte where is_one says so, else two
//                        where is_short does, else kMost, which is 3 or 4; returns their end
//   store_threes         kThrees characters of three bytes; false if there are fewer, with nothing stored
// Those that keep a part store more than they keep. They take the block in parts of so many of its units or
// bytes, and each part's store ends where its part would if all of it were kept:
//   kUnitsPart           units of a part for store_units
//   kBytesPart           bytes of a part for store_bytes
//   kWordsPart           bytes of a part for store_one_or_two and store_one_to
// And two of the level itself:
//   kMostMargin          units of a text of which at least one block is taken
//   kMasksEnds           the level has kernels of its own for the ends, which load and store by masks
//
// Every function that touches a Block has the attribute. None uses a lambda or a function of the standard
// library: those would not have it, and such a function could be used by the rest of the program, too.

// Stores the bytes of a block as words.
LEVEL_CODE inline void store_widened(uint16_t* to, const uint8_t* from) {
  store(to, widened(from));
  store(to + kBlockBytes / 2, widened(from + kBlockBytes / 2));
}

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

// latin1_kernels.h needs from_ucs2_kernels.h.
#include "charset/vectors/code_kernels.h"
#include "charset/vectors/from_ucs2_kernels.h"
#include "charset/vectors/from_utf8_kernels.h"
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
                                                          bytes_to_codes,
                                                          codes_to_bytes,
                                                          fours_to_codes,
                                                          wide_codes_to_bytes,
                                                          nullptr,
                                                          nullptr,
                                                          nullptr,
                                                          nullptr};
