// Wide strings and multibyte text, as the standard functions would have them.
#include "charset/wide_string.h"

#include <gtest/gtest.h>

#include "charset/multibyte.h"
#include "tests/charset/conversions.h"

namespace mar {

namespace {

// Runs `call` on a buffer that holds `start` and then "#". Returns `shown` units of the result.
template <class Call>
Units after(std::u16string_view start, size_t shown, Call call) {
  Units room = units(start) + Units(1, 0) + Units(12, '#');
  call(room.data());
  return room.substr(0, shown);
}

TEST(WideString, CopiesAndAppends) {
  const Units ab = units(u"ab");
  EXPECT_EQ(after(u"", 4, [&](uint16_t* to) { EXPECT_EQ(xcs_wcscpy(to, ab.c_str()), to); }),
            Units({'a', 'b', 0, '#'}));
  EXPECT_EQ(after(u"x", 5, [&](uint16_t* to) { EXPECT_EQ(xcs_wcscat(to, ab.c_str()), to); }),
            Units({'x', 'a', 'b', 0, '#'}));
  const struct {
    uint32_t n;
    Units ncpy, ncat;
  } rows[] = {{0, {0, '#'}, {'x', 0, '#'}},
              {1, {'a', '#'}, {'x', 'a', 0, '#'}},
              {2, {'a', 'b', '#'}, {'x', 'a', 'b', 0, '#'}},
              {5, {'a', 'b', 0, 0, 0, '#'}, {'x', 'a', 'b', 0, '#'}}};
  for (const auto& row : rows) {
    EXPECT_EQ(after(u"", row.ncpy.size(), [&](uint16_t* to) { xcs_wcsncpy(to, ab.c_str(), row.n); }),
              row.ncpy);
    EXPECT_EQ(after(u"x", row.ncat.size(), [&](uint16_t* to) { xcs_wcsncat(to, ab.c_str(), row.n); }),
              row.ncat);
  }
}

TEST(WideString, Searches) {
  const Units text = units(u"banana");
  const uint16_t* const s = text.c_str();
  const auto place = [&](const uint16_t* found) {
    return found == nullptr ? -1 : static_cast<int>(found - s);
  };
  EXPECT_TRUE(xcs_wcslen(s) == 6 && xcs_wcsnlen(s, 4) == 4 && xcs_wcsnlen(s + 6, 4) == 0);
  const struct {
    uint16_t unit;
    int first, last;
  } singles[] = {{'a', 1, 5}, {'b', 0, 0}, {'x', -1, -1}, {0, 6, 6}};
  for (const auto& row : singles) {
    EXPECT_TRUE(place(xcs_wcschr(s, row.unit)) == row.first && place(xcs_wcsrchr(s, row.unit)) == row.last)
        << row.unit;
  }
  const struct {
    const char16_t* set;
    uint32_t complement;
    int first, as_needle;
  } sets[] = {{u"ab", 0, 0, -1}, {u"n", 2, 2, 2},     {u"", 6, -1, 0},
              {u"ana", 1, 1, 1}, {u"xyz", 6, -1, -1}, {u"bananas", 0, 0, -1}};
  for (const auto& row : sets) {
    const Units set = units(row.set);
    EXPECT_EQ(xcs_wcscspn(s, set.c_str()), row.complement) << testing::PrintToString(set);
    EXPECT_EQ(place(xcs_wcspbrk(s, set.c_str())), row.first) << testing::PrintToString(set);
    EXPECT_EQ(place(xcs_wcswcs(s, set.c_str())), row.as_needle) << testing::PrintToString(set);
  }
  EXPECT_TRUE(xcs_wcsspn(s, units(u"ab").c_str()) == 2 && xcs_wcsspn(s, units(u"anb").c_str()) == 6);
}

TEST(WideString, ComparesUnsigned) {
  const Units low = units(u"ab"), high = {'a', 0xFFFF}, hidden_a = {'a', 0, 'x'}, hidden_b = {'a', 0, 'y'};
  EXPECT_EQ(xcs_wcsncmp(low.c_str(), high.c_str(), 2), 'b' - 0xFFFF);
  EXPECT_EQ(xcs_wcsncmp(high.c_str(), low.c_str(), 1), 0);
  EXPECT_EQ(xcs_wcsncmp(units(u"x").c_str(), low.c_str(), 0), 0);
  EXPECT_EQ(xcs_wcsncmp(low.c_str(), units(u"a").c_str(), 9), 'b');
  EXPECT_EQ(xcs_wcsncmp(hidden_a.c_str(), hidden_b.c_str(), 9), 0) << "stops at the terminator";
}

TEST(WideString, Tokens) {
  Units text = units(u",a,,bc;"), only = units(u",;,");
  const Units delimiters = units(u",;");
  uint16_t* save = nullptr;
  EXPECT_EQ(xcs_wcstok(nullptr, delimiters.c_str(), &save), nullptr);
  EXPECT_EQ(Units(xcs_wcstok(text.data(), delimiters.c_str(), &save)), units(u"a"));
  EXPECT_EQ(save, text.data() + 3);
  EXPECT_EQ(Units(xcs_wcstok(nullptr, delimiters.c_str(), &save)), units(u"bc"));
  EXPECT_EQ(xcs_wcstok(nullptr, delimiters.c_str(), &save), nullptr);
  EXPECT_EQ(xcs_wcstok(only.data(), delimiters.c_str(), &save), nullptr);
  EXPECT_EQ(save, only.data() + 3);
}

TEST(Multibyte, OneCharacter) {
  uint16_t unit = 9;
  EXPECT_TRUE(xcs_mbtowc(utf8_cs, &unit, "", 1) == 0 && unit == 0);
  EXPECT_EQ(xcs_mbtowc(family("ASCIIDBCS").codeset().get(), &unit, "\x81\x40\xC3", 3), 2);
  EXPECT_EQ(unit, 0x3000);
  EXPECT_EQ(xcs_mblen(family("EBCDICDBCS").codeset().get(), "\x0E\x41\x41\x0F", 4), 3);
  EXPECT_TRUE(xcs_mblen(utf8_cs, "\xC3\xA9", 2) == 2 && xcs_mblen(utf8_cs, "\xC3\xA9", 1) == -1);
  EXPECT_EQ(xcs_mblen(utf8_cs, "\xF0\x90\x80\x80", 4), -1) << "beyond the BMP";
  EXPECT_EQ(xcs_mblen(utf8_cs, nullptr, 4), 0);
  char bytes[4];
  EXPECT_EQ(xcs_wctomb(utf8_cs, bytes, 0xD800), -1);
  EXPECT_EQ(xcs_wctomb(utf8_cs, bytes, 0xDC00), 1) << "a low surrogate is a question mark";
  EXPECT_EQ(xcs_wctomb(utf8_cs, nullptr, 'A'), 0);
  const Codeset mixed = family("EBCDICDBCS").codeset();
  EXPECT_EQ(xcs_wctomb(mixed.get(), bytes, 0x4E00), 3);
  EXPECT_EQ(xcs_wctomb(mixed.get(), bytes, 0x4E00), 2) << "the state is kept";
}

TEST(Multibyte, StringsOfUnits) {
  const struct {
    const char *name, *family;
    Units in;
    uint32_t size;
    long want;
    Bytes bytes;  // and what must stay untouched after it
    long count;
  } rows[] = {
      {"with terminator", "UTF8", {'a', 0xE9}, 4, 3, {"a\xC3\xA9\0#", 5}, 3},
      {"exactly", "UTF8", {'a', 0xE9}, 3, 3, "a\xC3\xA9#", 3},
      {"a character does not fit", "UTF8", {'a', 0xE9}, 2, 1, {"a\0#", 3}, 3},
      {"no room", "UTF8", {'a'}, 0, 0, "#", 1},
      {"pair", "UTF8", {'a', 0xD800, 0xDC00}, 9, -1, "a#", -1},
      {"in double mode", "EBCDICDBCS", {0x4E00}, 9, 4, {"\x0E\x41\x41\x0F\0#", 6}, 4},
      {"looks ahead", "EBCDICDBCS", {0x4E00, 'A', 0x0E}, 9, 7, {"\x0E\x41\x41\x0F\xC1\x0F\x0E\0#", 9}, 7}};
  for (const auto& row : rows) {
    const Codeset codeset = family(row.family).codeset();
    codeset->from_state = 1;
    const GuardedBuffer in(row.in);
    Bytes out(12, '#');
    EXPECT_EQ(xcs_wcstombs(codeset.get(), out.data(), in.begin(), row.size), row.want) << row.name;
    EXPECT_EQ(out.substr(0, row.bytes.size()), row.bytes) << row.name;
    EXPECT_EQ(xcs_wcstombs(codeset.get(), nullptr, in.begin(), 0), row.count) << row.name;
    EXPECT_EQ(codeset->from_state, 1) << row.name;
  }
  EXPECT_EQ(xcs_wcstombs(os_cs, nullptr, units(u"a\u0100b").c_str(), 0), 1) << "a byte of 0 ends it";
}

TEST(Multibyte, StringsOfBytes) {
  const struct {
    const char *name, *family;
    Bytes in;
    uint32_t size;
    long want;
    Units units;
    long count;
  } rows[] = {{"with terminator", "UTF8", "a\xC3\xA9", 3, 2, {'a', 0xE9, 0, '#'}, 2},
              {"exactly", "UTF8", "a\xC3\xA9", 2, 2, {'a', 0xE9, '#'}, 2},
              {"no room", "UTF8", "\xC3", 0, 0, {'#'}, -1},
              {"cut by the terminator", "UTF8", "a\xE2\x82", 9, -1, {'a', '#'}, -1},
              {"lead before the terminator", "ASCIIDBCS", "\x81", 9, -1, {'#'}, -1},
              {"shift-in before the terminator", "EBCDICDBCS", "\x0E\x41\x41\x0F", 9, 1, {0x4E00, 0, '#'}, 1},
              {"empty", "EBCDICDBCS", "", 9, 0, {0, '#'}, 0}};
  for (const auto& row : rows) {
    const Codeset codeset = family(row.family).codeset();
    codeset->to_state = 1;
    const GuardedBuffer in(row.in);
    Units out(9, '#');
    EXPECT_EQ(xcs_mbstowcs(codeset.get(), out.data(), in.begin(), row.size), row.want) << row.name;
    EXPECT_EQ(out.substr(0, row.units.size()), row.units) << row.name;
    EXPECT_EQ(xcs_mbstowcs(codeset.get(), nullptr, in.begin(), 0), row.count) << row.name;
    EXPECT_EQ(codeset->to_state, 1) << row.name;
  }
}

}  // namespace

}  // namespace mar
