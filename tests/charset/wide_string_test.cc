// Wide strings and multibyte text. Tables of arguments and results, as the standard functions would have
// them.
#include "charset/wide_string.h"

#include <gtest/gtest.h>

#include "charset/multibyte.h"
#include "tests/charset/conversions.h"

namespace {

// A buffer with "#" behind what a call should write.
struct Room {
  explicit Room(std::u16string_view start = u"") {
    std::fill_n(units, 12, uint16_t{'#'});
    *std::copy(start.begin(), start.end(), units) = 0;
  }
  Units first(size_t count) const { return Units(units, count); }
  uint16_t units[12];
};

TEST(WideString, CopiesAndAppends) {
  const Units ab = units(u"ab");
  Room copy;
  EXPECT_EQ(xcs_wcscpy(copy.units, ab.c_str()), copy.units);
  EXPECT_EQ(copy.first(4), Units({'a', 'b', 0, '#'}));
  const struct {
    uint32_t n;
    Units ncpy, ncat;
  } rows[] = {
      {0, {0, '#'}, {'x', 0, '#'}},
      {1, {'a', '#'}, {'x', 'a', 0, '#'}},
      {2, {'a', 'b', '#'}, {'x', 'a', 'b', 0, '#'}},
      {5, {'a', 'b', 0, 0, 0, '#'}, {'x', 'a', 'b', 0, '#'}},
  };
  for (const auto& row : rows) {
    Room to;
    xcs_wcsncpy(to.units, ab.c_str(), row.n);
    EXPECT_EQ(to.first(row.ncpy.size()), row.ncpy) << row.n;
    Room end(u"x");
    xcs_wcsncat(end.units, ab.c_str(), row.n);
    EXPECT_EQ(end.first(row.ncat.size()), row.ncat) << row.n;
  }
  Room end(u"x");
  xcs_wcscat(end.units, ab.c_str());
  EXPECT_EQ(end.first(5), Units({'x', 'a', 'b', 0, '#'}));
}

TEST(WideString, Searches) {
  const Units text = units(u"banana");
  const uint16_t* const s = text.c_str();
  const auto place = [&](const uint16_t* found) {
    return found == nullptr ? -1 : static_cast<int>(found - s);
  };
  EXPECT_EQ(xcs_wcslen(s), 6u);
  EXPECT_EQ(xcs_wcsnlen(s, 4), 4u);
  EXPECT_EQ(xcs_wcsnlen(s + 6, 4), 0u);
  EXPECT_EQ(place(xcs_wcschr(s, 'a')), 1);
  EXPECT_EQ(place(xcs_wcschr(s, 'x')), -1);
  EXPECT_EQ(place(xcs_wcschr(s, 0)), 6);
  EXPECT_EQ(place(xcs_wcsrchr(s, 'a')), 5);
  EXPECT_EQ(place(xcs_wcsrchr(s, 'b')), 0);
  EXPECT_EQ(place(xcs_wcsrchr(s, 'x')), -1);
  EXPECT_EQ(place(xcs_wcsrchr(s, 0)), 6);
  const struct {
    const char16_t* set;
    uint32_t span, complement;
    int first;
  } sets[] = {{u"ab", 2, 0, 0}, {u"n", 0, 2, 2}, {u"", 0, 6, -1}, {u"xyz", 0, 6, -1}, {u"nab", 6, 0, 0}};
  for (const auto& row : sets) {
    const Units set = units(row.set);
    EXPECT_EQ(xcs_wcsspn(s, set.c_str()), row.span);
    EXPECT_EQ(xcs_wcscspn(s, set.c_str()), row.complement);
    EXPECT_EQ(place(xcs_wcspbrk(s, set.c_str())), row.first);
  }
  const struct {
    const char16_t* needle;
    int place;
  } needles[] = {{u"ana", 1}, {u"nana", 2}, {u"", 0}, {u"banana", 0}, {u"bananas", -1}, {u"nab", -1}};
  for (const auto& row : needles) EXPECT_EQ(place(xcs_wcswcs(s, units(row.needle).c_str())), row.place);
}

TEST(WideString, ComparesUnsigned) {
  const Units low = units(u"ab"), high = {'a', 0xFFFF};
  EXPECT_EQ(xcs_wcsncmp(low.c_str(), high.c_str(), 2), 'b' - 0xFFFF);
  EXPECT_EQ(xcs_wcsncmp(high.c_str(), low.c_str(), 1), 0);
  EXPECT_EQ(xcs_wcsncmp(low.c_str(), high.c_str(), 0), 0);
  EXPECT_EQ(xcs_wcsncmp(low.c_str(), units(u"a").c_str(), 9), 'b');
  const Units hidden_a = {'a', 0, 'x'}, hidden_b = {'a', 0, 'y'};
  EXPECT_EQ(xcs_wcsncmp(hidden_a.c_str(), hidden_b.c_str(), 9), 0) << "stops at the terminator";
}

TEST(WideString, Tokens) {
  Room text(u",a,,bc;");
  const Units delimiters = units(u",;");
  uint16_t* save = nullptr;
  EXPECT_EQ(xcs_wcstok(nullptr, delimiters.c_str(), &save), nullptr);
  const uint16_t* token = xcs_wcstok(text.units, delimiters.c_str(), &save);
  EXPECT_EQ(Units(token), units(u"a"));
  EXPECT_EQ(save, text.units + 3);
  EXPECT_EQ(Units(xcs_wcstok(nullptr, delimiters.c_str(), &save)), units(u"bc"));
  EXPECT_EQ(xcs_wcstok(nullptr, delimiters.c_str(), &save), nullptr);
  Room only(u",;,");
  EXPECT_EQ(xcs_wcstok(only.units, delimiters.c_str(), &save), nullptr);
  EXPECT_EQ(save, only.units + 3);
}

Codeset codeset_named(std::string_view name) {
  for (const Family& family : families()) {
    if (family.name == name) return family.codeset();
  }
  return nullptr;
}

TEST(Multibyte, OneCharacter) {
  const struct {
    const char* name;
    const char* family;
    Bytes bytes;
    int length;
    uint16_t unit;
  } rows[] = {
      {"NUL", "UTF8", Bytes(1, '\0'), 0, 0},
      {"nothing", "UTF8", "", -1, 9},
      {"two bytes", "UTF8", "\xC3\xA9", 2, 0xE9},
      {"cut", "UTF8", "\xC3", -1, 9},
      {"beyond the BMP", "UTF8", "\xF0\x90\x80\x80", -1, 9},
      {"first of several", "ASCIIDBCS", "\x81\x40\xC3", 2, 0x3000},
      {"behind a shift-out", "EBCDICDBCS", "\x0E\x41\x41\x0F", 3, 0x4E00},
  };
  for (const auto& row : rows) {
    const Codeset codeset = codeset_named(row.family);
    uint16_t unit = 9;
    EXPECT_EQ(xcs_mbtowc(codeset.get(), &unit, row.bytes.data(), static_cast<uint32_t>(row.bytes.size())),
              row.length)
        << row.name;
    EXPECT_EQ(unit, row.unit) << row.name;
    codeset->to_state = 0;
    EXPECT_EQ(xcs_mblen(codeset.get(), row.bytes.data(), static_cast<uint32_t>(row.bytes.size())),
              row.length);
  }
  char bytes[4];
  EXPECT_EQ(xcs_wctomb(utf8_cs, bytes, 0x20AC), 3);
  EXPECT_EQ(xcs_wctomb(utf8_cs, bytes, 0xD800), -1);
  EXPECT_EQ(xcs_wctomb(utf8_cs, bytes, 0xDC00), 1) << "a low surrogate is a question mark";
  EXPECT_EQ(xcs_wctomb(utf8_cs, nullptr, 'A'), 0);
  EXPECT_EQ(xcs_mbtowc(utf8_cs, nullptr, nullptr, 4), 0);
  const Codeset mixed = codeset_named("EBCDICDBCS");
  EXPECT_EQ(xcs_wctomb(mixed.get(), bytes, 0x4E00), 3);
  EXPECT_EQ(xcs_wctomb(mixed.get(), bytes, 0x4E00), 2) << "the state is kept";
  EXPECT_EQ(xcs_wctomb(mixed.get(), bytes, 'A'), 2);
}

TEST(Multibyte, StringsOfUnits) {
  const struct {
    const char* name;
    const char* family;
    Units in;
    uint32_t size;
    long want;
    Bytes bytes;  // with what must stay untouched behind it
    long count;
  } rows[] = {
      {"with terminator", "UTF8", units(u"a\u00E9"), 4, 3, {"a\xC3\xA9\0#", 5}, 3},
      {"exactly", "UTF8", units(u"a\u00E9"), 3, 3, "a\xC3\xA9#", 3},
      {"a character does not fit", "UTF8", units(u"a\u00E9"), 2, 1, {"a\0#", 3}, 3},
      {"no room", "UTF8", units(u"a"), 0, 0, "#", 1},
      {"pair", "UTF8", units(u"a\U00010000"), 9, -1, "a#", -1},
      {"in double mode", "EBCDICDBCS", units(u"\u4E00"), 9, 4, {"\x0E\x41\x41\x0F\0#", 6}, 4},
      {"shift-out behind a run",
       "EBCDICDBCS",
       units(u"\u4E00A\x0E"),
       9,
       7,
       {"\x0E\x41\x41\x0F\xC1\x0F\x0E\0#", 9},
       7},
      {"a byte of 0 ends it", "OS", units(u"a\u0100b"), 9, 1, {"a\0#", 3}, 1},
  };
  for (const auto& row : rows) {
    const Codeset owned = codeset_named(row.family);
    xcs_cs_t* const codeset = owned ? owned.get() : os_cs;
    const uint8_t state = codeset->from_state = 1;
    // The terminator is the last unit that may be read.
    const GuardedBuffer<uint16_t> in(row.in.size() + 1);
    std::copy_n(row.in.c_str(), row.in.size() + 1, in.begin());
    Bytes out(12, '#');
    EXPECT_EQ(xcs_wcstombs(codeset, out.data(), in.begin(), row.size), row.want) << row.name;
    EXPECT_EQ(out.substr(0, row.bytes.size()), row.bytes) << row.name;
    EXPECT_EQ(xcs_wcstombs(codeset, nullptr, in.begin(), 0), row.count) << row.name;
    EXPECT_EQ(codeset->from_state, state) << row.name;
    codeset->from_state = 0;
  }
}

TEST(Multibyte, StringsOfBytes) {
  const struct {
    const char* name;
    const char* family;
    Bytes in;
    uint32_t size;
    long want;
    Units units;
    long count;
  } rows[] = {
      {"with terminator", "UTF8", "a\xC3\xA9", 3, 2, {'a', 0xE9, 0, '#'}, 2},
      {"exactly", "UTF8", "a\xC3\xA9", 2, 2, {'a', 0xE9, '#'}, 2},
      {"no room", "UTF8", "\xC3", 0, 0, {'#'}, -1},
      {"cut by the terminator", "UTF8", "a\xE2\x82", 9, -1, {'a', '#'}, -1},
      {"lead before the terminator", "ASCIIDBCS", "\x81", 9, -1, {'#'}, -1},
      {"beyond the BMP", "GB18030", "\x90\x30\x81\x30", 9, -1, {'#'}, -1},
      {"shift-in before the terminator", "EBCDICDBCS", "\x0E\x41\x41\x0F", 9, 1, {0x4E00, 0, '#'}, 1},
      {"empty", "EBCDICDBCS", "", 9, 0, {0, '#'}, 0},
  };
  for (const auto& row : rows) {
    const Codeset codeset = codeset_named(row.family);
    codeset->to_state = 1;
    const GuardedBuffer<char> in(row.in.size() + 1);
    std::copy_n(row.in.c_str(), row.in.size() + 1, in.begin());
    Room out;
    out.units[0] = '#';
    EXPECT_EQ(xcs_mbstowcs(codeset.get(), out.units, in.begin(), row.size), row.want) << row.name;
    EXPECT_EQ(out.first(row.units.size()), row.units) << row.name;
    EXPECT_EQ(xcs_mbstowcs(codeset.get(), nullptr, in.begin(), 0), row.count) << row.name;
    EXPECT_EQ(codeset->to_state, 1) << row.name;
  }
}

}  // namespace
