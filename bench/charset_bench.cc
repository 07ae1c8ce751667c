// Our converters against iconv of the C library and ICU: texts of about 1 MiB and 64 bytes of ASCII words, of
// words half of which are in the codeset's letters, and of such letters alone, in all four directions. All
// converters are open beforehand and must give the same text. Prints for every row the times of one call and
// how many times faster ours is than the fastest other; then geometric means.
//   XCSDIR=build/bench/codesets build/bench/bench/charset_bench [--json FILE] [codeset...]
#include <iconv.h>
#include <unicode/ucnv.h>
#include <unicode/ustring.h>

#include <cmath>
#include <cstdlib>
#include <cstring>
#include <map>
#include <random>
#include <span>

#include "bench/side_by_side.h"
#include "charset/convert.h"

namespace mar {

namespace {

struct CodesetRow {
  const char* name;
  const char* iconv_name;
  const char* icu_name;
  const char* family;
  uint16_t first, last;  // range of its letters
};
constexpr CodesetRow kCodesets[] = {
    {"ISO88591", "ISO-8859-1", "ISO-8859-1", "single-byte", 0xC0, 0xFF},
    {"ISO88597", "ISO-8859-7", "ISO-8859-7", "single-byte", 0x391, 0x3CE},
    {"KOI8R", "KOI8-R", "KOI8-R", "single-byte", 0x410, 0x44F},
    {"CP1251", "CP1251", "windows-1251", "single-byte", 0x410, 0x44F},
    {"SHIFTJIS", "SHIFT_JIS", "Shift_JIS", "double-byte", 0x3041, 0x9FA5},
    {"BIG5", "BIG5", "Big5", "double-byte", 0x4E00, 0x9FA5},
    {"GBK", "GBK", "GBK", "double-byte", 0x4E00, 0x9FA5},
    {"EUCKR", "EUC-KR", "EUC-KR", "double-byte", 0xAC00, 0xD7A3},
    {"EUCJP", "EUC-JP", "EUC-JP", "multi-byte", 0x3041, 0x9FA5},
    {"EUCTW", "EUC-TW", "EUC-TW", "multi-byte", 0x4E00, 0x9FA5},
    {"CP037", "CP037", "ibm-37", "EBCDIC", 0xC0, 0xFF},
    {"CP1047", "CP1047", "ibm-1047", "EBCDIC", 0xC0, 0xFF},
    {"CP939", "CP939", "ibm-939", "mixed EBCDIC", 0x3041, 0x9FA5},
    {"CP933", "CP933", "ibm-933", "mixed EBCDIC", 0xAC00, 0xD7A3},
    {"GB18030", "GB18030", "GB18030", "GB18030, two bytes", 0x4E00, 0x9FA5},
    {"GB18030", "GB18030", "GB18030", "GB18030, four bytes", 0x905, 0x939},
    {"UTF8", "UTF-8", "UTF-8", "UTF-8", 0x410, 0x44F},
    {"UTF8", "UTF-8", "UTF-8", "UTF-8", 0x4E00, 0x9FA5},
};

enum Direction { kToUcs2, kFromUcs2, kToUtf8, kFromUtf8 };
constexpr Direction kDirections[] = {kToUcs2, kFromUcs2, kToUtf8, kFromUtf8};
constexpr const char* kDirectionNames[] = {"to UCS-2", "from UCS-2", "to UTF-8", "from UTF-8"};

// All texts are bytes; of UCS-2, in host order.
using Text = std::string;
const UChar* units(const char* text) { return reinterpret_cast<const UChar*>(text); }
UChar* units(char* text) { return reinterpret_cast<UChar*>(text); }

// Converters give the bytes written to `out`, which is large enough, or 0 when they fail.
class Ours {
 public:
  explicit Ours(const CodesetRow& row) : codeset_(xcs_cs_new(row.name)) {}
  ~Ours() { xcs_cs_free(codeset_); }
  Ours(const Ours&) = delete;
  Ours& operator=(const Ours&) = delete;
  bool is_open() const { return codeset_ != nullptr; }

  size_t convert(Direction direction, const Text& in, std::span<char> out) const {
    const auto length = static_cast<int>(in.size());
    const auto size = static_cast<uint32_t>(out.size());
    const auto* in_units = reinterpret_cast<const uint16_t*>(in.data());
    auto* out_units = reinterpret_cast<uint16_t*>(out.data());
    switch (direction) {
      case kToUcs2:
        return 2 * xcs_to_ucs2(codeset_, in.data(), length, out_units, size / 2);
      case kFromUcs2:
        return xcs_from_ucs2(codeset_, in_units, length / 2, out.data(), size);
      case kToUtf8:
        return xcs_to_utf8(codeset_, in.data(), length, out.data(), size);
      case kFromUtf8:
        return xcs_from_utf8(codeset_, in.data(), length, out.data(), size);
    }
    return 0;
  }

 private:
  xcs_cs_t* codeset_;
};

class Iconv {
 public:
  explicit Iconv(const CodesetRow& row)
      : streams_{iconv_open("UTF-16LE", row.iconv_name), iconv_open(row.iconv_name, "UTF-16LE"),
                 iconv_open("UTF-8", row.iconv_name), iconv_open(row.iconv_name, "UTF-8")} {}
  ~Iconv() {
    for (iconv_t stream : streams_) iconv_close(stream);
  }
  Iconv(const Iconv&) = delete;
  Iconv& operator=(const Iconv&) = delete;
  size_t convert(Direction direction, const Text& in, std::span<char> out) const {
    char* from = const_cast<char*>(in.data());
    char* to = out.data();
    size_t left = in.size(), room = out.size();
    const bool failed = iconv(streams_[direction], &from, &left, &to, &room) != 0;
    iconv(streams_[direction], nullptr, nullptr, &to, &room);  // ends the text, and starts the next
    return failed ? 0 : out.size() - room;
  }

 private:
  iconv_t streams_[4];
};

class Icu {
 public:
  explicit Icu(const CodesetRow& row) : codeset_(open(row.icu_name)), utf8_(open("UTF-8")) {}
  ~Icu() {
    ucnv_close(codeset_);
    ucnv_close(utf8_);
  }
  Icu(const Icu&) = delete;
  Icu& operator=(const Icu&) = delete;

  size_t convert(Direction direction, const Text& in, std::span<char> out) const {
    if (direction == kToUcs2) return to_ucs2(in, out);
    if (direction == kFromUcs2) return from_ucs2(in.data(), in.size(), out);
    const bool to = direction == kToUtf8;
    UErrorCode error = U_ZERO_ERROR;
    UChar pivot[1024];
    UChar *pivot_from = pivot, *pivot_to = pivot;
    const char* from = in.data();
    char* end = out.data();
    ucnv_convertEx(to ? utf8_ : codeset_, to ? codeset_ : utf8_, &end, out.data() + out.size(), &from,
                   in.data() + in.size(), pivot, &pivot_from, &pivot_to, pivot + std::size(pivot), true, true,
                   &error);
    return U_SUCCESS(error) ? static_cast<size_t>(end - out.data()) : 0;
  }

  // UTF-8 by way of the whole text in UTF-16, which is the faster way for some codesets.
  size_t convert_by_utf16(Direction direction, const Text& in, std::span<char> out) {
    UErrorCode error = U_ZERO_ERROR;
    pivot_.resize(4 * in.size());
    int32_t length = 0;
    if (direction == kFromUtf8) {
      u_strFromUTF8(units(pivot_.data()), static_cast<int32_t>(pivot_.size() / 2), &length, in.data(),
                    static_cast<int32_t>(in.size()), &error);
      return U_SUCCESS(error) ? from_ucs2(pivot_.data(), 2 * static_cast<size_t>(length), out) : 0;
    }
    const size_t bytes = to_ucs2(in, pivot_);
    u_strToUTF8(out.data(), static_cast<int32_t>(out.size()), &length, units(pivot_.data()),
                static_cast<int32_t>(bytes / 2), &error);
    return U_SUCCESS(error) ? static_cast<size_t>(length) : 0;
  }

 private:
  static UConverter* open(const char* name) {
    UErrorCode error = U_ZERO_ERROR;
    return ucnv_open(name, &error);
  }
  size_t to_ucs2(const Text& in, std::span<char> out) const {
    UErrorCode error = U_ZERO_ERROR;
    const char* from = in.data();
    UChar* to = units(out.data());
    ucnv_toUnicode(codeset_, &to, to + out.size() / 2, &from, from + in.size(), nullptr, true, &error);
    return U_SUCCESS(error) ? 2 * static_cast<size_t>(to - units(out.data())) : 0;
  }
  size_t from_ucs2(const char* in, size_t in_bytes, std::span<char> out) const {
    UErrorCode error = U_ZERO_ERROR;
    const UChar* from = units(in);
    char* to = out.data();
    ucnv_fromUnicode(codeset_, &to, to + out.size(), &from, from + in_bytes / 2, nullptr, true, &error);
    return U_SUCCESS(error) ? static_cast<size_t>(to - out.data()) : 0;
  }

  UConverter* codeset_;
  UConverter* utf8_;
  Text pivot_;
};

Text converted(const auto& converter, Direction direction, const Text& in) {
  Text out(8 * in.size() + 64, '\0');
  out.resize(converter.convert(direction, in, out));
  return out;
}

Text as_bytes(const std::u16string& text) {
  return {reinterpret_cast<const char*>(text.data()), 2 * text.size()};
}

// The characters of the range that all converters hold alike.
std::u16string letters(const CodesetRow& row, const Ours& ours, const Iconv& others, const Icu& icu) {
  std::u16string letters;
  for (uint32_t unit = row.first; unit <= row.last; ++unit) {
    const Text letter = as_bytes({1, static_cast<char16_t>(unit)});
    const Text bytes = converted(ours, kFromUcs2, letter);
    if (converted(ours, kToUcs2, bytes) == letter && converted(others, kFromUcs2, letter) == bytes &&
        converted(icu, kFromUcs2, letter) == bytes && converted(others, kToUcs2, bytes) == letter &&
        converted(icu, kToUcs2, bytes) == letter)
      letters += static_cast<char16_t>(unit);
  }
  return letters;
}

enum Content { kAscii, kMixed, kLetters };
constexpr Content kContents[] = {kAscii, kMixed, kLetters};
constexpr const char* kContentNames[] = {"ASCII", "mixed", "non-ASCII"};

// Words of 3 to 9 characters until `converter` makes at least `size` bytes of them, cut to at most that.
Text make_text(Content content, const std::u16string& letters, size_t size, const Ours& ours) {
  std::mt19937 random(1);
  std::u16string text;
  const auto bytes = [&] { return converted(ours, kFromUcs2, as_bytes(text)).size(); };
  for (bool word_of_letters = content == kLetters; text.size() < size;) {
    for (size_t length = 3 + random() % 7; length != 0; --length) {
      text +=
          word_of_letters ? letters[random() % letters.size()] : static_cast<char16_t>('a' + random() % 26);
    }
    if (content != kLetters) text += u' ';
    if (content == kMixed) word_of_letters = !word_of_letters;
  }
  // One character is one to three bytes: a few steps come near enough.
  for (size_t made; (made = bytes()) > size;)
    text.resize(text.size() - std::max<size_t>(1, (made - size) / 4));
  return as_bytes(text);
}

struct Mean {
  void add(double ratio) { logs += std::log(ratio), ++count; }
  double logs = 0;
  int count = 0;
};

// Room for a converter's output that lies elsewhere in its page with each use: a distance between input and
// output of a multiple of the page size makes some converters wait for their own stores.
class Output {
 public:
  explicit Output(size_t size) : bytes_(size + kPage, '\0'), size_(size) {}
  std::span<char> next() {
    offset_ = (offset_ + kStep) % kPage;
    return {bytes_.data() + offset_, size_};
  }
  std::string_view written(size_t length) const { return {bytes_.data() + offset_, length}; }

 private:
  static constexpr size_t kPage = 4096, kStep = 272;

  Text bytes_;
  size_t size_;
  size_t offset_ = 0;
};

struct Figures {
  std::map<std::string, Mean> means;
  double worst = 1e9;
  std::string worst_row;
};

void measure_row(const CodesetRow& row, Direction direction, Content content, const Text& text, bool is_long,
                 const Ours& ours, const Iconv& others, Icu& icu, Figures& figures, Results& results) {
  const Text bytes = converted(ours, kFromUcs2, text);
  const Text in = direction == kFromUcs2   ? text
                  : direction == kFromUtf8 ? converted(ours, kToUtf8, bytes)
                                           : bytes;
  std::vector<Output> out(4, Output(4 * in.size() + 64));
  size_t written[4];
  std::vector<Competitor> competitors = {
      {"ours", [&] { written[0] = ours.convert(direction, in, out[0].next()); }},
      {"iconv", [&] { written[1] = others.convert(direction, in, out[1].next()); }},
      {"ICU", [&] { written[2] = icu.convert(direction, in, out[2].next()); }}};
  if (direction == kToUtf8 || direction == kFromUtf8)
    competitors.push_back(
        {"ICU by UTF-16", [&] { written[3] = icu.convert_by_utf16(direction, in, out[3].next()); }});
  const auto times_us =
      median_times_us(competitors, is_long ? 9 : 15, is_long ? 1 : 1500, CLOCK_THREAD_CPUTIME_ID);

  const std::string name = std::string(row.name) + (is_long ? " long " : " short ") +
                           kDirectionNames[direction] + ", " + kContentNames[content];
  std::printf("%-38s", name.c_str());
  double fastest = times_us[1];
  for (size_t i = 0; i < competitors.size(); ++i) {
    std::printf(" %9.2f", times_us[i]);
    if (i != 0) fastest = std::min(fastest, times_us[i]);
    if (out[i].written(written[i]) != out[0].written(written[0]))
      std::printf(" (%s: another text)", competitors[i].name.c_str());
  }
  const double ratio = fastest / times_us[0];
  const std::string size = is_long ? "1 MiB" : "64 bytes";
  for (size_t i = 0; i < competitors.size(); ++i) {
    // Two rows of UTF-8 differ in their letters alone.
    results.add(std::string(row.family) + '/' + row.name + ' ' + std::to_string(row.first) + '/' + size +
                    '/' + kDirectionNames[direction] + '/' + kContentNames[content] + '/' +
                    competitors[i].name,
                times_us[i], times_us[i] / times_us[0]);
  }
  std::printf(competitors.size() == 3 ? "           %7.2f\n" : " %7.2f\n", ratio);

  figures.means["all"].add(ratio);
  figures.means[size].add(ratio);
  figures.means[size + ", " + kContentNames[content]].add(ratio);
  if (content == kLetters && is_long) figures.means[size + ", non-ASCII, " + row.family].add(ratio);
  if (ratio < figures.worst) figures.worst = ratio, figures.worst_row = name;
}

void measure_codeset(const CodesetRow& row, Figures& figures, Results& results) {
  const Ours ours(row);
  if (!ours.is_open()) {
    std::printf("%s: no table; XCSDIR has to name the directory of the codesets\n", row.name);
    return;
  }
  const Iconv others(row);
  Icu icu(row);
  const std::u16string alphabet = letters(row, ours, others, icu);
  if (alphabet.empty()) {
    std::printf("%s: no letters in common\n", row.name);
    return;
  }
  for (const bool is_long : {true, false}) {
    for (const Content content : kContents) {
      const Text text = make_text(content, alphabet, is_long ? 1 << 20 : 64, ours);
      for (const Direction direction : kDirections)
        measure_row(row, direction, content, text, is_long, ours, others, icu, figures, results);
    }
  }
}

}  // namespace

}  // namespace mar

using namespace mar;

int main(int argc, char** argv) {
  Results results(argc, argv);
  Figures figures;
  std::printf("%-38s %9s %9s %9s %9s %7s\n", "microseconds", "ours", "iconv", "ICU", "by UTF-16", "ratio");
  for (const CodesetRow& row : kCodesets) {
    const bool wanted = argc == 1 || std::any_of(argv + 1, argv + argc, [&](const char* name) {
                          return std::strcmp(name, row.name) == 0;
                        });
    if (wanted) measure_codeset(row, figures, results);
  }
  std::printf("\nGeometric means\n");
  for (const auto& [group, mean] : figures.means)
    std::printf("  %-36s %7.2f  (%d rows)\n", group.c_str(), std::exp(mean.logs / mean.count), mean.count);
  std::printf("Lowest row: %s %.2f\n", figures.worst_row.c_str(), figures.worst);
  return 0;
}
