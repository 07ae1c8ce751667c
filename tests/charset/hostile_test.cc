// Tables that lie: whatever an image holds, it loads, and no conversion overruns or loops.
#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <utility>

#include "tests/charset/conversions.h"

namespace mar {

namespace {

// Converts all of `in` into an output that ends at an unreadable page; every call has to get on or to stop.
template <class D>
void expect_to_survive(xcs_cs_t* codeset, const InText<D>& in) {
  static const GuardedBuffer<typename D::Out> out(40);
  const auto* from = in.data();
  auto in_left = static_cast<uint32_t>(in.size());
  for (size_t calls = 0; in_left != 0; ++calls) {
    ASSERT_LE(calls, in.size()) << "no progress";
    auto* to = out.begin();
    uint32_t out_left = 40;
    const uint32_t before = in_left;
    const int result = D::convert(codeset, &from, &in_left, &to, &out_left);
    ASSERT_EQ(from, in.data() + in.size() - in_left);
    ASSERT_EQ(to, out.end() - out_left);
    if (result == XCS_INPUT_CUT) break;
    ASSERT_LT(in_left, before);
  }
  D::convert(codeset, nullptr, nullptr, nullptr, nullptr);
}

// Bytes by chance, and every unit in both forms.
struct Probe {
  Probe() {
    std::mt19937 random(1);
    for (int i = 0; i < 100000; ++i) bytes += static_cast<char>(random());
    for (uint32_t i = 0; i < 0x10000; ++i) units += static_cast<uint16_t>(i);
    Bytes form(4 * units.size(), 0);
    form.resize(
        xcs_from_ucs2(utf8_cs, units.data(), static_cast<int>(units.size()), form.data(), 4 * 0x10000));
    utf8 = form + bytes;
  }
  Units units;
  Bytes bytes, utf8;
};

// The image ends at an unreadable page, too.
void expect_to_survive_all(xcs_cs_t* codeset, const Probe& probe) {
  const GuardedBuffer<unsigned char> guarded(codeset->table_size);
  std::memcpy(guarded.begin(), codeset->table, codeset->table_size);
  const auto* const original = std::exchange(codeset->table, guarded.begin());
  for (const uint8_t state : {uint8_t{0}, uint8_t{1}}) {
    codeset->to_state = codeset->from_state = state;
    expect_to_survive<ToUcs2>(codeset, probe.bytes);
    codeset->to_state = codeset->from_state = state;
    expect_to_survive<ToUtf8>(codeset, probe.bytes);
    expect_to_survive<FromUcs2>(codeset, probe.units);
    expect_to_survive<FromUtf8>(codeset, probe.utf8);
  }
  codeset->table = original;
}

TEST(HostileTable, MutatedImagesAreSurvived) {
  const Probe probe;
  for (const Family& family : families()) {
    if (family.image.empty()) continue;
    int verified = 0, refused = 0;
    for (uint32_t seed = 1; seed <= 60; ++seed) {
      SCOPED_TRACE(std::string(family.name) + " seed " + std::to_string(seed));
      std::mt19937 random(seed);
      Bytes image = family.image;
      for (uint32_t count = 1 + random() % 8; count != 0; --count) {
        // Header tables and structures more often than pages; values near their limits more than others.
        const size_t place =
            random() % 2 ? 224 + random() % (1760 - 224) : 1760 + random() % (image.size() - 1762);
        const uint16_t values[] = {0xFFFF, 0xFFFE, 0x8000, 0, 1, static_cast<uint16_t>(random())};
        std::memcpy(&image[place], &values[random() % 6], 2);
      }
      if (random() % 4 == 0) image.resize(1760 + random() % (image.size() - 1760));
      if (random() % 8 == 0) image.replace(0, 4, Bytes{&"\0\0\0\xFF\xFF\xFF\xFF\xFF"[random() % 5], 4});
      const Codeset codeset = load_image(image);
      ASSERT_NE(codeset, nullptr) << "a bad table loads";
      (codeset->verified ? verified : refused) += 1;
      expect_to_survive_all(codeset.get(), probe);
      if (HasFatalFailure()) return;
    }
    EXPECT_GT(verified, 0) << family.name << ": nothing ran unchecked";
    EXPECT_GT(refused, 0) << family.name << ": nothing ran checked";
  }
}

// The last position inside is verified and read, the next one reads as unmapped.
TEST(HostileTable, TheImageEndIsExact) {
  constexpr size_t kPage = 224 + 2 * 0x20, kRow = 736;
  const struct {
    const char* family;
    size_t field;        // u16 position in units of 4 bytes
    size_t block_bytes;  // what the converters need from there
    Bytes start;         // of the block
  } rows[] = {
      {"ASCIISBCS", kPage, 256, {}},
      {"EBCDICSBCS", kPage, 256, {}},
      {"ASCIIDBCS", kPage, 512, {}},
      {"ASCIIDBCS", kRow, 512, {}},
      {"ASCIIDBCS", kRow + 2 * 0x81, 512, {}},
      {"ASCIIMBCS", kPage, 1024, {}},
      {"ASCIIMBCS", kRow + 2 * 0xA4, 4 + 2 * 3, raw<uint16_t>({3, 0xA2})},  // a node of three children
      {"EBCDICDBCS", kPage, 512, {}},
      {"EBCDICDBCS", kRow + 2 * 0x41, 512, {}}};
  const Probe probe;
  for (const auto& row : rows) {
    for (const size_t missing : {size_t{0}, size_t{1}}) {
      Bytes image = family(row.family).image;
      const auto position = static_cast<uint16_t>((image.size() - 1760) / 4);
      std::memcpy(&image[row.field], &position, 2);
      image += row.start;
      image.resize(1760 + 4u * position + row.block_bytes - missing, '\0');
      const Codeset codeset = load_image(image);
      EXPECT_EQ(codeset->verified, missing == 0) << row.family << " " << row.field;
      expect_to_survive_all(codeset.get(), probe);
    }
  }
}

// Images with a single lie each, which must not only be survived but have the right answer.
TEST(HostileTable, LiesReadAsUnmapped) {
  const auto with = [&](std::string_view name, size_t offset, std::string_view bytes) {
    Bytes image = family(name).image;
    image.replace(offset, bytes.size(), bytes);
    return load_image(image);
  };
  const auto decoded = [](const Codeset& cs, const Bytes& in) { return convert<ToUcs2>(cs.get(), in).out; };
  const auto encoded = [](const Codeset& cs, const Units& in) { return convert<FromUcs2>(cs.get(), in).out; };
  using namespace std::string_view_literals;

  // A data region far outside, where 32-bit sums would come back into the image.
  for (const uint32_t region : {0xFFFFFFFF, 0xFFFC0000, 1761u}) {
    const Codeset sbcs = with("ASCIISBCS", 0, raw({region}));
    EXPECT_EQ(encoded(sbcs, units(u"A")), "A");
    EXPECT_EQ(decoded(sbcs, "\x80"), units(u"\u20AC")) << "needs no data region";
  }
  EXPECT_EQ(encoded(with("ASCIISBCS", 0, "\xFF\xFF\xFF\xFF"), units(u"\u20AC")), "?");
  EXPECT_EQ(encoded(with("EBCDICSBCS", 0, "\xFF\xFF\xFF\xFF"), units(u"\u20ACA")), "\x6F\xC1");
  EXPECT_EQ(encoded(with("EBCDICDBCS", 0, "\xFF\xFF\xFF\xFF"), units(u"\u4E00")), "\x6F");
  EXPECT_EQ(decoded(with("EBCDICDBCS", 0, "\xFF\xFF\xFF\xFF"), "\x51\x0E\x41\x41"), units(u"??"));

  // Multi-byte: class 0 must not stand still; a lead without a node; a prefix record of 15 bytes.
  EXPECT_EQ(decoded(with("ASCIIMBCS", 1248 + 0xA4, "\0"sv), "\xA4\x41"), units(u"?A"));
  EXPECT_EQ(decoded(with("ASCIIMBCS", 736 + 2 * 0xA4, "\xFF\xFF"), "\xA4\xA2\x41"), units(u"?A"));
  EXPECT_EQ(convert<ToUcs2>(with("ASCIIMBCS", 1248 + 0xA4, "\xFE").get(), "\xA4\xA2").result, 2);
  Bytes records = family("ASCIIMBCS").image;
  const size_t record = records.find("\x8F" + Bytes(13, '\0') + raw<uint16_t>({1}));
  ASSERT_NE(record, Bytes::npos);
  for (const uint16_t length : {uint16_t{14}, uint16_t{15}}) {
    records.replace(record + 14, 2, raw({length}));
    const Codeset codeset = load_image(records);
    EXPECT_EQ(codeset->verified, length == 14);
    const Bytes long_code = "\x8F" + Bytes(13, '\0') + "\xB0\xA1";
    EXPECT_EQ(encoded(codeset, units(u"\u4E02")), length == 14 ? long_code : "?");
  }

  // GB18030: no room for the structure, entries of an unknown type, values outside the list.
  EXPECT_EQ(decoded(with("GB18030", 38, "\xFF\xFF"), "\x81\x40"), units(u"?"));
  const auto gb_with_entry = [&](GbRange a) { return load_image(TableImage({a}, {7}, {a}, {7}).bytes); };
  EXPECT_EQ(encoded(gb_with_entry({0x80, 0x80, 3, 9}), units(u"\u0080")), "?");
  EXPECT_EQ(decoded(gb_with_entry({1, 1, 0, 9}), "\x81\x40"), units(u"?"));
  EXPECT_EQ(decoded(gb_with_entry({1, 1, 1, 0}), "\x81\x40"), units(u"\u0007"));
  EXPECT_EQ(decoded(gb_with_entry({1, 9, 1, 0xFFF0}), "\x81\x40"), units(u"?"));
  EXPECT_EQ(gb_with_entry({1, 9, 1, 0xFFF0})->verified, 0);
  EXPECT_EQ(decoded(gb_with_entry({1, 9, 2, 0xFFFF}), "\x81\x41"), units(u"\U00010000")) << "no wrap";
  EXPECT_EQ(encoded(gb_with_entry({0x80, 0x81, 2, 0xFFFF}), units(u"\u0080\u0081")), "?\x84\x32\xF3\x39");
  EXPECT_EQ(encoded(gb_with_entry({0x80, 0x80, 1, 0}), units(u"\u0080")), "\x81\x46");
}

// The first answers when encoding and the last when decoding, whatever was asked before.
TEST(HostileTable, OverlappingRangesKeepTheirOrder) {
  const std::vector<GbRange> ranges = {{0x80, 0x90, 2, 1}, {0x84, 0x88, 2, 0x100}, {0x86, 0x86, 2, 0x200}};
  const Codeset codeset = load_image(TableImage(ranges, {}, ranges, {}).bytes);
  EXPECT_EQ(codeset->verified, 0);
  EXPECT_EQ(convert<FromUcs2>(codeset.get(), units(u"\u0084\u0086\u0089")).out, "\x81\x44\x81\x46\x81\x49");
  // The GB indexes 0x83, 0x84, 0x86 and 0x89.
  EXPECT_EQ(convert<ToUcs2>(codeset.get(), "\x81\xC2\x81\xC3\x81\xC5\x81\xC8").out,
            Units({4, 0x100, 0x200, 10}));
}

// In a verified image a look-up passes a bounded number of ranges.
TEST(HostileTable, CrowdedRangesAreNotVerified) {
  for (const uint16_t count : {uint16_t{64}, uint16_t{65}}) {
    std::vector<GbRange> ranges;
    for (uint16_t key = 0x200; key < 0x200 + count; ++key) ranges.push_back({key, key, 2, key});
    EXPECT_EQ(load_image(TableImage(ranges, {}, ranges, {}).bytes)->verified, count == 64) << count;
  }
}

// Shared trie nodes make the number of paths explode; loading and converting must not follow them all.
TEST(HostileTable, ATrieOfEndlessPathsLoadsAtOnce) {
  TableImage image(XCS_KIND_ASCII_MBCS, "KNOT", {{"\x8E\xA1", uint16_t{0xFF61}}});
  const auto node = static_cast<uint16_t>((image.bytes.size() - 1760) / 4);
  image.bytes += raw<uint16_t>({256, 0});  // children from byte 0 on, all of them the node itself
  for (int child = 0; child < 256; ++child) image.bytes += raw({node});
  image.set(736 + 2 * 0x81, node);
  image.set(1248 + 0x81, uint8_t{254});
  const Codeset codeset = load_image(image.bytes);
  EXPECT_EQ(codeset->verified, 0);
  EXPECT_EQ(convert<ToUcs2>(codeset.get(), Bytes(254, '\x81')), (Converted<ToUcs2>{Units(1, node), 254, 0}));
}

}  // namespace

}  // namespace mar
