// Code pages from texts, through the compiler and the product's converters, byte by byte.
#include <algorithm>

#include "tests/ucvtab/tool.h"

namespace mar {

using CodePage = Tool;

struct Page {
  const char* name;
  const char* text;
  std::string bytes;  // in the page,
  std::string utf8;   // and what it decodes to
  std::string from;   // UTF-8,
  std::string to;     // and what it encodes to
};

const Page kPages[] = {
    {"SINGLE",
     "codeset SINGLE\nkind 1\n"
     "80 U+20AC\n81 U+00A0 >   # decode only\nA0 U+00A0\nFF U+00FF\n2D U+2011 <\n",
     "a\x80\x81\xA0\xFF\x90", "a€\u00A0\u00A0ÿ?", "€\u00A0\u2011ÿé", "\x80\xA0-\xFF?"},
    // A character that encodes to the usual substitution byte must not read as substituted.
    {"SUBUSED", "codeset SUBUSED\nkind 1\n1A U+2192 <\n80 U+00C0\n", "\x80\x1A", "À\x1A", "→À←", "\x1A\x80?"},
    {"DOUBLE",
     "codeset DOUBLE\nkind 2\nlead 85\nA1 U+FF61\n8140 U+3000\n81FC U+25EF\n41CC U+00C0 <\nCC U+0300\n",
     "\x81\x40\x81\xFC\xA1\x81\x41\x85\x22z", "\u3000◯\uFF61??z", "\u3000◯\uFF61À?ü",
     "\x81\x40\x81\xFC\xA1"
     "A\xCC??"},
    // Lengths of two to four bytes, with prefix records of 0, 1 and 2 bytes.
    {"MULTI",
     "codeset MULTI\nkind 3\nA1A1 U+3000\n8EA1 U+FF61\n8FB0A1 U+4E02\n8FEDE3 U+9FA5\n9EA2B0A1 U+4E03\n90 "
     "U+0100\n",
     "\x8E\xA1\x8F\xB0\xA1\x8F\xED\xE3\x90\x9E\xA2\xB0\xA1\x8F\xB0\xA2\xA1\xA1", "\uFF61丂龥Ā七?\u3000",
     "丂\uFF61龥七Ā\u3000ü", "\x8F\xB0\xA1\x8E\xA1\x8F\xED\xE3\x9E\xA2\xB0\xA1\x90\xA1\xA1?"},
    {"MIXED", "codeset MIXED\nkind 4\n4A U+00A3\n4040 U+3000\n4F5A U+5B57\n5A U+0021\n",
     "\xC1\x0E\x4F\x5A\x40\x40\x0F\x4A\x5A\xC2", "A字\u3000£!B", "A字£!ü",
     "\xC1\x0E\x4F\x5A\x0F\x4A\x5A\x6F"},
    {"EBCDIC", "codeset EBCDIC\nkind 8\n4A U+00A3\n5A U+0021\n", "\xC1\x4A\x5A\x15\x7C", "A£!\n?", "A£!\n@",
     "\xC1\x4A\x5A\x15\x6F"},
    // One arithmetic run, one list, and a supplementary character that no table holds.
    {"GB",
     "codeset GB\nkind 10\nmin-run 3\n8140 U+4E02\n8141 U+4E04\n81308130 U+0080\n81308131 U+0081\n"
     "81308132 U+0082\n81308230 U+0100\n",
     "\x81\x40\x81\x41\x81\x30\x81\x31\x81\x30\x82\x30\x90\x30\x81\x30\x81\x42", "丂丄\u0081Ā\U00010000?",
     "丄\u0082Ā丁\U00010000", "\x81\x41\x81\x30\x81\x32\x81\x30\x82\x30?\x90\x30\x81\x30"},
    {"ACME1", "codeset ACME1\nkind 1\nnote made by hand\n80 U+20AC\n81 U+00A0\n", "\x80\x81\x82", "€\u00A0?",
     "€\u00A0é", "\x80\x81?"},
};

TEST_F(CodePage, ConvertsAsItsTextSays) {
  for (const Page& page : kPages) {
    xcs_cs_t* codeset = build_text(page.name, page.text);
    EXPECT_STREQ(xcs_get_cs_name(codeset), page.name);
    EXPECT_EQ(to_utf8(codeset, page.bytes), page.utf8) << page.name;
    EXPECT_EQ(from_utf8(codeset, page.from), page.to) << page.name;
    EXPECT_EQ(must(std::string("check ") + page.name), "") << page.name;
  }
}

// The files in both byte orders, as docs/codeset-tables.md draws them. `bytes` is big-endian; `width` is that
// of the numbers in it.
TEST_F(CodePage, LiesInTheFileAsDrawn) {
  for (const Page& page : kPages) {
    const std::string name = page.name;
    write("text", page.text);
    must("build -o little --endian little text:text");
    must("build -o big --endian big text:text");
    write("again", must("dump big/" + name));
    must("build -o again.d --endian little text:again");
    EXPECT_EQ(read("again.d/" + name), read("little/" + name)) << name;
    EXPECT_EQ(must("check big/" + name + " little/" + name), "");
  }
  ASSERT_EQ(read("little/ACME1").size(), 2528u);  // header and three pages
  const struct {
    const char* name;
    const char* table;
    size_t offset, width;
    std::string bytes;
  } fields[] = {
      {"data region", "ACME1", 0, 4, {"\0\0\x06\xE0", 4}},
      {"magic", "ACME1", 8, 1, "ucv"},
      {"name", "ACME1", 16, 1, {"ACME1\0", 6}},
      {"kind and scheme", "ACME1", 48, 2, {"\0\1\0\0", 4}},
      {"longest and shortest code, source of the substitution byte", "ACME1", 56, 2, {"\1\1\0\x1A", 4}},
      {"substitution byte", "ACME1", 60, 1, "\x1A"},
      {"revision", "ACME1", 62, 2, {"\0\1", 2}},
      {"note", "ACME1", 80, 1, {"made by hand\0", 13}},
      {"page of U+00xx, and of U+01xx, unmapped", "ACME1", 224, 2, {"\0\0\0\x40", 4}},
      {"page of U+20xx", "ACME1", 224 + 2 * 0x20, 2, {"\0\x80", 2}},
      {"bytes 80 to 82, the last unmapped", "ACME1", 736 + 2 * 0x80, 2, {"\x20\xAC\0\xA0\xFF\xFF", 6}},
      {"U+0100", "ACME1", 1760 + 256, 1, "\x1A"},
      {"row of the single bytes", "DOUBLE", 1760 + 2 * 0x41, 2, {"\0A", 2}},
      {"prefix 8F", "MULTI", 1760 + 16, 1, "\x8F" + std::string(13, '\0')},
      {"length of the prefix", "MULTI", 1760 + 30, 2, {"\0\1", 2}},
      {"node", "MULTI", 1760 + 48, 2, {"\0\1\0\xA1\xFF\x61\0\0", 8}},
      {"structure", "GB", 38, 2, "\x06\xE0"},
      {"positions", "GB", 1760, 4, {"\0\0\0\0\0\0\0\x14\0\0\0\x94\0\0\0\3", 16}},
      {"range", "GB", 1760 + 40, 2, {"\0\x80\0\x82\0\2\x5E\3", 8}},
  };
  for (const auto& field : fields) {
    std::string little = field.bytes;
    for (char* at = little.data(); at < little.data() + little.size(); at += field.width)
      std::reverse(at, at + field.width);
    const std::string table = field.table;
    EXPECT_EQ(read("big/" + table).substr(field.offset, little.size()), field.bytes) << field.name;
    EXPECT_EQ(read("little/" + table).substr(field.offset, little.size()), little) << field.name;
  }
}

TEST_F(CodePage, DiffNamesEachDifference) {
  build_text("LEFT", "codeset LEFT\nkind 2\n80 U+20AC\n8140 U+3000\n82 U+201A\n");
  build_text("RIGHT", "codeset RIGHT\nkind 2\n80 U+20AC\n8140 U+3001\n83 U+201A\n");
  const Outcome outcome = run("diff LEFT text:RIGHT.txt");
  EXPECT_EQ(outcome.code, 1);
  EXPECT_EQ(outcome.output,
            "decode\t8140\tU+3000\tU+3001\ndecode\t82\tU+201A\t-\ndecode\t83\t-\tU+201A\n"
            "encode\tU+201A\t82\t83\nencode\tU+3000\t8140\t-\nencode\tU+3001\t-\t8140\n");
}

}  // namespace mar
