// The loop under all converters: a reader turns input units into characters, a writer turns characters into
// output units. Each family brings its table side; unicode_text.h brings the UCS-2 and UTF-8 sides.
//
// A reader is a Side of its input's units with
//   longest()      units of its longest character
//   next<kWhole>   the character at `in`; when kWhole, longest() units are there and no end is looked at
// A writer is a Side of its output's units with
//   put<kRoomy>    writes a character and returns the new end, or null if it does not fit; at least one unit
//   is
//                  free, and kLongest are when kRoomy. `after` points behind the character's input.
#pragma once

#include <algorithm>
#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>
#include <type_traits>

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

  // All units below 0x100 stand for themselves.
  static constexpr bool latin1() { return false; }

  static constexpr ptrdiff_t longest() { return kLongest; }
};

constexpr ptrdiff_t kRun = 8;  // units that are tested and copied at a time where ASCII passes unchanged

// Index in memory of the first byte with a bit set; 8 if there is none.
inline ptrdiff_t first_set_byte(uint64_t bytes) {
  return (std::endian::native == std::endian::little ? std::countr_zero(bytes) : std::countl_zero(bytes)) / 8;
}

// Whether no unit of the run has one of the bits of `others`.
inline bool is_run_without(uint8_t others, const uint8_t* in) {
  uint64_t units;
  std::memcpy(&units, in, sizeof units);
  return (units & 0x0101010101010101u * others) == 0;
}

inline bool is_run_without(uint16_t others, const uint16_t* in) {
  // Two variables: an array would make GCC 12 go by way of the stack.
  uint64_t first, second;
  std::memcpy(&first, in, sizeof first);
  std::memcpy(&second, in + kRun / 2, sizeof second);
  return ((first | second) & 0x0001000100010001u * others) == 0;
}

template <class Unit>
inline bool is_ascii_run(const Unit* in) {
  return is_run_without(static_cast<Unit>(~0x7F), in);
}

// The units below 0x80 among the run's that stand before any other.
inline ptrdiff_t leading_ascii(const uint8_t* in) {
  uint64_t units;
  std::memcpy(&units, in, sizeof units);
  return first_set_byte(units & 0x8080808080808080u);
}

inline ptrdiff_t leading_ascii(const uint16_t* in) {
  uint64_t first, second;
  std::memcpy(&first, in, sizeof first);
  std::memcpy(&second, in + kRun / 2, sizeof second);
  first &= 0xFF80FF80FF80FF80u;
  second &= 0xFF80FF80FF80FF80u;
  return first != 0 ? first_set_byte(first) / 2 : kRun / 2 + first_set_byte(second) / 2;
}

template <class In, class Out>
inline void copy_run(const In* in, Out* out) {
  using InRun [[gnu::vector_size(kRun * sizeof(In))]] = In;
  using OutRun [[gnu::vector_size(kRun * sizeof(Out))]] = Out;
  InRun run;
  std::memcpy(&run, in, sizeof run);
  const OutRun converted = __builtin_convertvector(run, OutRun);
  std::memcpy(out, &converted, sizeof converted);
}

// Copies the runs at the front that have no unit with a bit of `others`.
template <class In, class Out>
inline void copy_runs(In others, const In*& in, const In* in_end, Out*& out, const Out* out_end) {
  // Two runs a turn while it lasts, so that wide loads and stores are kept busy.
  for (ptrdiff_t room = std::min(in_end - in, out_end - out); room >= 2 * kRun; room -= 2 * kRun) {
    if (!is_run_without(others, in) || !is_run_without(others, in + kRun)) break;
    copy_run(in, out);
    copy_run(in + kRun, out + kRun);
    in += 2 * kRun;
    out += 2 * kRun;
  }
  if (std::min(in_end - in, out_end - out) >= kRun && is_run_without(others, in)) {
    copy_run(in, out);
    in += kRun;
    out += kRun;
  }
}

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

// A text in which ASCII passes, word by word, until either end is too near for whole runs.
template <class Reader, class Writer>
inline void transcode_words(Reader& reader, Writer& writer, const typename Reader::Unit*& in,
                            const typename Reader::Unit* in_end, typename Writer::Unit*& out,
                            const typename Writer::Unit* out_end) {
  const ptrdiff_t in_margin = kRun + reader.longest();
  constexpr ptrdiff_t kOutMargin = kRun + Writer::kLongest;
  if (in_end - in < in_margin || out_end - out < kOutMargin) return;
  const auto* const in_stop = in_end - in_margin;
  const auto* const out_stop = out_end - kOutMargin;
  while (in <= in_stop && out <= out_stop) {
    // A whole run is copied even if only its front is ASCII: that costs less than a wrong guess at its
    // length.
    const ptrdiff_t ascii = leading_ascii(in);
    copy_run(in, out);
    in += ascii;
    out += ascii;
    if (ascii == kRun) {
      copy_runs(static_cast<typename Reader::Unit>(~0x7F), in, in_end, out, out_end);
      continue;
    }
    do {
      roomy_step(reader, writer, in, out);
    } while (*in >= 0x80 && in <= in_stop && out <= out_stop);
  }
}

template <class Reader, class Writer>
int transcode(Reader& reader, Writer& writer, const typename Reader::Unit*& in,
              const typename Reader::Unit* in_end, typename Writer::Unit*& out,
              typename Writer::Unit* out_end) {
  constexpr bool kRuns = Reader::kAscii && Writer::kAscii;
  constexpr bool kFixedWidth = Reader::kLongest == 1;
  const auto others = static_cast<typename Reader::Unit>(reader.latin1() && writer.latin1() ? ~0xFF : ~0x7F);
  if (in >= in_end) return kConverted;
  if (out >= out_end) return kOutputFull;
  // Most of the text in blocks that cannot meet either end: no result code is decided inside them.
  if constexpr (kRuns && !kFixedWidth) transcode_words(reader, writer, in, in_end, out, out_end);
  for (;;) {
    if constexpr (kRuns && kFixedWidth) copy_runs(others, in, in_end, out, out_end);
    ptrdiff_t steps = std::min((in_end - in) / reader.longest(), (out_end - out) / Writer::kLongest);
    if (steps == 0) break;
    if (kRuns && kFixedWidth) steps = std::min(steps, 4 * kRun);
    for (; steps >= kRun; steps -= kRun) {
      if constexpr (kFixedWidth && Writer::kLongest == 1) {
        transcode_run(reader, writer, in, out);
      } else {
        for (int i = 0; i != kRun; ++i) roomy_step(reader, writer, in, out);
      }
    }
    for (; steps != 0; --steps) roomy_step(reader, writer, in, out);
  }
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
