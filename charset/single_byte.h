// What the two single-byte families share. Their rules may look into two tables for one character: ASCII or
// the invariant set bypasses the codeset's own. So all answers are worked out once, when the table is loaded.
// A conversion is then one load and one store a character, and reads nothing that a table file could make
// hostile.
#pragma once

#include <bit>
#include <cstring>

#include "charset/codeset.h"
#include "charset/single_rows.h"
#include "charset/unicode_text.h"

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

// Converts text from or into a codeset based on ASCII by a kernel, as transcode_by_kernel() does. Where each
// byte is its own UCS-2 value, there are better kernels. A function of its own: at most levels there is no
// kernel, and the loop then compiles as if there were none.
template <class Reader, class Writer, class InChar, class OutChar>
[[gnu::noinline]] void convert_by_row(RowKernel<typename Reader::Unit, typename Writer::Unit> kernel,
                                      const xcs_cs_t& codeset, Reader reader, Writer writer,
                                      const InChar** in, const InChar* in_end, OutChar** out,
                                      OutChar* out_end) {
  using In = typename Reader::Unit;
  using Out = typename Writer::Unit;
  const ptrdiff_t margin = vectors().margin;
  if (codeset.rows->latin1 || is_reset(in) || in_end - *in < margin || *out >= out_end) return;
  const auto with_rows = [&](const In*& from, const In* end, Out*& to, Out* to_end) {
    kernel(*codeset.rows, from, end, to, to_end);
  };
  auto* from = reinterpret_cast<const In*>(*in);
  auto* to = reinterpret_cast<Out*>(*out);
  transcode_by_kernel(with_rows, margin, reader, writer, from, reinterpret_cast<const In*>(in_end), to,
                      reinterpret_cast<Out*>(out_end));
  *in = reinterpret_cast<const InChar*>(from);
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
