// What the two single-byte families share. Their rules look into two tables for some characters (ASCII or the
// invariant set bypasses the codeset's own), so the answers for the 256 bytes and for U+0000 to U+00FF are
// worked out once, when the table is loaded.
#pragma once

#include "charset/ebcdic_1047.h"
#include "charset/table.h"
#include "charset/transcode.h"

struct xcs_single_rows {
  uint16_t to_unicode[256];   // "?" where unmapped; in the mixed EBCDIC family the bytes of single-byte mode
  uint8_t from_unicode[256];  // by U+0000 to U+00FF; not used by the mixed family
};

// Fills the rows for the single-byte families and the mixed EBCDIC family, reading with checks; false, and
// nothing done, for other kinds.
bool prepare_single_rows(const xcs_cs_t& codeset, xcs_single_rows& rows);

// A character through the from-UCS-2 pages. What comes out as the substitution byte stands for its one
// legitimate source only; from any other character, and from outside the image, it is `question_mark`.
template <bool kVerified>
class PagedBytes {
 public:
  PagedBytes(const xcs_cs_t& codeset, uint8_t question_mark)
      : view_(codeset),
        substitute_(view_.substitute_byte()),
        source_(view_.substitute_source() == kUnmapped ? kNothing : view_.substitute_source()),
        question_mark_(question_mark) {}

  uint8_t operator()(uint32_t unit) const {
    const uint64_t offset = view_.page(unit) + (unit & 0xFF);
    if (!view_.holds(offset, 1)) return question_mark_;
    const uint8_t byte = *view_.at(offset);
    return byte == substitute_ && unit != source_ ? question_mark_ : byte;
  }

  // The same, with U+0000 to U+00FF by the prepared `row`. Texts mix both, so the choice is not left to a
  // branch where every page is known to be there.
  uint8_t through_row(const uint8_t* row, uint32_t unit) const {
    if constexpr (!kVerified) return unit < 0x100 ? row[unit] : (*this)(unit);
    const uint8_t* const page = view_.at(view_.page(unit));
    const uint8_t byte = (unit < 0x100 ? row : page)[unit & 0xFF];
    return byte == substitute_ && unit != source_ && unit >= 0x100 ? question_mark_ : byte;
  }

 private:
  TableView<kVerified> view_;
  uint8_t substitute_;
  uint32_t source_;  // kNothing when no character is: U+FFFF cannot be one
  uint8_t question_mark_;
};

// Reader and writer of a single-byte family: ASCII bypasses the table, or the EBCDIC invariant set does.
template <bool kAsciiBased>
struct SingleByte {
  // Reads the prepared row only, so that there is nothing to check.
  class Reader : public Side<uint8_t, 1, kAsciiBased> {
   public:
    explicit Reader(const xcs_cs_t& codeset) : row_(codeset.rows->to_unicode) {}

    template <bool kWhole>
    Character next(const uint8_t* in, const uint8_t*) const {
      return {row_[*in], 1};
    }

   private:
    const uint16_t* row_;
  };

  template <bool kVerified>
  class Writer : public Side<uint8_t, 1, kAsciiBased> {
   public:
    explicit Writer(const xcs_cs_t& codeset)
        : row_(codeset.rows->from_unicode), paged_(codeset, kAsciiBased ? '?' : kEbcdicQuestionMark) {}

    template <bool kRoomy>
    uint8_t* put(uint8_t* out, const uint8_t*, uint32_t value, const void*) const {
      *out = paged_.through_row(row_, value);
      return out + 1;
    }

   private:
    const uint8_t* row_;
    PagedBytes<kVerified> paged_;
  };
};
