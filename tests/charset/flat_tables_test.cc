// Conversions by flat tables are those by the table file, at every level of vector instructions.
#include "charset/flat_tables.h"

#include <gtest/gtest.h>

#include <random>
#include <thread>
#include <utility>

#include "tests/charset/conversions.h"
#include "tests/charset/levels.h"

namespace mar {

namespace {

constexpr const char* kFamilies[] = {"ASCIIDBCS", "GB18030"};

// The family's characters, codes by chance that share their first byte, ASCII and any units.
template <class Unit>
std::basic_string<Unit> text_of(const Family& family, size_t size, std::mt19937& random) {
  std::basic_string<Unit> text;
  while (text.size() < size) {
    const auto& character = family.characters[random() % family.characters.size()];
    const auto kind = random() % 8;
    for (auto run = 1 + random() % (kind == 0 ? 60 : 7); run != 0; --run) {
      if constexpr (sizeof(Unit) == 1) {
        text += kind < 5 ? character.bytes : Bytes{character.bytes[0], static_cast<char>(random())};
      } else {
        text += kind < 5 ? character.units : Units{static_cast<uint16_t>(random())};
      }
      if (kind == 4) text += 'a';
    }
  }
  return text.substr(0, size);
}

template <class D>
void expect_the_same(xcs_cs_t* by_file, xcs_cs_t* by_tables, const InText<D>& in) {
  for (const size_t room : {4 * in.size() + 8, in.size(), in.size() / 2}) {
    const auto want = convert<D>(by_file, in, room);
    ASSERT_TRUE(convert<D>(by_tables, in, room) == want) << testing::PrintToString(in) << " room " << room;
  }
}

class FlatTables : public EachLevel {};

TEST_P(FlatTables, ConvertAsTheTableFile) {
  for (const char* name : kFamilies) {
    SCOPED_TRACE(name);
    const Family& codes = family(name);
    const Codeset by_file = codes.codeset(), by_tables = codes.codeset();
    by_file->verified = 0;
    convert_much(by_file.get());
    EXPECT_TRUE(by_file->flat->decoding == nullptr && by_file->flat->encoding == nullptr) << "not verified";
    convert_much(by_tables.get());
    ASSERT_TRUE(by_tables->flat->decoding != nullptr && by_tables->flat->encoding != nullptr);
    std::mt19937 random(7);
    for (size_t size = 0; size < 700; size += stride()) {
      const Bytes bytes = text_of<char>(codes, size, random);
      const Units units = text_of<uint16_t>(codes, size, random);
      const Bytes utf8 =
          convert<ToUtf8>(utf8_cs, convert<FromUcs2>(utf8_cs, units, 4 * size).out, 8 * size).out;
      expect_the_same<ToUcs2>(by_file.get(), by_tables.get(), bytes);
      expect_the_same<FromUcs2>(by_file.get(), by_tables.get(), units);
      expect_the_same<ToUtf8>(by_file.get(), by_tables.get(), bytes);
      expect_the_same<FromUtf8>(by_file.get(), by_tables.get(), size % 3 == 0 ? bytes : utf8);
      if (HasFatalFailure()) return;
    }
    Units all;
    for (uint32_t unit = 0; unit != charset::kFlatEntries; ++unit) all += static_cast<uint16_t>(unit);
    expect_the_same<FromUcs2>(by_file.get(), by_tables.get(), all);
    Bytes fours;
    for (uint32_t number = 0; number != 80000; ++number) {
      const auto code = charset::gb_four_bytes(number);
      fours.append(code.begin(), code.end());
    }
    expect_the_same<ToUcs2>(by_file.get(), by_tables.get(), fours);
  }
}

// Else the loop would convert it, and nothing else would show that.
TEST_P(FlatTables, LongTextGoesThroughTheKernels) {
  static const charset::VectorKernels* real;
  static int calls;
  real = GetParam()->kernels;
  calls = 0;
  if (real->bytes_to_codes == nullptr) return;
  charset::VectorKernels counting = *real;
  counting.bytes_to_codes = [](auto& from, auto* end, auto& to, auto* to_end) {
    ++calls;
    real->bytes_to_codes(from, end, to, to_end);
  };
  counting.codes_to_bytes = [](auto& from, auto* end, auto& to, auto* to_end) {
    ++calls;
    real->codes_to_bytes(from, end, to, to_end);
  };
  const Codeset codeset = family(kFamilies[0]).codeset();
  convert_much(codeset.get());
  charset::use_vectors({"counting", nullptr, &counting});
  Bytes bytes;
  for (int i = 0; i != 200; ++i) bytes += "\x81\x40";
  const Units units(200, 0x3000);
  const auto kernels_used = [] { return std::exchange(calls, 0) != 0; };
  const Bytes utf8 = convert<ToUtf8>(codeset.get(), bytes).out;
  EXPECT_TRUE(kernels_used()) << "to UTF-8";
  convert<ToUcs2>(codeset.get(), bytes);
  EXPECT_TRUE(kernels_used()) << "to UCS-2";
  convert<FromUcs2>(codeset.get(), units);
  EXPECT_TRUE(kernels_used()) << "from UCS-2";
  convert<FromUtf8>(codeset.get(), utf8);
  EXPECT_TRUE(kernels_used()) << "from UTF-8";
  charset::use_vectors(*GetParam());
}

INSTANTIATE_TEST_SUITE_P(Level, FlatTables, testing::ValuesIn(EachLevel::supported()), EachLevel::name);

TEST(FlatTableLimit, ConversionsDoWithoutTables) {
  const Family& codes = family(kFamilies[0]);
  const Codeset codeset = codes.codeset();
  ASSERT_TRUE(charset::take_flat_bytes(charset::kFlatLimitBytes)) << "all codesets so far gave theirs back";
  convert_much(codeset.get());
  EXPECT_TRUE(codeset->flat->decoding == nullptr && codeset->flat->encoding == nullptr);
  charset::return_flat_bytes(charset::kFlatLimitBytes);
  convert_much(codeset.get());
  EXPECT_TRUE(codeset->flat->decoding != nullptr && codeset->flat->encoding != nullptr);
}

TEST(FlatTableThreads, BuildThemTogether) {
  const Family& codes = family(kFamilies[1]);
  std::mt19937 random(8);
  const Bytes text = text_of<char>(codes, charset::kFlatWorth, random);
  const auto converted = [&](xcs_cs_t* codeset) {
    Units units(2 * text.size(), 0);
    units.resize(xcs_to_ucs2(codeset, text.data(), static_cast<int>(text.size()), units.data(),
                             static_cast<uint32_t>(units.size())));
    return units;
  };
  const Codeset codeset = codes.codeset(), by_file = codes.codeset();
  by_file->verified = 0;
  const Units want = converted(by_file.get());
  std::vector<Units> got(4);
  std::vector<std::thread> threads;
  for (Units& units : got) threads.emplace_back([&] { units = converted(codeset.get()); });
  for (std::thread& thread : threads) thread.join();
  for (const Units& units : got) EXPECT_TRUE(units == want);
}

}  // namespace

}  // namespace mar
