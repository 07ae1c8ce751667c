// What the two single-byte families share. Their rules may look into two tables for one character: ASCII or
// the invariant set bypasses the codeset's own. So all answers are worked out once, when the table is loaded.
// A conversion is then one load and one store a character, and reads nothing that a table file could make
// hostile.
#pragma once

#include <array>
#include <bit>
#include <cstring>

#include "charset/codeset.h"
#include "charset/unicode_text.h"

struct xcs_single_rows {
  // The UTF-8 sequence of a character. The last byte is the sequence's length.
  using Sequence = std::array<uint8_t, 4>;

  bool latin1;               // each byte is its own UCS-2 value, and the other way round
  uint16_t to_unicode[256];  // "?" where unmapped; in the mixed EBCDIC family the bytes of single-byte mode
  // The mixed family does not use the rest.
  Sequence to_utf8[256];
  uint8_t from_unicode[0x10000];
};

namespace mar::charset {

// True for the kinds that have rows.
bool has_single_rows(uint16_t kind);

// Fills the rows of a codeset that has them, reading its image with checks.
void prepare_single_rows(const xcs_cs_t& codeset, xcs_single_rows& rows);

// Readers and writers of a single-byte family: ASCII bypasses the table, or the EBCDIC invariant set does.
template <bool kAsciiBased>
struct SingleByte {
  class Reader : public ConverterSide<uint8_t, 1, kAsciiBased> {
   public:
    explicit Reader(const xcs_cs_t& codeset)
        : row_(codeset.rows->to_unicode), latin1_(codeset.rows->latin1) {}

    bool latin1() const { return latin1_; }

    template <bool kWhole>
    Character next(const uint8_t* in, const uint8_t*) const {
      return {row_[*in], 1};
    }

   private:
    const uint16_t* row_;
    bool latin1_;
  };

  // Looks up UTF-8 sequences instead of characters, for SequenceWriter.
  class SequenceReader : public ConverterSide<uint8_t, 1, kAsciiBased> {
   public:
    explicit SequenceReader(const xcs_cs_t& codeset)
        : row_(codeset.rows->to_utf8), latin1_(codeset.rows->latin1) {}

    bool latin1() const { return latin1_; }

    template <bool kWhole>
    Character next(const uint8_t* in, const uint8_t*) const {
      return {std::bit_cast<uint32_t>(row_[*in]), 1};
    }

   private:
    const xcs_single_rows::Sequence* row_;
    bool latin1_;
  };

  class Writer : public ConverterSide<uint8_t, 1, kAsciiBased> {
   public:
    explicit Writer(const xcs_cs_t& codeset)
        : row_(codeset.rows->from_unicode), latin1_(codeset.rows->latin1) {}

    bool latin1() const { return latin1_; }

    static constexpr ptrdiff_t kPairUnits = 1;
    void put_pairs(uint8_t* out, uint64_t units) const {
      for (int lane = 0; lane != Pairs::kMost; ++lane) out[lane] = unit(units >> 16 * lane & 0xFFFF);
    }

    uint8_t unit(uint64_t value) const { return row_[value]; }

    template <bool kRoomy>
    uint8_t* put(uint8_t* out, const uint8_t*, uint32_t value, const void*) const {
      *out = unit(value);
      return out + 1;
    }

   private:
    const uint8_t* row_;
    bool latin1_;
  };
};

// Stores all four bytes of a sequence where it may, and counts those in use. So its longest character is one
// store.
struct SequenceWriter : ConverterSide<uint8_t, sizeof(xcs_single_rows::Sequence), true> {
  static constexpr ptrdiff_t kSlack = 3;

  template <bool kRoomy>
  static uint8_t* put(uint8_t* out, const uint8_t* end, uint32_t value, const void*) {
    const auto sequence = std::bit_cast<xcs_single_rows::Sequence>(value);
    const uint8_t length = sequence[3];
    if (!kRoomy && end - out < length) return nullptr;
    std::memcpy(out, &sequence, kRoomy ? sizeof sequence : length);
    return out + length;
  }
};

inline auto row_kernel(const VectorKernels& kernels, const uint16_t*) { return kernels.row_to_ucs2; }
inline auto row_kernel(const VectorKernels& kernels, const uint8_t*) { return kernels.row_to_utf8; }

// Converts what the kernel for rows takes of a text in a codeset based on ASCII. Where each byte is its own
// UCS-2 value, there are better ones.
template <class OutChar>
void convert_by_row(const xcs_cs_t& codeset, const char** in, const char* in_end, OutChar** out,
                    OutChar* out_end) {
  using Out = std::conditional_t<sizeof(OutChar) == 1, uint8_t, uint16_t>;
  auto* to = reinterpret_cast<Out*>(*out);
  const VectorKernels& kernels = vectors();
  const auto kernel = row_kernel(kernels, to);
  if (kernel == nullptr || codeset.rows->latin1) return;
  if (in_end - *in < kernels.margin || *out >= out_end) return;
  auto* from = reinterpret_cast<const uint8_t*>(*in);
  kernel(codeset.rows->to_unicode, from, reinterpret_cast<const uint8_t*>(in_end), to,
         reinterpret_cast<const Out*>(out_end));
  *in = reinterpret_cast<const char*>(from);
  *out = reinterpret_cast<OutChar*>(to);
}

inline auto kernel_of(const VectorKernels& kernels, const SingleByte<true>::Reader& reader,
                      const Ucs2Writer<false>&) {
  return reader.latin1() ? kernels.latin1_to_ucs2 : nullptr;
}
inline auto kernel_of(const VectorKernels& kernels, const Ucs2Reader<false>&,
                      const SingleByte<true>::Writer& writer) {
  return writer.latin1() ? kernels.ucs2_to_latin1 : nullptr;
}
inline auto kernel_of(const VectorKernels& kernels, const SingleByte<true>::SequenceReader& reader,
                      const SequenceWriter&) {
  return reader.latin1() ? kernels.latin1_to_utf8 : nullptr;
}
inline auto kernel_of(const VectorKernels& kernels, const Utf8Reader<false>&,
                      const SingleByte<true>::Writer& writer) {
  return writer.latin1() ? kernels.utf8_to_latin1 : nullptr;
}

}  // namespace mar::charset
