// The loop under all converters: a reader turns input units into characters, a writer turns characters into
// output units. Each family brings its table side; unicode_text.h brings the UCS-2 and UTF-8 sides.
//
// A reader is a Side of its input's units with
//   longest()      units of its longest character
//   next<kWhole>   the character at `in`; when kWhole, longest() units are there and no end is looked at
//   pairs          with kPairUnits: the characters of two UTF-8 bytes at `in`, of 8 bytes
// A writer is a Side of its output's units with
//   put<kRoomy>    writes a character and returns the new end, or null if it does not fit; at least one unit
//                  is free, and kLongest are when kRoomy. `after` points behind the character's input.
//   unit           with kLongest 1: the unit of a character
//   put_pairs      with kPairUnits: writes all four characters of a word of lanes
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

#include "charset/runs.h"

enum ConverterResult : int { kConverted = 0, kOutputFull = 1, kInputCut = 2 };

struct Character {
  uint32_t value;
  uint32_t length;  // input units; 0: the input ends inside the character
};
constexpr Character kCut = {0, 0};
constexpr uint32_t kNothing = UINT32_MAX;

// What the loop knows of a reader or writer at compile time.
//   kUnits         units that a character has at most
//   kAsciiPasses   units below 0x80 stand for themselves
template <class UnitType, ptrdiff_t kUnits, bool kAsciiPasses>
struct Side {
  using Unit = UnitType;
  static constexpr ptrdiff_t kLongest = kUnits;
  static constexpr bool kAscii = kAsciiPasses;
  // Has a shift state that the codeset keeps: state(). A reader's shift units give no character but kNothing.
  static constexpr bool kShifts = false;
  // Has characters from U+10000 up.
  static constexpr bool kSupplementary = false;

  // Units of a character that UTF-8 writes in two bytes, where they are converted several at a time; else 0.
  static constexpr ptrdiff_t kPairUnits = 0;

  // Units behind a character that a roomy put may overwrite: so many have to follow, and room for them.
  static constexpr ptrdiff_t kBehind = 0;

  // All units below 0x100 stand for themselves.
  static constexpr bool latin1() { return false; }

  static constexpr ptrdiff_t longest() { return kLongest; }
};

// One character, which is surely whole and surely fits.
template <class Reader, class Writer>
inline void roomy_step(Reader& reader, Writer& writer, const typename Reader::Unit*& in,
                       typename Writer::Unit*& out) {
  const Character character = reader.template next<true>(in, nullptr);
  in += character.length;
  if (Reader::kShifts && character.value == kNothing) return;
  out = writer.template put<true>(out, nullptr, character.value, in);
}

// A run of characters that are one unit on both sides. One store takes the place of many: they would be what
// limits the speed.
template <class Reader, class Writer>
inline void transcode_run(Reader& reader, Writer& writer, const typename Reader::Unit*& in,
                          typename Writer::Unit*& out) {
  constexpr int kBits = 8 * sizeof(typename Writer::Unit);
  constexpr int kUnits = 64 / kBits;  // of a store
  for (int store = 0; store != kRun / kUnits; ++store) {
    uint64_t units = 0;
    for (int i = 0; i != kUnits; ++i) {
      const uint64_t unit = writer.unit(reader.template next<true>(in + i, nullptr).value);
      units |= unit << kBits * (std::endian::native == std::endian::little ? i : kUnits - 1 - i);
    }
    std::memcpy(out, &units, sizeof units);
    in += kUnits;
    out += kUnits;
  }
}

// A run of ASCII towards a table that has its own idea of it, or as it is.
template <class Writer, class In>
inline void put_ascii_run(const Writer& writer, const In* in, typename Writer::Unit* out) {
  if constexpr (Writer::kAscii) {
    copy_run(in, out);
  } else {
    for (int i = 0; i != kRun; ++i) out[i] = writer.unit(in[i]);
  }
}

// The characters of two UTF-8 bytes at the front, four at a time while it lasts. False if there is none.
template <class Reader, class Writer>
inline bool transcode_pairs(const Writer& writer, const typename Reader::Unit*& in,
                            const typename Reader::Unit* in_stop, typename Writer::Unit*& out,
                            const typename Writer::Unit* out_stop) {
  Pairs pairs = Reader::pairs(in);
  if (pairs.count == 0) return false;
  for (; pairs.count == Pairs::kMost && in <= in_stop && out <= out_stop; pairs = Reader::pairs(in)) {
    writer.put_pairs(out, pairs.units);
    in += Pairs::kMost * Reader::kPairUnits;
    out += Pairs::kMost * Writer::kPairUnits;
  }
  writer.put_pairs(out, pairs.units);
  in += pairs.count * Reader::kPairUnits;
  out += pairs.count * Writer::kPairUnits;
  return true;
}

// Whether ASCII can be converted in runs, where steps of several units would lose time with it.
template <class Reader, class Writer>
constexpr bool kHasWords = Reader::kLongest != 1 && Reader::kAscii &&
                           (Writer::kAscii || Writer::kLongest == 1);

// A text that holds runs of ASCII, word by word, until either end is too near. Whole runs and words of lanes
// are stored even where only their front is wanted, which costs less than a wrong guess at its length; the
// margins see to it that what comes then takes the rest's place, so that nothing is left behind the text.
template <class Reader, class Writer>
inline void transcode_words(Reader& reader, Writer& writer, const typename Reader::Unit*& in,
                            const typename Reader::Unit* in_end, typename Writer::Unit*& out,
                            const typename Writer::Unit* out_end) {
  constexpr bool kPairs = Reader::kPairUnits != 0 && Writer::kPairUnits != 0;
  // A run, and behind it enough for as many units again, with a cut character at the end.
  const ptrdiff_t in_margin = kRun + (kRun + 1) * reader.longest();
  constexpr ptrdiff_t kOutMargin = 2 * kRun + Writer::kLongest;
  if (in_end - in < in_margin || out_end - out < kOutMargin) return;
  const auto* const in_stop = in_end - in_margin;
  const auto* const out_stop = out_end - kOutMargin;
  while (in <= in_stop && out <= out_stop) {
    const ptrdiff_t ascii = leading_ascii(in);
    put_ascii_run(writer, in, out);
    in += ascii;
    out += ascii;
    if (ascii == kRun) {
      if constexpr (Writer::kAscii) copy_runs(kNonAscii<typename Reader::Unit>, in, in_end, out, out_end);
      continue;
    }
    if constexpr (kPairs) {
      if (transcode_pairs<Reader>(writer, in, in_stop, out, out_stop)) continue;
    }
    do {
      roomy_step(reader, writer, in, out);
    } while (*in >= 0x80 && in <= in_stop && out <= out_stop);
  }
}

// Characters that surely are whole and fit, as long as any does.
template <class Reader, class Writer>
inline void transcode_blocks(Reader& reader, Writer& writer, const typename Reader::Unit*& in,
                             const typename Reader::Unit* in_end, typename Writer::Unit*& out,
                             const typename Writer::Unit* out_end) {
  constexpr bool kFixedWidth = Reader::kLongest == 1;
  constexpr bool kRuns = Reader::kAscii && Writer::kAscii;
  const auto others = static_cast<typename Reader::Unit>(reader.latin1() && writer.latin1() ? ~0xFF : ~0x7F);
  for (;;) {
    if constexpr (kRuns) copy_runs(others, in, in_end, out, out_end);
    ptrdiff_t steps = std::min((in_end - in - Writer::kBehind) / reader.longest(),
                               (out_end - out - Writer::kBehind) / Writer::kLongest);
    if (steps <= 0) return;
    if (kRuns && kFixedWidth) steps = std::min(steps, 4 * kRun);  // before the next look out for ASCII
    if constexpr (!kHasWords<Reader, Writer>) {
      for (; steps >= kRun; steps -= kRun) {
        if constexpr (kFixedWidth && Writer::kLongest == 1) {
          transcode_run(reader, writer, in, out);
        } else {
          for (int i = 0; i != kRun; ++i) roomy_step(reader, writer, in, out);
        }
      }
    }
    for (; steps != 0; --steps) roomy_step(reader, writer, in, out);
  }
}

// The last characters before either end.
template <class Reader, class Writer>
int transcode_end(Reader& reader, Writer& writer, const typename Reader::Unit*& in,
                  const typename Reader::Unit* in_end, typename Writer::Unit*& out,
                  typename Writer::Unit* out_end) {
  while (in != in_end) {
    if (out == out_end) return kOutputFull;
    const Character character = reader.template next<false>(in, in_end);
    if (character.length == 0) return kInputCut;
    if (!Reader::kShifts || character.value != kNothing) {
      auto* const end = writer.template put<false>(out, out_end, character.value, in + character.length);
      if (end == nullptr) return kOutputFull;
      out = end;
    }
    in += character.length;
  }
  return kConverted;
}

template <class Reader, class Writer>
int transcode(Reader& reader, Writer& writer, const typename Reader::Unit*& in,
              const typename Reader::Unit* in_end, typename Writer::Unit*& out,
              typename Writer::Unit* out_end) {
  if (in >= in_end) return kConverted;
  if (out >= out_end) return kOutputFull;
  // Most of the text where no result code has to be decided.
  if constexpr (kHasWords<Reader, Writer>) transcode_words(reader, writer, in, in_end, out, out_end);
  transcode_blocks(reader, writer, in, in_end, out, out_end);
  return transcode_end(reader, writer, in, in_end, out, out_end);
}

// transcode() between the public pointers, where bytes are char.
template <class Reader, class Writer, class InChar, class OutChar>
int transcode_text(Reader& reader, Writer& writer, const InChar** in, const InChar* in_end, OutChar** out,
                   OutChar* out_end) {
  using InUnit = typename Reader::Unit;
  using OutUnit = typename Writer::Unit;
  static_assert(sizeof(InChar) == sizeof(InUnit) && sizeof(OutChar) == sizeof(OutUnit));
  auto* from = reinterpret_cast<const InUnit*>(*in);
  auto* to = reinterpret_cast<OutUnit*>(*out);
  const int result = transcode(reader, writer, from, reinterpret_cast<const InUnit*>(in_end), to,
                               reinterpret_cast<OutUnit*>(out_end));
  *in = reinterpret_cast<const InChar*>(from);
  *out = reinterpret_cast<OutChar*>(to);
  return result;
}
