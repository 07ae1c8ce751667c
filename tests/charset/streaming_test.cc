// Text in pieces converts to the same as at once, wherever the input is cut and however little room there is,
// with checked and unchecked readers alike. All families, all directions.
#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <random>

#include "tests/charset/conversions.h"
#include "tests/charset/levels.h"

namespace mar {

namespace {

void append_utf8(Bytes& out, const Units& units) {
  out += std::filesystem::path(std::u16string(units.begin(), units.end())).string();
}

// One text in its three forms.
struct Sample {
  Bytes bytes;
  Units units;
  Bytes utf8;
};

// `count` characters of the family by chance, in runs so that vector loops and shift modes last a while.
Sample sample(const Family& family, uint32_t seed, size_t count) {
  std::mt19937 random(seed);
  const bool mixed = std::string_view(family.name) == "EBCDICDBCS";
  bool pairs = false;
  Sample text;
  while (count != 0) {
    const auto& character = family.characters[random() % family.characters.size()];
    for (size_t run = std::min<size_t>(count, 1 + random() % 12); run != 0; --run, --count) {
      if (mixed && pairs != (character.bytes.size() == 2)) {
        pairs = !pairs;
        text.bytes += pairs ? '\x0E' : '\x0F';
      }
      text.bytes += character.bytes;
      text.units += character.units;
      append_utf8(text.utf8, character.units);
    }
  }
  if (pairs) text.bytes += '\x0F';
  return text;
}

// Converts `in` in two pieces cut at `cut`, in calls with `room` units each, more when a call got nowhere.
// Output buffers end at an unreadable page.
template <class D>
OutText<D> in_pieces(xcs_cs_t* codeset, const InText<D>& in, size_t cut, size_t room) {
  static const GuardedBuffer<typename D::Out> buffer(1100);
  constexpr typename D::Out kUntouched = 0x7D;
  OutText<D> all;
  const auto* from = in.data();
  const auto* const end = in.data() + in.size();
  const auto* piece_end = from + cut;
  const auto call = [&](bool flush, size_t size) {
    auto* to = std::fill_n(buffer.end() - size, size, kUntouched) - size;
    auto in_left = static_cast<uint32_t>(piece_end - from);
    auto out_left = static_cast<uint32_t>(size);
    const int result = D::convert(codeset, flush ? nullptr : &from, &in_left, &to, &out_left);
    all.append(buffer.end() - size, to);
    EXPECT_EQ(std::count(to, buffer.end(), kUntouched), buffer.end() - to) << "written past the text";
    return result;
  };
  size_t size = room;
  for (size_t calls = 0; from != end; ++calls) {
    if (calls > 4 * in.size() + 40) return {};
    const auto* const before = from;
    const int result = call(false, size);
    if (result == XCS_OUTPUT_FULL) {
      size = from == before ? size + 1 : room;
    } else {
      EXPECT_EQ(result == XCS_INPUT_CUT, from != piece_end);
      EXPECT_TRUE(result != XCS_INPUT_CUT || piece_end != end);
      piece_end = end;
    }
  }
  while (call(true, size) == XCS_OUTPUT_FULL) ++size;
  return all;
}

template <class D>
void expect_any_pieces(const Family& family, const InText<D>& in, const OutText<D>& want) {
  const Codeset codeset = family.codeset();
  EXPECT_EQ(codeset->verified, family.image.empty() ? 0 : 1) << family.name;
  // Short texts at every cut and in every room; long ones, for the block loops, at some.
  const size_t stride = in.size() < 120 ? 1 : 41;
  for (const uint8_t verified : {uint8_t{1}, uint8_t{0}}) {
    codeset->verified = verified;
    for (size_t cut = 0; cut <= in.size(); cut += stride) {
      for (size_t room = 0; room <= 24 * stride; room += stride) {
        const OutText<D> got = in_pieces<D>(codeset.get(), in, cut, room);
        ASSERT_TRUE(got == want) << family.name << " verified " << int{verified} << " cut " << cut << " room "
                                 << room << ": " << testing::PrintToString(got);
      }
    }
  }
}

class Streaming : public EachLevel {};

TEST_P(Streaming, PiecesGiveTheWholeText) {
  for (const Family& family : families()) {
    for (uint32_t seed = 1; seed <= 6; ++seed) {
      const Sample text = sample(family, seed, seed == 1 ? 24 : 60 * seed);
      expect_any_pieces<ToUcs2>(family, text.bytes, text.units);
      expect_any_pieces<FromUcs2>(family, text.units, text.bytes);
      expect_any_pieces<ToUtf8>(family, text.bytes, text.utf8);
      expect_any_pieces<FromUtf8>(family, text.utf8, text.bytes);
    }
  }
}

// Units by chance, malformed and overlong sequences and lone surrogates among them, in runs of ASCII, of
// two-byte sequences and of anything; ASCII ends what may be cut.
template <class Unit>
std::basic_string<Unit> any_text(std::mt19937& random) {
  constexpr bool kBytes = sizeof(Unit) == 1;
  const size_t size = 16 + random() % 150;
  std::basic_string<Unit> text;
  while (text.size() < size) {
    const auto kind = random() % 4;
    for (auto run = random() % 12; run != 0; --run) {
      if (kind == 0) text += static_cast<Unit>('0' + random() % 10);
      if (kind == 1 && kBytes) text += static_cast<Unit>(0xC0 + random() % 36);
      if (kind == 1) text += static_cast<Unit>(kBytes ? 0x80 + random() % 64 : 0x70 + random() % 0x800);
      if (kind == 2) text += static_cast<Unit>(random());
      if (kind == 3 && kBytes)
        text += {static_cast<Unit>(0xE0 + random() % 3), static_cast<Unit>(0x80 + random() % 64)};
      if (kind == 3) text += static_cast<Unit>(kBytes ? 0x80 + random() % 64 : 0xD700 + random() % 0x1000);
    }
  }
  return text.append(8, '0');
}

template <class D>
void expect_small_pieces_as_one(const Family& family, const InText<D>& in) {
  const Codeset codeset = family.codeset();
  const OutText<D> want = in_pieces<D>(codeset.get(), in, in.size(), 1100);
  for (const size_t room : {9u, 40u}) {  // too small for runs, and large enough
    ASSERT_TRUE(in_pieces<D>(codeset.get(), in, in.size() / 3, room) == want)
        << family.name << " " << testing::PrintToString(in);
  }
}

TEST_P(Streaming, PiecesOfAnythingGiveTheWhole) {
  std::mt19937 random(1);
  for (int round = 0; round < 200; ++round) {
    for (const Family& family : families()) {
      expect_small_pieces_as_one<ToUcs2>(family, any_text<char>(random));
      expect_small_pieces_as_one<FromUcs2>(family, any_text<uint16_t>(random));
      expect_small_pieces_as_one<ToUtf8>(family, any_text<char>(random));
      expect_small_pieces_as_one<FromUtf8>(family, any_text<char>(random));
    }
  }
}

// Every proper prefix of a character, ending at an unreadable page, is a cut; nothing is consumed.
template <class D>
void expect_cut(const Family& family, xcs_cs_t* codeset, const InText<D>& character,
                size_t readable_past_end) {
  for (size_t length = 1; length < character.size(); ++length) {
    const GuardedBuffer<typename D::In> in(length + readable_past_end);
    std::copy_n(character.data(), length, in.begin());
    const auto* from = const_cast<const typename D::In*>(in.begin());
    auto in_left = static_cast<uint32_t>(length);
    typename D::Out out[16];
    auto* to = out;
    uint32_t out_left = 16;
    EXPECT_EQ(D::convert(codeset, &from, &in_left, &to, &out_left), XCS_INPUT_CUT) << family.name;
    EXPECT_TRUE(in_left == length && out_left == 16) << family.name;
  }
}

TEST_P(Streaming, APrefixOfACharacterIsACutInput) {
  for (const Family& family : families()) {
    const Codeset codeset = family.codeset();
    const bool mixed = codeset->kind == XCS_KIND_EBCDIC_DBCS;
    for (const auto& character : family.characters) {
      Bytes utf8;
      append_utf8(utf8, character.units);
      codeset->to_state = mixed ? 1 : 0;
      expect_cut<ToUcs2>(family, codeset.get(), character.bytes, 0);
      expect_cut<ToUtf8>(family, codeset.get(), character.bytes, 0);
      expect_cut<FromUcs2>(family, codeset.get(), character.units, mixed ? 1 : 0);
      expect_cut<FromUtf8>(family, codeset.get(), utf8, mixed ? 1 : 0);
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Level, Streaming, testing::ValuesIn(EachLevel::supported()), EachLevel::name);

}  // namespace

}  // namespace mar
