// The kernels of every level against the scalar loop: bytes, pointers, lengths and result codes are the same
// for every length of the input and every room for the output, between unreadable pages.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <random>
#include <set>
#include <span>
#include <vector>

#include "charset/gb18030.h"
#include "charset/single_rows.h"
#include "charset/table_layout.h"
#include "tests/charset/conversions.h"
#include "tests/charset/levels.h"

namespace mar {

namespace {

constexpr size_t kPage = 4096;  // units; buffers are whole pages between unreadable ones

// A text is made of runs; of each run one letter says what its characters are. a: ASCII, 1: below 0x100, 2, 3
// and 4: characters of so many UTF-8 bytes, x: units by chance, d: a sequence of three bytes or four damaged,
// o: append_odd(), b: a character that ends a block of 32 bytes, s: of the single-byte codeset sparse_unit(),
// k: of double_byte(), g: of GB18030 in four bytes, h: the same, some damaged, i: one of them
// and what is nearly one, z: zeros.
constexpr const char* kMixes[] = {"a",  "1",     "2",   "3",    "4",  "a1", "a2", "a3",  "a4",
                                  "23", "a23",   "a34", "a234", "x",  "ax", "2x", "a3x", "3d",
                                  "4d", "a234d", "4o",  "a3o",  "b4", "s",  "as", "s3",  "ss2d4"};

constexpr const char* kFlatMixes[] = {"a",   "k", "ak",   "g",    "ag",  "kg",  "akg", "gh",
                                      "agh", "i", "x",    "ax",   "kx",  "gx",  "3",   "a3",
                                      "2k",  "4", "kkkz", "gggz", "akd", "ak4", "1k"};

// A codeset's units: far apart, two bytes for one unit, and bytes that stand for nothing.
int sparse_unit(int byte) {
  const int units[] = {0x2000 + 7 * byte, 0xFFF0 - 29 * byte, 0x700 - byte,
                       byte < 0xC0 ? 0 : 0x300 + byte / 8};
  return units[byte % 4];
}

uint32_t character(char kind, std::mt19937& random) {
  const auto between = [&](uint32_t first, uint32_t last) {
    return std::uniform_int_distribution<uint32_t>(first, last)(random);
  };
  switch (kind) {
    case '1':
      return between(0xA0, 0xFF);
    case '2':
      return between(0x80, 0x7FF);
    case '3':
      return random() % 8 != 0 ? between(0x800, 0xD7FF) : between(0xE000, 0xFFFF);
    case '4':
      return between(0x10000, 0x10FFFF);
    case 's':
      return static_cast<uint32_t>(std::max(sparse_unit(static_cast<int>(between(0x80, 0xFF))), 0x100));
    default:
      return between(' ', '~');
  }
}

void append(Units& text, uint32_t value) {
  if (value >= 0x10000) text += static_cast<uint16_t>(0xD7C0 + (value >> 10));
  text += static_cast<uint16_t>(value < 0x10000 ? value : 0xDC00 | (value & 0x3FF));
}

void append(Bytes& text, uint32_t value) {
  const auto following = [&](uint32_t shift) { text += static_cast<char>(0x80 | (value >> shift & 0x3F)); };
  if (value < 0x80) {
    text += static_cast<char>(value);
  } else if (value < 0x800) {
    text += static_cast<char>(0xC0 | value >> 6);
    following(0);
  } else {
    text += static_cast<char>(value < 0x10000 ? 0xE0 | value >> 12 : 0xF0 | value >> 18);
    if (value >= 0x10000) following(12);
    following(6);
    following(0);
  }
}

// What stands for a character by the loop's own rules: a surrogate, or an overlong sequence.
void append_odd(Units& text, std::mt19937& random) {
  text += static_cast<uint16_t>(0xD800 + random() % 0x800);
}
void append_odd(Bytes& text, std::mt19937& random) {
  const auto following = random() % 3;
  text += {"\xC0\xE0\xF0"[following], static_cast<char>(0x80 | random() % 16)};
  for (auto i = following; i != 0; --i) text += static_cast<char>(0x80 | random() % 64);
}

// A character of a codeset with flat tables: its code, or its unit.
constexpr uint32_t kDoubleUnits = 0x3000, kFourUnits = 0x900, kFirstFour = 5933, kFours = 1280;
void append_coded(Units& text, char kind, std::mt19937& random) {
  const auto unit =
      kind == 'k' ? kDoubleUnits + random() % 0x2100 : kFourUnits - 16 + random() % (kFours + 32);
  text += static_cast<uint16_t>(kind == 'z' ? 0 : unit);
}
void append_coded(Bytes& text, char kind, std::mt19937& random) {
  if (kind == 'z') {
    text += '\0';
  } else if (kind == 'k') {
    text += {static_cast<char>(random() % 4 != 0 ? 0x81 + random() % 0x20 : 0x80 | random()),
             static_cast<char>(random())};
  } else if (kind == 'i') {
    const char* const code = "\x81\x30\x81\x30";
    const char* const pieces[] = {"\x81\x30\x61\x30", "\x80\x30\x81\x30", "\x81\x30", "\x81", "0"};
    text += random() % 8 != 0 ? code : pieces[random() % std::size(pieces)];
  } else {
    const auto number = random() % 16 == 0
                            ? random() % 1600000
                            : (random() % 2 == 0 ? kFirstFour - 16 : 36933) + random() % (kFours + 32);
    const auto code = charset::gb_four_bytes(static_cast<uint32_t>(number));
    text.append(code.begin(), code.end());
    if (kind == 'h' && random() % 6 == 0)
      text[text.size() - 1 - random() % 4] ^= static_cast<char>(1u << random() % 8);
  }
}

template <class Unit>
std::basic_string<Unit> text_of(const std::string& mix, size_t size, std::mt19937& random) {
  std::basic_string<Unit> text;
  while (text.size() < size) {
    const char kind = mix[text.empty() ? 0 : random() % mix.size()];
    // Some runs last over blocks.
    for (auto run = 1 + random() % (kind == 'b' ? 1 : random() % 4 == 0 ? 90 : 9); run != 0; --run) {
      if (kind == 'x') {
        text += static_cast<Unit>(random());
      } else if (kind == 'o') {
        append_odd(text, random);
      } else if (std::strchr("kghiz", kind) != nullptr) {
        append_coded(text, kind, random);
      } else if (kind == 'd') {
        const size_t start = text.size();
        append(text, character(random() % 2 == 0 ? '3' : '4', random));
        Unit& damaged = text[start + random() % (text.size() - start)];
        damaged =
            static_cast<Unit>(static_cast<uint32_t>(damaged) ^ uint32_t{1} << random() % (8 * sizeof(Unit)));
      } else {
        if (kind == 'b') text.append(30, 'a');
        append(text, character(kind == 'b' ? '2' : kind, random));
      }
    }
  }
  return text.substr(0, size);
}

// Of the bytes from 0x80 up, 0 is for those that stand for nothing. A unit becomes the first one of its
// bytes.
Codeset single_byte(int unit_of(int byte)) {
  CodeMap codes;
  std::set<int> units;
  for (int byte = 0x80; byte < 0x100; ++byte) {
    const int unit = unit_of(byte);
    if (unit != 0 && units.insert(unit).second)
      codes[{static_cast<char>(byte)}] = static_cast<uint16_t>(unit);
  }
  TableImage image(XCS_KIND_ASCII_SBCS, "SINGLE", codes);
  for (size_t byte = 0x80; byte < 0x100; ++byte) {
    const int unit = unit_of(static_cast<int>(byte));
    if (unit != 0) image.set(charset::table_layout::kByteEntries + 2 * byte, static_cast<uint16_t>(unit));
  }
  return load_image(image.bytes);
}

// Leads from 0x81 to 0xA0 with all trails; A5 is a byte of its own, and other bytes stand for nothing.
Codeset double_byte() {
  CodeMap codes = {{"\xA5", 0xFF65}};
  for (uint32_t code = 0x8100; code != 0xA100; ++code)
    codes[{static_cast<char>(code >> 8), static_cast<char>(code)}] =
        static_cast<uint16_t>(kDoubleUnits + code - 0x8100);
  return load_image(TableImage(XCS_KIND_ASCII_DBCS, "DOUBLE", codes).bytes);
}

Codeset with_flat_tables(Codeset codeset) {
  convert_much(codeset.get());
  EXPECT_TRUE(codeset->flat->decoding != nullptr && codeset->flat->encoding != nullptr);
  return codeset;
}

// Where a text lies: at the end of the readable pages, or at their front.
enum Place { kAtEnd, kAtFront };

template <class D>
class Converter {
 public:
  Converter() { std::copy(untouched_.begin(), untouched_.end(), out_.begin()); }

  // Converts by the scalar loop and by the level, and compares.
  void compare(xcs_cs_t* codeset, const InText<D>& in, size_t room, Place place, const VectorLevel& level) {
    charset::use_vectors(charset::kScalarLevel);
    const Converted<D> want = run(codeset, in, room, place);
    charset::use_vectors(level);
    const Converted<D> got = run(codeset, in, room, place);
    ASSERT_TRUE(got == want) << xcs_get_cs_name(codeset) << ", " << in.size() << " units with room for "
                             << room << ": " << testing::PrintToString(in) << "\ngave "
                             << testing::PrintToString(got.out) << "\nand not "
                             << testing::PrintToString(want.out) << "\nresults " << got.result << " "
                             << want.result << ", consumed " << got.consumed << " " << want.consumed;
  }

 private:
  Converted<D> run(xcs_cs_t* codeset, const InText<D>& in, size_t room, Place place) {
    auto* const from_start = place == kAtEnd ? in_.end() - in.size() : in_.begin();
    std::copy(in.begin(), in.end(), from_start);
    auto* const to_start = place == kAtEnd ? out_.end() - room : out_.begin();
    const auto* from = const_cast<const typename D::In*>(from_start);
    auto* to = to_start;
    auto in_left = static_cast<uint32_t>(in.size()), out_left = static_cast<uint32_t>(room);
    const int result = D::convert(codeset, &from, &in_left, &to, &out_left);
    EXPECT_EQ(from, from_start + in.size() - in_left);
    EXPECT_EQ(to, to_start + room - out_left);
    EXPECT_TRUE(std::equal(out_.begin(), to_start, untouched_.begin())) << "written in front of the text";
    EXPECT_TRUE(std::equal(to, out_.end(), untouched_.begin())) << "written past the text";
    Converted<D> converted{{to_start, to}, static_cast<uint32_t>(in.size()) - in_left, result};
    std::copy_n(untouched_.begin(), to - to_start, to_start);
    return converted;
  }

  // What is in the output's buffer between two texts, compared as memory and not unit by unit.
  const OutText<D> untouched_ = OutText<D>(2 * kPage, 0x7D);
  const GuardedBuffer<typename D::In> in_{kPage};
  const GuardedBuffer<typename D::Out> out_{2 * kPage};
};

template <class D>
void compare_all(const VectorLevel& level, const Codeset& codeset, std::span<const char* const> mixes) {
  std::mt19937 random(20);
  const size_t step = stride();
  const auto first = [&] { return random() % step; };
  Converter<D> converter;
  for (const char* mix : mixes) {
    SCOPED_TRACE(mix);
    const InText<D> text = text_of<typename D::In>(mix, 330, random);
    for (size_t size = first(); size <= text.size(); size += step)
      converter.compare(codeset.get(), text.substr(0, size), 1100, size % 2 == 0 ? kAtEnd : kAtFront, level);
    for (size_t room = first(); room <= 1000; room += step)
      converter.compare(codeset.get(), text, room, room % 2 == 0 ? kAtEnd : kAtFront, level);
    if (first() >= 9) continue;  // to make a long text takes long on an emulated processor
    const InText<D> long_text = text_of<typename D::In>(mix, 3000, random);
    for (size_t size = 1900 + 31 * first(); size <= long_text.size(); size += 31 * step)
      converter.compare(codeset.get(), long_text.substr(0, size), kPage, kAtEnd, level);
    if (testing::Test::HasFailure()) return;
  }
}

// Made once: an emulated processor takes seconds for them.
struct Codesets {
  const Codeset plain[3] = {Codeset(xcs_cs_new("UTF8")), single_byte([](int byte) { return byte; }),
                            single_byte(sparse_unit)};
  const Codeset flat[2] = {with_flat_tables(double_byte()), with_flat_tables(family("GB18030").codeset())};
};

const Codesets& all_codesets() {
  static const Codesets all;
  return all;
}

template <class D>
void compare_all(const VectorLevel& level) {
  const Codesets& codesets = all_codesets();
  for (const Codeset& codeset : codesets.plain) compare_all<D>(level, codeset, kMixes);
  for (const Codeset& codeset : codesets.flat) compare_all<D>(level, codeset, kFlatMixes);
}

template <class Unit>
std::basic_string<Unit> characters(char kind, int count, std::mt19937& random) {
  std::basic_string<Unit> text;
  while (--count >= 0) append(text, character(kind, random));
  return text;
}

// The units that a kernel leaves of a text.
template <class In, class Out, class Unit>
size_t left_by(charset::Kernel<In, Out> kernel, const std::basic_string<Unit>& text) {
  static const GuardedBuffer<Unit> buffer(kPage);
  std::copy(text.begin(), text.end(), buffer.end() - text.size());
  std::vector<Out> result(4 * text.size());
  const In* const end = reinterpret_cast<const In*>(buffer.end());
  const In* in = end - text.size();
  Out* out = result.data();
  kernel(in, end, out, out + result.size());
  return static_cast<size_t>(end - in);
}

// Whether the kernel finds all bytes of a codeset without the row of all units.
bool finds_slots(charset::RowKernel<uint16_t, uint8_t> kernel) {
  const Codeset codeset = single_byte([](int byte) { return byte % 2 != 0 ? 0x400 + byte : 0x2501 + byte; });
  const auto rows = std::make_unique<xcs_single_rows>(*codeset->rows);
  std::fill(std::begin(rows->from_unicode), std::end(rows->from_unicode), uint8_t{'?'});
  Bytes bytes, found(256, '\0');
  Units text;
  for (int i = 0; i != 256; ++i) {
    const int byte = i % 2 * 0x80 ^ i;  // every other one is ASCII
    bytes += static_cast<char>(byte);
    text += rows->to_unicode[byte];
  }
  const uint16_t* in = text.data();
  auto* out = reinterpret_cast<uint8_t*>(found.data());
  kernel(*rows, in, in + text.size(), out, out + found.size());
  return found == bytes;
}

// The kernels of flat tables leave less than a block and their margins.
void take_codes(const charset::VectorKernels& kernels, int count, std::mt19937& random) {
  Bytes twos, fours;
  for (int i = 0; i != count; ++i) {
    append_coded(twos, 'k', random);
    const auto code = charset::gb_four_bytes(static_cast<uint32_t>(random() % 39420));
    fours.append(code.begin(), code.end());
    if (random() % 8 == 0) {
      twos += "a";
      fours += "a";
    }
  }
  EXPECT_LT(left_by(kernels.bytes_to_codes, twos), 160u);
  EXPECT_LT(left_by(kernels.fours_to_codes, fours), 192u);
  const Units units = characters<uint16_t>('3', count, random);
  EXPECT_LT(left_by(kernels.codes_to_bytes, units), 64u);
  const Units lasts(units.size(), 0x3081);
  std::vector<uint8_t> result(6 * units.size() + 192);
  const uint16_t* in = units.data();
  auto* out = result.data();
  kernels.wide_codes_to_bytes(lasts.data(), in, in + units.size(), out, out + result.size());
  EXPECT_LT(units.data() + units.size() - in, 64);
}

class Vectors : public EachLevel {};

// A kernel that took nothing would convert as the loop does, too.
TEST_P(Vectors, TakeWhatIsPlain) {
  const charset::VectorKernels& kernels = *GetParam()->kernels;
  std::mt19937 random(1);
  for (int count = 64; kernels.margin != 0 && count <= 200; ++count) {
    SCOPED_TRACE(count);
    const Units units = characters<uint16_t>('3', count, random);
    EXPECT_EQ(left_by(kernels.ucs2_to_utf8, units), 0u);
    EXPECT_EQ(left_by(kernels.bmp_to_utf8, units), 0u);
    EXPECT_EQ(left_by(kernels.utf8_to_utf8, characters<char>('3', count, random)), 0u);
    EXPECT_LT(left_by(kernels.utf8_to_ucs2, characters<char>('3', count, random)), 192u);
    const Units pairs = characters<uint16_t>('4', count, random);
    EXPECT_LT(left_by(kernels.ucs2_to_utf8, pairs), 192u);
    EXPECT_EQ(left_by(kernels.bmp_to_utf8, pairs), pairs.size());
    const Bytes fours = characters<char>('4', count, random);
    EXPECT_LT(left_by(kernels.utf8_to_ucs2, fours), 192u);
    EXPECT_EQ(left_by(kernels.utf8_to_bmp, fours), fours.size());
    take_codes(kernels, count, random);
  }
  EXPECT_TRUE(kernels.ucs2_to_row == nullptr || finds_slots(kernels.ucs2_to_row));
}

TEST_P(Vectors, ToUcs2AsTheScalarLoop) { compare_all<ToUcs2>(*GetParam()); }
TEST_P(Vectors, FromUcs2AsTheScalarLoop) { compare_all<FromUcs2>(*GetParam()); }
TEST_P(Vectors, ToUtf8AsTheScalarLoop) { compare_all<ToUtf8>(*GetParam()); }
TEST_P(Vectors, FromUtf8AsTheScalarLoop) { compare_all<FromUtf8>(*GetParam()); }

INSTANTIATE_TEST_SUITE_P(Level, Vectors, testing::ValuesIn(EachLevel::supported()), EachLevel::name);

}  // namespace

}  // namespace mar
