// The loop under all converters. A reader turns input units into characters and a writer turns characters
// into output units. Each codeset family brings its table side, and unicode_text.h brings the UCS-2 and UTF-8
// sides. docs/converters.md draws the loop and its margins.
//
// A reader is a ConverterSide of its input's units with
//   longest()      units of its longest character
//   next<kWhole>   the character at `in`; when kWhole, longest() units are there and `end` is not looked at
//   pairs          with kPairUnits: the characters of two UTF-8 bytes in the 8 bytes at `in`
// A writer is a ConverterSide of its output's units with
//   put<kRoomy>    writes a character and returns the new end of the output, or null if there is no room.
//                  At least one unit is free; when kRoomy, kLongest are. `after` points past the input of the
//                  character.
//   unit           with kLongest 1: the unit of a character
//   put_pairs      with kPairUnits: writes all four characters of a word of lanes
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <iterator>
#include <type_traits>
#include <utility>

#include "charset/convert.h"
#include "charset/runs.h"
#include "charset/vectors.h"

namespace mar::charset {

struct Character {
  uint32_t value;
  uint32_t length;  // input units; 0: the input ends inside the character
};
constexpr Character kCutCharacter = {0, 0};
constexpr uint32_t kNoCharacter = UINT32_MAX;

// What the loop knows of a reader or a writer at compile time.
//   kUnits         units of its longest character
//   kAsciiPasses   units below 0x80 stand for themselves
template <class UnitType, ptrdiff_t kUnits, bool kAsciiPasses>
struct ConverterSide {
  using Unit = UnitType;
  static constexpr ptrdiff_t kLongest = kUnits;
  static constexpr bool kAscii = kAsciiPasses;

  // Has a shift state, state(), which the codeset keeps. A reader's shift units are characters of value
  // kNoCharacter.
  static constexpr bool kShifts = false;

  // Has characters from U+10000 up.
  static constexpr bool kSupplementary = false;

  // Units of a character that UTF-8 writes in two bytes, where several are converted at a time; else 0.
  static constexpr ptrdiff_t kPairUnits = 0;

  // A roomy put may overwrite units past its character, if as many whole characters follow and as many units
  // have room.
  static constexpr ptrdiff_t kSlack = 0;

  // All units below 0x100 stand for themselves.
  static constexpr bool latin1() { return false; }

  static constexpr ptrdiff_t longest() { return kLongest; }
};

// Converts one character that is known to be whole and to fit.
template <class Reader, class Writer>
inline void roomy_step(Reader& reader, Writer& writer, const typename Reader::Unit*& in,
                       typename Writer::Unit*& out) {
  const Character character = reader.template next<true>(in, nullptr);
  in += character.length;
  if (Reader::kShifts && character.value == kNoCharacter) return;
  out = writer.template put<true>(out, nullptr, character.value, in);
}

// Converts a run of characters that are one unit on both sides. The units are collected in a register and
// stored together: with one store a character, the stores would limit the speed, not the table look-ups.
template <class Reader, class Writer>
inline void transcode_run(Reader& reader, Writer& writer, const typename Reader::Unit*& in,
                          typename Writer::Unit*& out) {
  constexpr int kUnitBits = 8 * sizeof(typename Writer::Unit);
  constexpr int kUnitsPerStore = 64 / kUnitBits;
  for (int store = 0; store != kRun / kUnitsPerStore; ++store) {
    uint64_t units = 0;
    for (int i = 0; i != kUnitsPerStore; ++i) {
      const uint64_t unit = writer.unit(reader.template next<true>(in + i, nullptr).value);
      units |= unit << kUnitBits * (std::endian::native == std::endian::little ? i : kUnitsPerStore - 1 - i);
    }
    std::memcpy(out, &units, sizeof units);
    in += kUnitsPerStore;
    out += kUnitsPerStore;
  }
}

// Writes a run of ASCII, as it is or as the writer's table has it.
template <class Writer, class In>
inline void put_ascii_run(const Writer& writer, const In* in, typename Writer::Unit* out) {
  if constexpr (Writer::kAscii) {
    copy_run(in, out);
  } else {
    for (int i = 0; i != kRun; ++i) out[i] = writer.unit(in[i]);
  }
}

// Converts the characters of two UTF-8 bytes at the front, four at a time while there are four. Returns false
// if there is none.
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
  // Fewer than four, or the stop: all four are stored and the output moves past those that count. The next
  // store replaces the rest.
  writer.put_pairs(out, pairs.units);
  in += pairs.count * Reader::kPairUnits;
  out += pairs.count * Writer::kPairUnits;
  return true;
}

// Whether the text is worth searching for runs of ASCII word by word. A reader of one unit a character does
// better in transcode_blocks, which has no branch for each length of a run.
template <class Reader, class Writer>
constexpr bool kHasWords = Reader::kLongest != 1 && Reader::kAscii &&
                           (Writer::kAscii || Writer::kLongest == 1);

// Converts text with runs of ASCII, word by word, until either end is too near. Whole runs and whole words of
// lanes are stored even where only their front counts: that costs less than a mispredicted branch on their
// length. The margins guarantee that as many units follow and that the output has room for them, so that
// every surplus unit is replaced by a real one and nothing is left past the end of the result.
template <class Reader, class Writer>
inline void transcode_words(Reader& reader, Writer& writer, const typename Reader::Unit*& in,
                            const typename Reader::Unit* in_end, typename Writer::Unit*& out,
                            const typename Writer::Unit* out_end) {
  constexpr bool kPairs = Reader::kPairUnits != 0 && Writer::kPairUnits != 0;
  // In the input: the run that is loaded, then kRun characters, which write at least a unit each, then one
  // that may be cut. In the output: the run that is stored, as many units again, and a last character that
  // may not fit.
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
    // Scripts outside ASCII come in runs, too: no look for ASCII until one shows up.
    do {
      roomy_step(reader, writer, in, out);
    } while (*in >= 0x80 && in <= in_stop && out <= out_stop);
  }
}

// Converts in blocks of as many characters as are known to be whole and to fit, even if all were the longest.
// The ends are thus compared once a block and not once a character. Stops where not one character is known to
// fit.
template <class Reader, class Writer>
inline void transcode_blocks(Reader& reader, Writer& writer, const typename Reader::Unit*& in,
                             const typename Reader::Unit* in_end, typename Writer::Unit*& out,
                             const typename Writer::Unit* out_end) {
  constexpr bool kFixedWidth = Reader::kLongest == 1;
  constexpr bool kRuns = Reader::kAscii && Writer::kAscii;
  // A unit with one of these bits ends a run that can be copied.
  const auto stop_bits =
      static_cast<typename Reader::Unit>(reader.latin1() && writer.latin1() ? ~0xFF : ~0x7F);
  for (;;) {
    if constexpr (kRuns) copy_runs(stop_bits, in, in_end, out, out_end);
    ptrdiff_t steps = std::min((in_end - in) / reader.longest() - Writer::kSlack,
                               (out_end - out - Writer::kSlack) / Writer::kLongest);
    if (steps <= 0) return;
    // Single-byte text often changes between ASCII and its own script: look again soon for a run to copy.
    if (kRuns && kFixedWidth) steps = std::min(steps, 4 * kRun);
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

// Converts the last characters before either end, one at a time and with every check. Only here are result
// codes decided. The room is tested before the input: with no room left, a cut character or a shift unit is
// XCS_OUTPUT_FULL.
template <class Reader, class Writer>
int transcode_end(Reader& reader, Writer& writer, const typename Reader::Unit*& in,
                  const typename Reader::Unit* in_end, typename Writer::Unit*& out,
                  typename Writer::Unit* out_end) {
  while (in != in_end) {
    if (out == out_end) return XCS_OUTPUT_FULL;
    const Character character = reader.template next<false>(in, in_end);
    if (character.length == 0) return XCS_INPUT_CUT;
    if (!Reader::kShifts || character.value != kNoCharacter) {
      auto* const end = writer.template put<false>(out, out_end, character.value, in + character.length);
      if (end == nullptr) return XCS_OUTPUT_FULL;
      out = end;
    }
    in += character.length;
  }
  return XCS_CONVERTED;
}

// The kernel of a reader and a writer, or null; most pairs have none. unicode_text.h and single_byte.h have
// the others.
template <class Reader, class Writer>
constexpr std::nullptr_t kernel_of(const VectorKernels&, const Reader&, const Writer&) {
  return nullptr;
}

template <class Reader, class Writer>
constexpr bool kHasKernel = !std::is_null_pointer_v<decltype(kernel_of(
    std::declval<const VectorKernels&>(), std::declval<const Reader&>(), std::declval<const Writer&>()))>;

// Whether that kernel takes ends at every level.
template <class Reader, class Writer>
constexpr bool kKernelEnds = false;

constexpr ptrdiff_t kStretch = 128;    // input units that are sure to bring transcode_words forward
constexpr ptrdiff_t kShortText = 128;  // input units

// Converts an end of fewer than kKernelMargin units by the kernel, in copies with so much room that the
// margins do not matter. Zeros pad the input; each becomes one zero.
template <class In, class Out>
inline void kernel_on_copy(Kernel<In, Out> kernel, const In*& in, const In* in_end, Out*& out,
                           const Out* out_end) {
  In padded[2 * kKernelMargin];
  Out converted[6 * kKernelMargin];
  const ptrdiff_t size = in_end - in;
  std::memcpy(padded, in, static_cast<size_t>(size) * sizeof(In));
  std::memset(padded + size, 0, kKernelMargin * sizeof(In));
  const In* from = padded;
  Out* to = converted;
  kernel(from, padded + size + kKernelMargin, to, std::end(converted));
  const ptrdiff_t zeros = std::max<ptrdiff_t>(from - padded - size, 0);
  const ptrdiff_t made = to - converted - zeros;
  if (made > out_end - out) return;
  std::memcpy(out, converted, static_cast<size_t>(made) * sizeof(Out));
  in += from - padded - zeros;
  out += made;
}

// Converts text by the kernel where its blocks are plain, and as text without a kernel where they are not. A
// function of its own: short texts, which do without it, then do without its stack frame, too.
template <class Kernel, class Reader, class Writer>
[[gnu::noinline]] void transcode_by_kernel(const Kernel& kernel, ptrdiff_t margin, Reader& reader,
                                           Writer& writer, const typename Reader::Unit*& in,
                                           const typename Reader::Unit* in_end, typename Writer::Unit*& out,
                                           typename Writer::Unit* out_end) {
  bool is_plain = true;
  for (ptrdiff_t stretch = kStretch; in_end - in >= margin;) {
    const auto* const before = in;
    kernel(in, in_end, out, out_end);
    is_plain = in != before;
    if (in_end - in < margin) break;
    // Text that is never plain soon pays next to nothing for the look at it.
    stretch = is_plain ? kStretch : std::min(4 * stretch, 64 * kStretch);
    const auto* const start = in;
    const auto* const stretch_end = in + std::min(in_end - in, stretch);
    if constexpr (kHasWords<Reader, Writer>) {
      transcode_words(reader, writer, in, stretch_end, out, out_end);
    } else {
      transcode_blocks(reader, writer, in, stretch_end, out, out_end);
    }
    if (stretch_end == in_end || in == start) return;  // an end is near
  }
  copy_runs(kNonAscii<typename Reader::Unit>, in, in_end, out, out_end);
  if constexpr (std::is_pointer_v<Kernel>) {
    if (kKernelEnds<Reader, Writer> && in_end - in >= kLeastForKernel) kernel(in, in_end, out, out_end);
    // Text in which the last look found nothing plain is hardly worth the copies.
    if (is_plain && in_end - in >= kLeastForKernel) kernel_on_copy(kernel, in, in_end, out, out_end);
  }
}

// The same by the kernel of the two sides, if there is one. Short ASCII and short text that is copied unit by
// unit are as fast without.
template <class Reader, class Writer>
inline void transcode_by_its_kernel(Reader& reader, Writer& writer, const typename Reader::Unit*& in,
                                    const typename Reader::Unit* in_end, typename Writer::Unit*& out,
                                    typename Writer::Unit* out_end) {
  const VectorKernels& kernels = vectors();
  const auto kernel = kernel_of(kernels, reader, writer);
  if (kernel == nullptr) return;
  if (in_end - in <= kShortText) {
    if (reader.latin1() && writer.latin1()) return;
    copy_runs(kNonAscii<typename Reader::Unit>, in, in_end, out, out_end);
    if (in_end - in < kLeastForKernel) return;
  }
  // Copies: objects whose address a call has seen would stay in memory, and the loops need them in registers.
  Reader kernel_reader = reader;
  Writer kernel_writer = writer;
  const auto* from = in;
  auto* to = out;
  transcode_by_kernel(kernel, kernels.margin, kernel_reader, kernel_writer, from, in_end, to, out_end);
  in = from;
  out = to;
}

template <class Reader, class Writer>
int transcode(Reader& reader, Writer& writer, const typename Reader::Unit*& in,
              const typename Reader::Unit* in_end, typename Writer::Unit*& out,
              typename Writer::Unit* out_end) {
  if (in >= in_end) return XCS_CONVERTED;
  if (out >= out_end) return XCS_OUTPUT_FULL;
  if constexpr (kHasKernel<Reader, Writer>) {
    transcode_by_its_kernel(reader, writer, in, in_end, out, out_end);
  }
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

}  // namespace mar::charset
