// What each family makes of single characters and odd input, byte by byte, and the whole-text functions.
#include <gtest/gtest.h>

#include <algorithm>

#include "charset/ebcdic_1047.h"
#include "tests/charset/conversions.h"

namespace mar {

namespace {

template <class D>
struct Row {
  const char* name;
  const char* family;
  InText<D> in;
  Converted<D> want;
  size_t room = 1000;
};

template <class D>
void expect_rows(const std::vector<Row<D>>& rows) {
  for (const auto& row : rows) {
    for (const uint8_t verified : {uint8_t{0}, uint8_t{1}}) {
      const Codeset codeset = family(row.family).codeset();
      codeset->verified = verified;
      const Converted<D> got = convert<D>(codeset.get(), row.in, row.room);
      EXPECT_TRUE(got == row.want) << row.family << ", " << row.name << ": result " << got.result
                                   << ", consumed " << got.consumed << ", "
                                   << testing::PrintToString(got.out);
    }
  }
}

TEST(Convert, ToUcs2) {
  expect_rows<ToUcs2>({
      {"no character", "ASCIISBCS", "\x81", {units(u"?"), 1, 0}},
      {"pair not assigned", "ASCIIDBCS", "\x81\x41", {units(u"?"), 2, 0}},
      {"trail is not checked", "ASCIIDBCS", {"\x81\0A", 3}, {units(u"?A"), 3, 0}},
      {"no lead", "ASCIIDBCS", "\xFF\x41", {units(u"?A"), 2, 0}},
      {"no room comes before a cut", "ASCIIDBCS", "A\x81", {units(u"A"), 1, 1}, 1},
      {"a cut with room", "ASCIIDBCS", "A\x81", {units(u"A"), 1, 2}},
      {"byte below the node's base", "ASCIIMBCS", "\xA4\x20", {units(u"?"), 2, 0}},
      {"byte above the node's last", "ASCIIMBCS", "\x8D\xA2\xFF\xA3", {units(u"?"), 4, 0}},
      {"invalid lead", "ASCIIMBCS", "\xFE\xA4\xA2", {units(u"?\u3042"), 3, 0}},
      {"both line ends", "EBCDICSBCS", "\x15\x25", {units(u"\n\n"), 2, 0}},
      {"invariant bytes bypass the table, others do not", "EBCDICSBCS", "\xC1\x5B", {units(u"A?"), 2, 0}},
      {"shifts", "EBCDICDBCS", "\x51\x0E\x44\x8F\x0F\xC1", {units(u"\u00E9\u3041A"), 6, 0}},
      {"double-mode singles", "EBCDICDBCS", "\x0E\x15\xFF\x0E\x41\x41", {units(u"\n\u009F\x0E\u4E00"), 6, 0}},
      {"shift-in in single mode", "EBCDICDBCS", "\x0F", {units(u"\u000F"), 1, 0}},
      {"a shift waits for room", "EBCDICDBCS", "\xC1\x0E", {units(u"A"), 1, 1}, 1},
      {"no single bytes", "GB18030", "\x80\xFF", {units(u"??"), 2, 0}},
      {"key below 0", "GB18030", "\x81\x20", {units(u"?"), 2, 0}},
      {"gap in the list", "GB18030", "\x81\x43", {units(u"?"), 2, 0}},
      {"past U+10FFFF", "GB18030", "\xE3\x32\x9A\x36", {units(u"?"), 4, 0}},
      {"between the planes", "GB18030", "\x85\x30\x81\x30", {units(u"?"), 4, 0}},
      {"pair into one unit", "GB18030", "\x90\x30\x81\x30", {Units(), 0, 1}, 1},
      {"pair into one unit", "UTF8", "\xF0\x90\x80\x80", {Units(), 0, 1}, 1},
      {"no lead", "UTF8", "\x80\xBF\xF8\xFF", {units(u"????"), 4, 0}},
      {"overlong slash", "UTF8", "\xC0\xAF", {units(u"/"), 2, 0}},
      {"following bytes are not checked", "UTF8", "\xC3\x41", {units(u"\u00C1"), 2, 0}},
      {"past U+10FFFF", "UTF8", "\xF4\x90\x80\x80\xF7\xBF\xBF\xBF", {{0xDC00, 0xDC00, 0xDFBF, 0xDFFF}, 8, 0}},
      {"nothing", "UTF8", "", {Units(), 0, 0}, 0},
  });
}

TEST(Convert, FromUcs2) {
  expect_rows<FromUcs2>({
      {"unmapped", "ASCIISBCS", units(u"\u00E8\u0402"), {"??", 2, 0}},
      {"each surrogate by itself", "ASCIIDBCS", units(u"\U00010000"), {"??", 2, 0}},
      {"a lone high surrogate is no cut", "ASCIIMBCS", Units{0xD800}, {"?", 1, 0}},
      {"pair without room", "ASCIIDBCS", units(u"A\u3000"), {"A", 1, 1}, 2},
      {"prefixed without room", "ASCIIMBCS", units(u"\u4E5A"), {"", 0, 1}, 3},
      {"single byte value", "ASCIIMBCS", units(u"\u0401"), {"\x80", 1, 0}},
      {"variant by the table, unmapped", "EBCDICSBCS", units(u"!$\u0085\n"), {"\x5A\x6F\x6F\x15", 4, 0}},
      {"runs", "EBCDICDBCS", units(u"\u4E00\u3041a!"), {"\x0E\x41\x41\x44\x8F\x0F\x81\x5A", 4, 0}},
      {"unmapped in double mode", "EBCDICDBCS", units(u"\u4E00\u4E01"), {"\x0E\x41\x41\x0F\x6F", 2, 0}},
      {"table single in double mode", "EBCDICDBCS", units(u"\u4E00!"), {"\x0E\x41\x41\x0F\x5A", 2, 0}},
      {"no room after a shift-in", "EBCDICDBCS", units(u"\u4E00A"), {"\x0E\x41\x41", 1, 1}, 4},
      {"no room after a shift-out", "EBCDICDBCS", units(u"\u4E00"), {"", 0, 1}, 2},
      {"shift-out as a character", "EBCDICDBCS", units(u"\x0E\x41"), {"\x0E\x0F\xC1", 2, 0}},
      {"then a shift-out", "EBCDICDBCS", units(u"\u4E00A\x0EZ"), {"\x0E\x41\x41\x0F\xC1\x0F\x0E\xE9", 4, 0}},
      {"low surrogate first", "GB18030", {0xDC00, 'A'}, {"?A", 2, 0}},
      {"high surrogate takes its neighbour", "GB18030", {0xD800, 'A', 'B'}, {"?B", 3, 0}},
      {"high surrogate at the end", "GB18030", {'A', 0xD800}, {"A", 1, 2}},
      {"single byte range, gap", "GB18030", units(u"\u0080\u0081"), {"\x80?", 2, 0}},
      {"value list holds nothing", "GB18030", units(u"\u4E03"), {"?", 1, 0}},
      {"low surrogate first", "UTF8", {0xDC00, 'A'}, {"?A", 2, 0}},
      {"high surrogate takes its neighbour", "UTF8", {0xDBFF, 'A', 'B'}, {"?B", 3, 0}},
      {"high surrogate at the end", "UTF8", {0xD800}, {"", 0, 2}},
      {"four bytes into three", "UTF8", units(u"\U0010FFFF"), {"", 0, 1}, 3},
  });
}

TEST(Convert, ToUtf8) {
  expect_rows<ToUtf8>({
      {"no character", "ASCIISBCS", "\x81", {"?", 1, 0}},
      {"three bytes into two", "ASCIISBCS", "\x80", {"", 0, 1}, 2},
      {"surrogate passes", "UTF8", "\xED\xA0\x80", {"\xED\xA0\x80", 3, 0}},
      {"large value passes", "UTF8", "\xF4\x90\x80\x80", {"\xF4\x90\x80\x80", 4, 0}},
      {"overlong forms shrink, no lead", "UTF8", "\xE0\x80\xAF\xF0\x80\x80\x80\x80", {{"/\0?", 3}, 8, 0}},
      {"overlong, then on", "UTF8", "\xC3\xA9\xC0\xAF\xC3\xA9\xC1\xBF", {"\xC3\xA9/\xC3\xA9\x7F", 8, 0}},
      {"cut", "UTF8", "A\xC3", {"A", 1, 2}},
  });
}

TEST(Convert, FromUtf8) {
  expect_rows<FromUtf8>({
      {"cut", "ASCIISBCS", "A\xC3", {"A", 1, 2}},
      {"four bytes are a wrong character and a stray", "ASCIISBCS", "\xF0\x83\xA9\x80", {"\xE9?", 4, 0}},
      {"every high lead has three bytes", "ASCIIDBCS", "\xF3\x80\x80\xFF\xBC\xBF", {"\x81\x40?", 6, 0}},
      {"no lead", "ASCIIMBCS", "\x80\xBF", {"??", 2, 0}},
      {"overlong forms of ASCII pass", "ASCIIDBCS", "\xC1\x81\xE0\x81\x81", {"AA", 5, 0}},
      {"stray in EBCDIC", "EBCDICSBCS", "\xBF", {"\x6F", 1, 0}},
      {"stray in double mode", "EBCDICDBCS", "\xE4\xB8\x80\x80", {"\x0E\x41\x41\x0F\x6F", 4, 0}},
      {"a shift-out", "EBCDICDBCS", "\xE4\xB8\x80\x41\x0EZ", {"\x0E\x41\x41\x0F\xC1\x0F\x0E\xE9", 6, 0}},
      {"no lead", "GB18030", "\xF8\xBF", {"??", 2, 0}},
      {"past U+10FFFF", "GB18030", "\xF4\x90\x80\x80", {"\xE3\x32\x9A\x36", 4, 0}},
      {"largest value", "GB18030", "\xF7\xBF\xBF\xBF", {"\x31\x32\xB2\x35", 4, 0}},
      {"four bytes into three", "GB18030", "\xF0\x90\x80\x80", {"", 0, 1}, 3},
  });
}

TEST(Convert, OsIsLatin1AgainstUcs2AndRawAgainstUtf8) {
  EXPECT_EQ(convert<ToUcs2>(os_cs, "A\xE9\xFF"), (Converted<ToUcs2>{units(u"A\u00E9\u00FF"), 3, 0}));
  EXPECT_EQ(convert<FromUcs2>(os_cs, units(u"A\u01E9")), (Converted<FromUcs2>{"A\xE9", 2, 0}));
  EXPECT_EQ(convert<ToUtf8>(os_cs, "A\xE9\x80"), (Converted<ToUtf8>{"A\xE9\x80", 3, 0}));
  EXPECT_EQ(convert<FromUtf8>(os_cs, "A\xE9\x80", 2), (Converted<FromUtf8>{"A\xE9", 2, 1}));
  for (const uint16_t kind : {uint16_t{0}, uint16_t{5}, uint16_t{7}, uint16_t{11}, uint16_t{65535}}) {
    const Codeset codeset = load_image(TableImage(kind, "ODD").bytes);
    EXPECT_EQ(convert<ToUcs2>(codeset.get(), "\xE9").out, units(u"\u00E9")) << kind;
    EXPECT_STREQ(xcs_get_cs_name(codeset.get()), "UNKNOWN") << kind;
  }
}

// The substitution byte stands for one character; from any other it means that the character has no place.
TEST(Convert, TheSubstitutionByteHasOneSource) {
  const struct {
    uint16_t source, unit;
    const char *byte, *want;
  } rows[] = {{0x401, 0x401, "\x1A", "\x1A?"},
              {0xFFFF, 0x401, "\x1A", "??"},
              {0xFFFF, 0xFFFF, "\x1A", "??"},
              {0xFFFF, 0xFFFF, "\xFF", "\xFF?"}};
  for (const auto& row : rows) {
    TableImage image(XCS_KIND_ASCII_SBCS, "SUB", {{row.byte, row.unit}});
    image.set(58, row.source);
    EXPECT_EQ(convert<FromUcs2>(load_image(image.bytes).get(), {row.unit, 0x402}).out, row.want)
        << row.source;
  }
}

TEST(Convert, CodePage1047) {
  const struct {
    bool invariant;
    Bytes bytes, characters;
  } rows[] = {{true, Bytes("\x00\x07\x0E\x3F\x40\x4B\x6D\x6F\x81\xC1\xE9\xF9", 12),
               Bytes("\0\x7F\x0E\x1A ._?aAZ9", 12)},
              {false, "\x5A\x7F\x7B\x5B\x7C\xAD\xE0\xBD\x5F\x79\xC0\x4F\xD0\xA1", "!\"#$@[\\]^`{|}~"},
              {false, "\x41\x9F\x51\xDF\x20\xFF", "\xA0\xA4\xE9\xFF\x80\x9F"}};
  for (const auto& row : rows) {
    for (size_t i = 0; i < row.bytes.size(); ++i) {
      const auto byte = static_cast<uint8_t>(row.bytes[i]), unit = static_cast<uint8_t>(row.characters[i]);
      EXPECT_TRUE(def_eb_to_ucs[byte] == unit && def_ucs_to_eb[unit] == byte) << int{byte};
      EXPECT_TRUE(invar_eb_to_ucs[byte] == row.invariant && invar_ucs_to_eb[unit] == row.invariant)
          << int{byte};
    }
  }
  EXPECT_TRUE(def_eb_to_ucs[0x15] == '\n' && def_eb_to_ucs[0x25] == '\n' && def_ucs_to_eb['\n'] == 0x15);
  EXPECT_EQ(def_ucs_to_eb[0x85], 0x6F);
  EXPECT_EQ(std::count(invar_ucs_to_eb.begin(), invar_ucs_to_eb.end(), 1), 128 - 14);
  EXPECT_EQ(std::count(invar_eb_to_ucs.begin(), invar_eb_to_ucs.end(), 1), 128 - 14 + 1)
      << "two bytes for a line end";
}

TEST(Convert, ANullInputResetsTheState) {
  const Codeset mixed = family("EBCDICDBCS").codeset();
  mixed->from_state = mixed->to_state = 1;
  EXPECT_EQ(finish<FromUcs2>(mixed.get(), 0), (Converted<FromUcs2>{"", 0, 1})) << "no room for the shift-in";
  EXPECT_EQ(finish<FromUtf8>(mixed.get()), (Converted<FromUtf8>{"\x0F", 0, 0}));
  EXPECT_EQ(finish<ToUcs2>(mixed.get()), (Converted<ToUcs2>{Units(), 0, 0}));
  EXPECT_TRUE(mixed->from_state == 0 && mixed->to_state == 0);
  EXPECT_EQ(finish<FromUcs2>(mixed.get()).out, "");

  const Codeset utf8 = family("UTF8").codeset();
  utf8->from_state = utf8->to_state = 1;
  EXPECT_EQ(xcs_to_utf8_r(utf8.get(), nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_EQ(utf8->to_state, 1) << "the UTF-8 pair keeps the state";
  EXPECT_EQ(xcs_to_ucs2_r(utf8.get(), nullptr, nullptr, nullptr, nullptr), 0);
  EXPECT_TRUE(utf8->from_state == 1 && utf8->to_state == 0);
}

TEST(WholeText, IsCutTerminatedAndFlushed) {
  const Codeset mixed = family("EBCDICDBCS").codeset();
  mixed->from_state = mixed->to_state = 1;
  const Units text = units(u"A\u4E00");
  char bytes[8];
  const auto from = [&](int length, uint32_t size) {
    std::fill_n(bytes, sizeof bytes, '#');
    const uint32_t written = xcs_from_ucs2(mixed.get(), text.data(), length, bytes, size);
    return Bytes(bytes, sizeof bytes).substr(0, written + 1);
  };
  EXPECT_EQ(from(2, 8), "\xC1\x0E\x41\x41\x0F#") << "counted: flushed, not terminated";
  EXPECT_EQ(from(-1, 8), Bytes("\xC1\x0E\x41\x41\x0F\0#", 7));
  EXPECT_EQ(from(-1, 5), Bytes("\xC1\x0E\x41\x41\0#", 6)) << "no room for the flush";
  EXPECT_EQ(from(-1, 4), Bytes("\xC1\0#", 3));
  EXPECT_EQ(from(-1, 1), Bytes("\0#", 2));
  EXPECT_EQ(from(-1, 0), "#");
  EXPECT_TRUE(mixed->from_state == 1 && mixed->to_state == 1) << "works on a copy";

  uint16_t unit[3] = {9, 9, 9};
  EXPECT_EQ(xcs_to_ucs2(mixed.get(), "\xC1", -1, unit, 1), 1u);
  EXPECT_EQ(unit[0], 0);
  EXPECT_EQ(xcs_to_ucs2(mixed.get(), "\xC1\xC1", -1, unit, 3), 3u);
  EXPECT_EQ(Units(unit, 3), Units({'A', 'A', 0}));
  EXPECT_EQ(xcs_to_utf8(utf8_cs, "\xC3\xA9", -1, bytes, 2), 1u)
      << "a character that does not fit is left out";
  EXPECT_EQ(xcs_from_utf8(utf8_cs, nullptr, -1, bytes, 2), 1u) << "NULL is an empty text";
  EXPECT_EQ(xcs_to_utf8(utf8_cs, "A", 1, nullptr, 9), 0u) << "nowhere to go";
}

TEST(WholeText, IntoAFreshBlock) {
  uint32_t written = 99;
  char* block = xcs_tou_alloc(family("ASCIISBCS").codeset().get(), "\x80\x80", 2, &written);
  EXPECT_EQ(Bytes(block, written), "\xE2\x82\xAC\xE2\x82\xAC");
  xcs_free(block);
  EXPECT_TRUE(xcs_fromu_alloc(utf8_cs, "A", -1, &written) == nullptr && written == 0);
}

// Where bytes and units are alike, text passes in runs; what is above stops them at any place.
TEST(Convert, Latin1PassesInRuns) {
  CodeMap codes;
  Bytes bytes(256, '\0');
  for (uint16_t unit = 0; unit < 256; ++unit) bytes[unit] = static_cast<char>(unit);
  for (uint16_t unit = 0x80; unit < 256; ++unit) codes[bytes.substr(unit, 1)] = unit;
  const Codeset codeset = load_image(TableImage(XCS_KIND_ASCII_SBCS, "LATIN1", codes).bytes);
  const Units same = convert<ToUcs2>(codeset.get(), bytes).out;
  for (uint16_t unit = 0; unit < 256; ++unit) EXPECT_EQ(same[unit], unit);
  for (uint16_t above = 0x100; above != 0; above = static_cast<uint16_t>(above << 1)) {
    for (size_t place = 0; place < 40; ++place) {
      Units units = same;
      units[place] = above;
      Bytes want = bytes;
      want[place] = '?';
      ASSERT_EQ(convert<FromUcs2>(codeset.get(), units).out, want) << above << " at " << place;
    }
  }
}

}  // namespace

}  // namespace mar
