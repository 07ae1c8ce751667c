// What ucvtab refuses, with which exit code and place, and what it finds in damaged tables.
#include <sys/stat.h>

#include "tests/ucvtab/tool.h"

namespace mar {

using Refusal = Tool;

TEST_F(Refusal, OfTextsNamesFileAndLine) {
  const struct {
    const char* text;
    int code;
    const char* message;
  } rows[] = {
      {"\xEF\xBB\xBF# ACME\n", 3, "page.txt:1: starts with a byte order mark; save it as UTF-8 without one"},
      {"\xFF\xFE#", 3, "page.txt:1: starts with a byte order mark"},
      {"codeset A\nkind 5\n", 3, "page.txt:2: no tables of kind 5"},
      {"codeset A\nkind one\n", 3, "page.txt:2: not a number: one"},
      {"codeset A\n80 U+20AC\n", 3, "page.txt:2: the kind line must come before the first code"},
      {"kind 1\n80 U+20AC\n", 3, "page.txt: no codeset line"},
      {"codeset a-1\nkind 1\n", 3, "page.txt: a-1: a name has capital letters and digits only"},
      {"codeset UTF8\nkind 1\n", 3, "page.txt: UTF8: this name means a codeset without a table"},
      {"codeset QXOA\nkind 1\n", 3, "page.txt: QXOA: name look-up removes a leading QXO"},
      {"codeset ABCDEFGHIJKLMNOPQRSTUV\nkind 10\n", 3, "a name has at most 21 characters"},
      {"codeset A\nkind 1\n80 U+110000\n", 3, "page.txt:3: not a code point: U+110000"},
      {"codeset A\nkind 1\n80 U+1F600\n", 3, "page.txt:3: tables cannot hold U+1F600"},
      {"codeset A\nkind 1\n80 U+D800\n", 3, "page.txt:3: tables cannot hold U+D800"},
      {"codeset A\nkind 1\n80 U+FFFF\n", 3, "page.txt:3: tables cannot hold U+FFFF"},
      {"codeset A\nkind 1\n8140 U+3000\n", 3, "page.txt:3: the code is too long for the kind"},
      {"codeset A\nkind 3\n8140414243 U+3000\n", 3, "page.txt:3: neither a directive nor a code: 8140414243"},
      {"codeset A\nkind 1\n80 U+20AC\n80 U+20AD >\n", 3, "page.txt:4: 80 is decoded twice"},
      {"codeset A\nkind 1\n80 U+20AC\n81 U+20AC\n", 3, "page.txt:4: U+20AC is encoded twice"},
      {"codeset A\nkind 1\n5C U+00A5\n", 3, "page.txt:3: 5C is always U+005C"},
      {"codeset A\nkind 8\nC1 U+0391\n", 3, "page.txt:3: C1 is always U+0041"},
      {"codeset A\nkind 1\n80 U+20AC both\n", 3, "page.txt:3: a direction is =, < or >"},
      {"codeset A\nkind 1\n80 U+20AC = 1\n", 3,
       "page.txt:3: expected a directive, or a code and a character"},
      {"codeset A\nkind 1\nlead 81\n80 U+20AC\n", 3, "page.txt:3: lead is for kinds 2 and 3"},
      {"codeset A\nmin-run 4\nkind 1\n", 3, "page.txt:2: min-run is for kind 10"},
      {"codeset A\nkind 2\n81 U+0080\n8140 U+3000\n", 4, "page.txt:3: A: byte 81 is a character and starts"},
      {"codeset A\nkind 3\n81A1 U+3000\n81A2A1 U+3001\n", 4, "page.txt:4: A: byte 81 starts codes of diff"},
      {"codeset A\nkind 3\n4140 U+3000\n", 4, "page.txt:3: A: an ASCII byte starts a code"},
      {"codeset A\nkind 2\nFFFF U+3000 <\n", 4, "page.txt:3: A: code FFFF cannot be written"},
      {"codeset A\nkind 1\nsub 80\n80 U+00C0\n80 U+00C1 <\n", 4,
       "page.txt:5: A: several characters map to the substitution byte 80"},
      {"codeset A\nkind 10\n8130 U+3000\n", 4, "page.txt:3: A: no GB18030 code: 8130"},
      {"codeset A\nkind 10\n90308130 U+3000\n", 4, "page.txt:3: A: no GB18030 code: 90308130"},
      {"codeset A\nkind 4\n0140 U+3000 >\n", 4, "page.txt:3: A: pairs start with 40 to FE, unlike 0140"},
      // Tables that are sound in themselves, but that the converters would read in another way.
      {"codeset A\nkind 4\n0140 U+3000 <\n", 4, "page.txt:3: A: U+3000 encodes to 0140, which nothing"},
      {"codeset A\nkind 2\n81 U+4E00 <\n8140 U+4E01\n", 4, "page.txt:3: A: U+4E00 encodes to 81, which"},
      {"codeset A\nkind 2\n4181 U+4E00 <\n", 4, "page.txt:3: A: U+4E00 encodes to 4181, which nothing"},
      {"codeset A\nkind 3\n8140 U+4E00\n81404040 U+4E02 <\n", 4, "page.txt:4: A: U+4E02 encodes to 8140404"},
      {"codeset A\nkind 1\nsub 80 U+2020\n", 4, "page.txt:3: A: U+2020 encodes to 80, which nothing decodes"},
  };
  for (const auto& row : rows) {
    write("page.txt", row.text);
    const Outcome outcome = run("build text:page.txt");
    EXPECT_EQ(outcome.code, row.code) << row.text;
    EXPECT_NE(outcome.error.find(row.message), std::string::npos) << row.text << outcome.error;
    EXPECT_EQ(read("A"), "") << row.text;
  }
}

TEST_F(Refusal, OfCatalogueRowsNamesFileAndLine) {
  write("page.txt", "codeset OTHER\nkind 1\n80 U+20AC\n");
  const struct {
    const char* row;
    int code;
    const char* message;
  } rows[] = {
      {"A 1", 3, "list:2: a row needs a name, a kind and a source"},
      {"A 7 iconv:KOI8-R", 3, "list:2: no tables of kind 7"},
      {"B 1 iconv:KOI8-R", 3, "list:2: B is listed twice"},
      {"A 1 iconv:KOI8-R brave", 3, "list:2: unknown policy: brave"},
      {"A 1 iconv:KOI8-R ascii=x", 3, "list:2: not a number: x"},
      {"A 1 file:KOI8-R", 3, "list:2: a source is iconv:NAME, icu:NAME or text:FILE, not file:KOI8-R"},
      {"A 1 iconv:NO-SUCH-SET", 5, "list:2: iconv does not convert from NO-SUCH-SET"},
      {"A 1 icu:no-such-set", 5, "list:2: ICU does not know no-such-set"},
      {"A 2 iconv:SHIFT_JIS", 4, "gives another meaning to 2 ASCII bytes, 0 allowed: 5C 7E"},
      {"A 8 iconv:IBM290", 4, "invariant bytes, 0 allowed: "},
      {"A 1 iconv:KOI8-R\n+ A3 20AC U+", 3, "list:3: a correction is \"+\", a code and its character"},
      {"A 1 iconv:KOI8-R\n+ A3 U+20AC\n+ A3 U+20AD", 3, "list:4: A3 is corrected twice"},
      {"A 1 text:page.txt\n+ 80 U+20AC", 3, "list:3: text:page.txt needs no corrections"},
      {"A 1 text:page.txt", 3, "page.txt:1: the codeset is A"},
      {"A 1 text:missing.txt", 6, "list:2: missing.txt: No such file or directory"},
      // Codes longer than the kind holds, in both directions; CP1258 holds characters back.
      {"A 1 iconv:EUC-JP", 4, "list:2: iconv:EUC-JP has codes that start with 8E, too long for kind 1"},
      {"A 2 iconv:EUC-JP", 4, "list:2: iconv:EUC-JP has codes that start with 8FA2, too long for kind 2"},
      {"A 3 iconv:UTF-7", 4, "list:2: iconv:UTF-7 has codes that start with 2B, a character of its own"},
      {"A 1 iconv:CP1258", 4, "list:2: iconv:CP1258 encodes U+00C3 as 41DE, too long for kind 1"},
      {"A 10 iconv:EUC-JP", 4, "list:2: A: no GB18030 code: 80"},
      {"A 1 iconv", 3, "list:2: not a plain name of a charset: iconv"},
      {"A 1 iconv:KOI8-R//TRANSLIT", 3, "list:2: not a plain name of a charset: iconv:KOI8-R//TRANSLIT"},
  };
  for (const auto& row : rows) {
    write("list", std::string("B 1 iconv:KOI8-R\n") + row.row + "  # comment\n");
    const Outcome outcome = run("build --catalogue list A");
    EXPECT_EQ(outcome.code, row.code) << row.row;
    EXPECT_NE(outcome.error.find(row.message), std::string::npos) << row.row << "\n" << outcome.error;
  }
  EXPECT_EQ(run("build --no-such-option").code, 2);
  EXPECT_EQ(run("build --catalogue missing A").code, 6);
  EXPECT_EQ(run("build --catalogue list CP9999").code, 5);
  EXPECT_EQ(run("build text:page.txt text:page.txt").error,
            "ucvtab: page.txt: OTHER is built already, from page.txt\n");
}

// Each policy next to its opposite, on sources where they differ.
TEST_F(Refusal, OfMappingsFollowsThePolicy) {
  const struct {
    const char* source;
    const char* policy;
    const char* options;  // of convert, "TABLE" being the table
    const char* in;
    const char* out;
  } rows[] = {
      // Yen sign and overline encode to what is ASCII here.
      {"2 iconv:SHIFT_JIS", "keep ascii=2", "-f utf-8 -t TABLE", "¥‾", "\x5C\x7E"},
      {"2 iconv:SHIFT_JIS", "safe ascii=2", "-f utf-8 -t TABLE", "¥‾", "??"},
      // A block element that encodes to a private-use character's byte: one-way, but no harm.
      {"1 icu:windows-874-2000", "safe", "-f utf-8 -t TABLE", "\u2584\uF8C2", "\xDC\xDC"},
      {"1 icu:windows-874-2000", "strict", "-f utf-8 -t TABLE", "\u2584\uF8C2", "?\xDC"},
      {"1 icu:windows-874-2000", "no-private-use", "-f TABLE -t utf-8", "\xA1\xDC", "ก?"},
      {"1 icu:windows-1252", "", "-f utf-8 -t TABLE", "\u0081", "\x81"},
      {"1 icu:windows-1252", "no-c1", "-f utf-8 -t TABLE", "\u0081", "?"},
      // Two codes decode to one character, or the source prefers one that does not.
      {"1 iconv:CP1046", "", "-f utf-8 -t TABLE", "\uFEB1", "\xD3"},
      {"1 iconv:CP1046", "round-trip", "-f utf-8 -t TABLE", "\uFEB1", "\x83"},
      // A correction replaces what one code decodes to; what else was encoded to that code still is.
      {"1 icu:ibm-869", "", "-f TABLE -t utf-8", "\x88", "\u0387"},
      {"1 icu:ibm-869", "\n+ 88 U+00B7", "-f TABLE -t utf-8", "\x88", "\u00B7"},
      {"1 icu:ibm-869", "\n+ 88 U+00B7", "-f utf-8 -t TABLE", "\u0387\u00B7", "\x88\x88"},
      {"4 iconv:IBM1399", "invariant=30", "-f TABLE -t utf-8", "\x41", "\x1A"},
      {"4 iconv:IBM1399", "invariant=30 no-sub", "-f TABLE -t utf-8", "\x41", "?"},
  };
  for (const auto& row : rows) {
    write("list", std::string("TABLE ") + row.source + " " + row.policy + "\n");
    must("build --catalogue list");
    write("in", row.in);
    std::string options = row.options;
    options.replace(options.find("TABLE"), 5, "./TABLE");
    EXPECT_EQ(must("convert " + options + " in"), row.out) << row.source << ' ' << row.policy;
  }
}

TEST_F(Refusal, OfAliasesNamesTheLine) {
  write("list", "KOI8R 1 iconv:KOI8-R\nKOI8U 1 iconv:KOI8-U\n");
  const struct {
    std::string content;
    const char* fault;
  } rows[] = {
      {"# fine\nA KOI8R\nB KOI8U\n", ""},
      {"KOI-8 KOI8R\n", "aliases:1: KOI-8 is not in the form"},
      {"A KOI8R\nQXOB KOI8R\n", "aliases:2: QXOB: name look-up removes"},
      {"KOI8U KOI8R\n", "aliases:1: KOI8U is a table itself"},
      {"UTF8 KOI8R\n", "aliases:1: UTF8 must not lead to a table"},
      {"ANSIX341968 KOI8R\n", "must not lead to a table"},
      {"A B\nB KOI8R\n", "aliases:1: no table B"},
      {"A KOI8R\n\nB KOI8R", "aliases:3: the last line has no newline"},
      {"A KOI8R\nB \x1B[2J\n", "aliases:2: no table \\x1B[2J"},
      {"A KOI8R\nA KOI8U\n", "aliases:2: A is listed before"},
      {"A\n", "aliases:1: not an alias and a table name"},
      {"A KOI8R" + std::string(120, ' ') + "\n", "longer than 126"},
  };
  for (const auto& row : rows) {
    write("aliases", row.content);
    const Outcome outcome = run("aliases --catalogue list aliases");
    EXPECT_EQ(outcome.code, *row.fault == '\0' ? 0 : 1) << row.content;
    EXPECT_NE(outcome.error.find(row.fault), std::string::npos) << row.content << outcome.error;
  }

  // The tables beside the file are there without a catalogue, and with one, too.
  build_text("MINE", "codeset MINE\nkind 1\n");
  write("aliases", "M MINE\nA KOI8R\n");
  EXPECT_EQ(must("aliases --catalogue list aliases"), "");
  EXPECT_EQ(run("aliases aliases").error, "aliases:2: no table KOI8R\n");
}

TEST_F(Refusal, SpoiledTablesAreFound) {
  build_text("ONE", "codeset ONE\nkind 1\n80 U+20AC\n");
  build_text("TWO", "codeset TWO\nkind 2\n8140 U+3000\n");
  build_text("THREE", "codeset THREE\nkind 3\n81A1A2 U+3000\n");
  build_text("TEN", "codeset TEN\nkind 10\n8140 U+4E02\n");
  const struct {
    const char* table;
    size_t offset;
    const char* bytes;  // two of them
    const char* finding;
  } rows[] = {
      {"ONE", 224 + 2 * 0x20, "\xFF\xFF",
       "a position leads out of the file, or a look-up takes too many steps"},
      {"ONE", 736 + 2 * 0x41, "\x42\x01", "byte 41 is not U+0041"},
      {"ONE", 59, "\x20\x80", "U+20AC is lost, as its code is the substitution byte"},
      {"ONE", 60, "\x90\x00", "65406 characters that are not its own encode to 1A"},
      {"ONE", 80, "zz", "the content does not match its stamp"},
      {"ONE", 16, "o-", "o-E: a name has capital letters and digits only"},
      {"ONE", 0, "\xDF\x06", "the data region starts at a bad offset"},
      {"ONE", 1760 + 512 + 0xAC, "\x81\x81", "U+20AC encodes to 81, which nothing decodes"},
      {"TWO", 1248 + 0x90, "\x03\x03", "byte 90 has a class above 2"},
      {"THREE", 1248 + 0x90, "\x00\x00", "byte 90 has a bad class"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(must(std::string("check ") + row.table), "");
    std::string spoiled = read(row.table);
    spoiled.replace(row.offset, 2, row.bytes, 2);
    write("SPOILED", spoiled);
    const Outcome outcome = run("check SPOILED");
    EXPECT_EQ(outcome.code, 1) << row.finding;
    EXPECT_NE(outcome.output.find(row.finding), std::string::npos) << row.finding << "\n" << outcome.output;
  }
  write("SPOILED", read("ONE").substr(0, 1759));
  EXPECT_EQ(run("check SPOILED").code, 3);

  // A file that is no table does not stop the check of the others. DIRECTORY/* includes an aliases file.
  write("aliases", "A ONE\n");
  write("ESCAPE", read("ONE").replace(16, 4, "\x1B[2J"));
  const Outcome several = run("check SPOILED aliases missing ESCAPE");
  EXPECT_EQ(several.code, 6);
  EXPECT_EQ(several.error,
            "ucvtab: SPOILED: not a codeset table\nucvtab: missing: No such file or directory\n");
  EXPECT_NE(several.output.find("ESCAPE: \\x1B[2J: a name has"), std::string::npos) << several.output;
  EXPECT_EQ(run("info aliases").code, 3);
}

// Small tables that would lead a reader over the same bytes for hours, and a huge file.
TEST_F(Refusal, OfEndlessTablesIsQuick) {
  build_text("THREE", "codeset THREE\nkind 3\nlead 81 82\n8F8F8F8F U+3000\n");
  std::string circle = read("THREE");
  circle.replace(1248 + 0x81, 1, "\x04");
  circle.replace(736 + 2 * 0x81, 2, std::string(2, '\0'));
  circle.replace(1760, 516, std::string("\0\1\0\0", 4) + std::string(512, '\0'));
  write("CIRCLE", circle);

  build_text("TEN", "codeset TEN\nkind 10\n8140 U+4E02\n");
  std::string walk = read("TEN");
  walk.replace(1760, std::string::npos, std::string(32, '\0'));
  for (int i = 0; i < 200000; ++i) walk.append("\0\0\0\0\1\0\0\0", 8);
  write("WALK", walk);

  write("HUGE", walk);
  std::filesystem::resize_file(path("HUGE"), size_t{4} << 30);

  for (const std::string name : {"CIRCLE", "WALK", "HUGE"}) {
    EXPECT_EQ(run("check " + name, "timeout 10").code, name == "HUGE" ? 3 : 1) << name;
    for (const std::string command : {"info ", "dump ", "diff TEN "}) {
      EXPECT_EQ(run(command + name, "timeout 10").code, 3) << command << name;
    }
  }
}

TEST_F(Refusal, OfLostOutputAndOfOtherFiles) {
  build_text("ONE", "codeset ONE\nkind 1\n80 U+20AC\n");
  // A FIFO without a writer, on which a blocking open never returns.
  ASSERT_EQ(mkfifo(path("FIFO").c_str(), 0600), 0);
  for (const char* command : {"info", "check", "dump", "diff text:ONE.txt"}) {
    const Outcome outcome = run(std::string(command) + " FIFO", "timeout 10");
    EXPECT_EQ(outcome.error, "ucvtab: FIFO: not a regular file\n") << command;
    EXPECT_EQ(outcome.code, 3) << command;
  }
  EXPECT_EQ(run("dump " XCSDIR_BUILT "/codeset/EUCJP >/dev/full; exit $?").code, 6);
  // A table of the same name in XCSDIR is another one.
  write("other.txt", "codeset ONE\nkind 1\n80 U+00C0\n");
  must("build -o codeset text:other.txt");
  write("in", "\x80");
  EXPECT_EQ(must("convert -f ./ONE -t utf-8 in", "XCSDIR=."), "€");
  EXPECT_EQ(run("convert -f ./TWO -t utf-8 in").error, "ucvtab: ./TWO: No such file or directory\n");

  // The temporary file is never written through a link planted under its name, and is removed if it cannot be
  // finished. The shell knows the name because exec keeps the process number.
  must("build text:ONE.txt", "ln -s in ONE.new.$$.0; exec");
  EXPECT_EQ(read("in"), "\x80");
  EXPECT_EQ(run("build -o cut text:ONE.txt", "trap '' XFSZ; ulimit -f 1;").code, 6);
  EXPECT_TRUE(std::filesystem::is_empty(path("cut")));
}

TEST_F(Refusal, OfHostileTablesIsOrderly) {
  for (const char* name : {"ISO88591", "CP1258", "CP1255", "CP935", "CP1047", "GB18030"}) {
    std::string table = read(std::string("../../") + XCSDIR_BUILT "/codeset/" + name);
    ASSERT_GE(table.size(), 1760u);
    uint32_t seed = 20261121;
    for (int round = 0; round < 4; ++round) {
      for (size_t at = 0; at < 40; ++at) {
        seed = seed * 1664525 + 1013904223;
        // The magic and the kind stay. Everything else in and after the header may change.
        const size_t offset = seed % (round % 2 == 0 ? 1760u : static_cast<uint32_t>(table.size()));
        if (offset < 8 || (offset > 10 && offset < 48) || offset > 52)
          table[offset] = static_cast<char>(seed >> 24);
      }
      if (round == 2) std::swap(table[48], table[49]);  // the kind: from now on in the other byte order
      write("HOSTILE", table);
      for (const char* command : {"dump HOSTILE", "info HOSTILE", "check HOSTILE"}) {
        const int code = run(command).code;
        EXPECT_TRUE(code == 0 || code == 1 || code == 3) << name << ' ' << command << ' ' << code;
      }
    }
  }
}

}  // namespace mar
