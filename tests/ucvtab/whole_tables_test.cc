// The shipped codesets: one of each kind where all would take too long.
#include <algorithm>
#include <cstdlib>
#include <sstream>

#include "charset/single_rows.h"
#include "tests/ucvtab/tool.h"

namespace mar {

using ShippedTables = Tool;

const std::string kCatalogue = " --catalogue " CODESET_SOURCES "/catalogue ";
const std::string kTables = XCSDIR_BUILT "/codeset/";

// Neither the locale, the clock, the directory nor the order of the run gets into a table, and
// dump leaves nothing out.
TEST_F(ShippedTables, DependOnNothingButTheirSources) {
  must("build" + kCatalogue + "-o elsewhere/deep GB18030 CP1047 CP1388 EUCJP CP932 CP1250",
       "LC_ALL=C.UTF-8 TZ=Asia/Tokyo LANG=xx");
  for (const std::string name : {"CP1250", "CP932", "EUCJP", "CP1388", "CP1047", "GB18030"}) {
    const std::string shipped = read_file(kTables + name);
    EXPECT_TRUE(read("elsewhere/deep/" + name) == shipped) << name;
    write("dumped.txt", must("dump " + kTables + name));
    must("build text:dumped.txt");
    EXPECT_TRUE(read(name) == shipped) << name;
  }
}

TEST_F(ShippedTables, ConvertAsTheirSourcesDo) {
  const std::string report =
      must("verify" + kCatalogue + "-d " + kTables + " CP1250 CP932 EUCJP CP1388 CP1047 ISO88591 CP1258");
  EXPECT_NE(report.find("CP932\tencode\tone-way\t"), std::string::npos) << report;
}

TEST_F(ShippedTables, VerifyNoticesOneWrongByte) {
  std::filesystem::copy_file(kTables + "ISO88592", path("ISO88592"));
  EXPECT_EQ(must("verify" + kCatalogue + "ISO88592"), "");
  std::string table = read("ISO88592");
  table[736 + 2 * 0xA1] ^= 1;  // the character of byte A1
  write("ISO88592", table);
  const Outcome outcome = run("verify" + kCatalogue + "--list ISO88592");
  EXPECT_EQ(outcome.code, 1);
  EXPECT_EQ(outcome.output, "ISO88592\tdecode\tunexplained\tA1\nISO88592\tdecode\tunexplained\t1\n");
}

// GB18030 excuses no difference, and a source excuses no hole of its own.
TEST_F(ShippedTables, VerifyNoticesAMissingCodeOfGb18030) {
  std::string text = must("dump " + kTables + "GB18030");
  const std::string line = "8140 U+4E02\n";
  write("part.txt", text.erase(text.find(line), line.size()));
  must("build text:part.txt");
  EXPECT_EQ(run("verify" + kCatalogue + "GB18030 | diff -I '^#' " CODESET_SOURCES "/differences - | grep '>'")
                .output,
            "> GB18030\tdecode\tunexplained\t1\n> GB18030\tencode\thole\t1\n"
            "> GB18030\tencode\tunexplained\t1\n");
  write("part", "GB18030 10 text:part.txt\n");
  const Outcome outcome = run("verify --list --catalogue part GB18030");
  EXPECT_EQ(outcome.code, 1);
  for (const std::string what : {"decode\thole\t8140\n", "encode\thole\tU+4E02\n", "decode\thole\t1\n"})
    EXPECT_NE(outcome.output.find("GB18030\t" + what), std::string::npos) << what;
}

TEST_F(ShippedTables, HaveNoFaultsAndAllOfThemAreThere) {
  EXPECT_EQ(must("check " + kTables + "*"), "");
  EXPECT_EQ(must("aliases" + kCatalogue + CODESET_SOURCES "/aliases"), "");
  const std::string sums = read_file(CODESET_SOURCES "/sha256sums");
  EXPECT_EQ(std::count(sums.begin(), sums.end(), '\n'), 206);
  const std::filesystem::directory_iterator files(kTables);
  EXPECT_EQ(std::distance(begin(files), end(files)), 206 + 1) << "tables and the aliases file";
}

// Only the speed of a conversion with AVX-512 would show if more of them had none.
TEST_F(ShippedTables, LeaveHardlyACharacterWithoutASlot) {
  int codesets = 0, lost = 0;
  for (const auto& file : std::filesystem::directory_iterator(kTables)) {
    xcs_cs_t* const codeset = xcs_cs_new(file.path().c_str());
    if (codeset != nullptr && codeset->kind == XCS_KIND_ASCII_SBCS && !codeset->rows->latin1) {
      ++codesets;
      for (int byte = 0x80; byte < 0x100; ++byte) {
        const uint16_t unit = codeset->rows->to_unicode[byte];
        const bool comes_back = codeset->rows->from_unicode[unit] == byte;
        lost += comes_back && codeset->rows->slot_byte[codeset->rows->slot_of(unit)] != byte;
      }
    }
    xcs_cs_free(codeset);
  }
  EXPECT_EQ(codesets, 105);
  EXPECT_LE(lost, 4);
}

TEST_F(ShippedTables, AreFoundByTheNamesPeopleUse) {
  setenv("XCSDIR", XCSDIR_BUILT, 1);
  // The C locale's charset, in the last line, must stay without a table: UTF-8 file
  // names pass through only then.
  std::istringstream rows(
      "ISO88591 ISO-8859-1 latin1 l1 819\nISO88592 912\nISO88593 913\nISO88594 914\nISO88595 915\n"
      "ISO88598 916 ISO-8859-8-I\nISO88599 920\nISO885915 923\nCP1252 Windows-1252\nCP850 IBM850\n"
      "CP858 IBM00858 CP00858 CCSID00858 PC-Multilingual-850+euro\nCP866 866\nTIS620 TIS-620\nGBK 936\n"
      "CP949 MS949 KS_C_5601-1987 KSC_5601\nBIG5 950 windows-950 csBig5\nMACINTOSH macroman\nCP1047 1047\n"
      "CP037 ebcdic-cp-us\nCP1140 IBM01140 ebcdic-us-37+euro\nCP1149 CCSID01149 CP01149\n"
      "UTF8 utf-8 1208 cp65001\nnone ANSI_X3.4-1968\n");
  for (std::string row; std::getline(rows, row);) {
    std::istringstream names(row);
    std::string table;
    names >> table;
    for (std::string name; names >> name;) {
      xcs_cs_t* const codeset = xcs_cs_new(name.c_str());
      EXPECT_EQ(codeset == nullptr ? "none" : xcs_get_cs_name(codeset), table) << name;
      xcs_cs_free(codeset);
    }
  }
}

// The codes that the editions exchanged, those that both leave to private use, and their neighbours.
TEST_F(ShippedTables, Gb18030FollowsTheEditionOf2022) {
  xcs_cs_t* const codeset = xcs_cs_new((kTables + "GB18030").c_str());
  EXPECT_EQ(from_utf8(codeset, "\uFE10\uE78D\u9FBB\uE864"),
            "\xA6\xD9\x84\x31\x82\x36\xFE\xA0\x82\x35\x91\x34");
  EXPECT_EQ(from_utf8(codeset, "\uE816\U00020087\u1E3F\uE7C7"),
            "\xFE\x51\x95\x32\x90\x31\xA8\xBC\x81\x35\xF4\x37");
  EXPECT_EQ(from_utf8(codeset, "\u20AC\u0080\uFFFF"), "\xA2\xE3\x81\x30\x81\x30\x84\x31\xA4\x39");
  xcs_cs_free(codeset);
}

TEST_F(ShippedTables, AreFoundWhereTheyAreInstalledWithTheTool) {
  for (const char* directory : {"bin", "share/mar/codeset"})
    std::filesystem::create_directories(path(directory));
  std::filesystem::copy_file(UCVTAB, path("bin/ucvtab"));
  std::filesystem::copy_file(kTables + "KOI8R", path("share/mar/codeset/KOI8R"));
  write("share/mar/catalogue", "KOI8R 1 iconv:KOI8-R\n");
  write("in", "\xC1");
  program_ = "bin/ucvtab";
  EXPECT_EQ(must("convert -f koi8-r -t utf-8 in", "unset XCSDIR;"), "а");
  EXPECT_EQ(must("verify -d share/mar/codeset"), "");
  EXPECT_EQ(run("convert -f koi8-r -t utf-8 in", "XCSDIR=/nowhere").code, 5);
}

// The blocks of input and output end inside characters many times.
TEST_F(ShippedTables, ConvertLongTextInPieces) {
  const std::string environment = "XCSDIR=" XCSDIR_BUILT;
  const struct {
    const char *codeset, *utf8;
    size_t length;  // in the codeset
  } rows[] = {{"gb18030", "a字é\U00020087.", 1 + 2 + 2 + 4 + 1}, {"1388", "a字字b", 1 + 6 + 1}};
  for (const auto& row : rows) {
    std::string text;
    for (int i = 0; i < 20000; ++i) text += row.utf8;
    write("text", text);
    write("encoded", must(std::string("convert -f utf-8 text -t ") + row.codeset, environment));
    EXPECT_EQ(read("encoded").size(), 20000 * row.length);
    EXPECT_TRUE(must(std::string("convert -t utf-8 encoded -f ") + row.codeset, environment) == text);
  }
  write("cut", "ab\xE5\xAD");
  const Outcome outcome = run("convert -f utf-8 -t gb18030 cut", environment);
  EXPECT_EQ(outcome.code, 3);
  EXPECT_EQ(outcome.output, "ab");
  // The halves of a surrogate pair, each encoded alone, at the end of one file and the start of the next.
  write("high", "ab\xED\xA0\x80");
  write("low", "\xED\xB0\x80x");
  EXPECT_EQ(run("convert -f utf-8 -t gb18030 high", environment).code, 3);
  EXPECT_EQ(must("convert -f utf-8 -t gb18030 high low", environment), "ab\x90\x30\x81\x30x");
}

TEST_F(ShippedTables, StrictConversionTellsWhatItSubstitutes) {
  const struct {
    const char *options, *input, *output, *error;
  } rows[] = {
      {"-f utf-8 -t cp1252 --strict", "a?€\n", "a?\x80\n", ""},
      {"-f utf-8 -t iso-8859-1 --strict", "a\n€b€", "a\n?b?",
       "2 characters substituted, the first U+20AC without a code at byte 2, line 2"},
      {"-f utf-8 -t iso-8859-1 -c", "a\xFF€b", "ab",
       "2 characters left out, the first a malformed or unassigned code at byte 1, line 1"},
      {"-f utf-8 -t 1388 -c", "a\xE2\x82\xAC\xF0\x9F\x98\x80?", "\x81\x0E\x45\xEB\x0F\x6F",
       "1 character left out, the first U+1F600 without a code at byte 4, line 1"},
      {"-f utf-8 -t gb18030 --strict", "\xED\xA0\x80\xED\xB0\x80x", "\x90\x30\x81\x30x", ""},
      {"-f utf-8 -t gb18030 -c", "\xED\xA0\x80xy", "xy",
       "1 character left out, the first half a surrogate pair at byte 3, line 1"},
      {"-f gb18030 -t utf-8 --strict", "a\x80?\xFF", "a???",
       "2 characters substituted, the first a malformed or unassigned code at byte 1, line 1"},
  };
  for (const auto& row : rows) {
    write("in", row.input);
    const Outcome outcome = run(std::string("convert in ") + row.options, "XCSDIR=" XCSDIR_BUILT);
    EXPECT_EQ(outcome.output, row.output) << row.options;
    EXPECT_EQ(outcome.error, *row.error == 0 ? "" : "ucvtab: " + std::string(row.error) + "\n")
        << row.options;
    EXPECT_EQ(outcome.code, *row.error == 0 ? 0 : 1) << row.options;
  }
  // Whatever the codeset, the same bytes come out as without the option.
  std::string noise;
  for (uint32_t i = 0, x = 20261122; i < 6000; ++i, x = x * 1664525 + 1013904223)
    noise += static_cast<char>(x >> 24);
  write("noise", noise);
  for (const char* codeset : {"gb18030", "1388", "cp1047", "eucjp", "big5", "koi8-r", "utf-8"}) {
    const std::string decode = std::string("convert noise -t utf-8 -f ") + codeset;
    const std::string encode = std::string("convert text -f utf-8 -t ") + codeset;
    write("text", run(decode, "XCSDIR=" XCSDIR_BUILT).output + "é字\U0001F600");
    EXPECT_TRUE(run(decode + " --strict", "XCSDIR=" XCSDIR_BUILT).output + "é字\U0001F600" == read("text"))
        << codeset;
    EXPECT_TRUE(run(encode + " --strict", "XCSDIR=" XCSDIR_BUILT).output ==
                run(encode, "XCSDIR=" XCSDIR_BUILT).output)
        << codeset;
  }
}

TEST_F(ShippedTables, AreListed) {
  const std::string list = must("list", "XCSDIR=" XCSDIR_BUILT);
  EXPECT_EQ(std::count(list.begin(), list.end(), '\n'), 206);
  std::filesystem::copy_file(kTables + "KOI8R", path("KOI8R"));
  write("aliases", "# names\nCSKOI8R KOI8R\nKOI8 KOI8R\nCSKOI8R OTHER\n");
  write("noise", "no table");
  EXPECT_EQ(must("list ."),
            "KOI8R\tascii-sbcs\tCSKOI8R,KOI8\t" + std::to_string(read("KOI8R").size()) + "\n");
  EXPECT_EQ(run("list nowhere").code, 6);
}

}  // namespace mar
