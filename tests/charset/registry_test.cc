// Names, aliases, the search for table files, and who owns what when codesets come and go.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <cstdlib>
#include <filesystem>

#include "charset/aliases.h"
#include "charset/table.h"
#include "tests/charset/table_images.h"

namespace mar {

namespace {

class Registry : public testing::Test {
 protected:
  Registry() {
    for (const char* name : {"XCSDIR", "BINDIR", "XCS_CODESET", "NLSPATH"}) unsetenv(name);
    setenv("LC_ALL", "C.UTF-8", 1);
  }

  static std::string resolved(const char* name, uint32_t size = 128) {
    char out[128] = "untouched";
    EXPECT_EQ(get_table_name(name, out, size), 0);
    return out;
  }

  // The stored name of the table that `name` leads to, or "none".
  static std::string found(const char* name) {
    const Codeset codeset(xcs_cs_new(name));
    return codeset == nullptr ? "none" : xcs_get_cs_name(codeset.get());
  }

  static Bytes table(const char* name) { return TableImage(XCS_KIND_ASCII_SBCS, name).bytes; }

  std::string at(const std::string& name) const { return directory_.path + "/" + name; }

  ScratchDirectory directory_;
};

TEST_F(Registry, NamesAreNormalised) {
  const char* const names[] = {"ISO-8859-1", "utf-8", "Utf8", "qxoCP_037", "QXOQXO1", "Q-XO1", "\xE9 a\n.",
                               "",           nullptr, "os",   "Win",       "DOS",     "o-s",   "OS2"};
  std::string all;
  for (const char* name : names) all += resolved(name) + " ";
  EXPECT_EQ(all, "ISO88591 UTF8 UTF8 CP037 QXO1 QXO1 A   UTF8 UTF8 UTF8 OS OS2 ");
  setenv("LC_ALL", "C", 1);
  EXPECT_EQ(resolved("Win"), "ANSIX341968");
  EXPECT_EQ(resolved("ISO-8859-1", 4), "ISO") << "cut to the room";
  EXPECT_EQ(resolved(std::string(200, 'x').c_str()), std::string(127, 'X'));
  char none = '#';
  EXPECT_TRUE(get_table_name("A", &none, 0) == 1 && none == '#');
}

TEST_F(Registry, FirstMatchingAliasLineWins) {
  const std::string full_line(127, 'x');  // what follows it counts as a line of its own
  directory_.write("aliases", "# C1 WRONG\nC1\nC1 CUT" + std::string(130, ' ') +
                                  "\n \tB2\v TARGET2 rest\nB2 LATER\nb3 LOWER\n#B4\nB4 FOUR\n" + full_line +
                                  "B5 FIVE\nLONG " + std::string(122, 'y') + "z\nISO88591 88591");
  EXPECT_EQ(resolved("c1"), "CUT");
  EXPECT_EQ(resolved("B2"), "TARGET2");
  EXPECT_EQ(resolved("b3"), "B3") << "the comparison is case-sensitive";
  EXPECT_EQ(resolved("B4"), "FOUR");
  EXPECT_EQ(resolved("B5"), "FIVE");
  EXPECT_EQ(resolved("LONG"), "LONG") << "no white space within the 127 characters";
  EXPECT_EQ(resolved("ISO-8859-1"), "ISO88591") << "no newline at the end";
  EXPECT_EQ(resolved("B2", 5), "TARG") << "cut to the room";
}

TEST_F(Registry, AliasesAreSearchedInOrder) {
  directory_.write("aliases", "A HERE\n");
  EXPECT_EQ(resolved("A"), "HERE");
  directory_.write("x/aliases", "A BELOW\n");
  directory_.write("y/aliases", "A BELOW\n");
  directory_.write("x/codeset/aliases", "A CODESET\n");
  std::filesystem::create_directory("y/codeset");
  mkfifo("y/codeset/aliases", 0600);
  // 238 + 17 = 255 and 246 + 9 = 255 just fit. A FIFO must not block.
  const struct {
    const char* name;
    size_t length;
    const char* want;
  } rows[] = {{"x", 1, "CODESET"}, {"x", 238, "CODESET"}, {"x", 239, "BELOW"}, {"x", 246, "BELOW"},
              {"x", 247, "HERE"},  {"y", 1, "BELOW"},     {"z", 1, "HERE"}};
  for (const auto& row : rows) {
    xcs_set_dir((row.name + std::string(row.length - 1, '/')).c_str());
    EXPECT_EQ(resolved("A"), row.want) << row.name << row.length;
  }
  const auto next_descriptor = [] {
    const int next = dup(0);
    close(next);
    return next;
  };
  const int before = next_descriptor();
  for (int i = 0; i < 5; ++i) resolved("A");
  EXPECT_EQ(next_descriptor(), before) << "one stream stays open, not one per look-up";
}

TEST_F(Registry, TablesAreSearchedInOrder) {
  directory_.write("T", table("CURRENT"));
  directory_.write("x/T", table("XCSDIR"));
  directory_.write("x/codeset/T", table("CODESET"));
  directory_.write("generic/codeset/T", table("BINDIR"));
  directory_.write("bin/unused", "");
  EXPECT_EQ(found("t"), "CURRENT");
  setenv("BINDIR", "bin", 1);
  EXPECT_EQ(found("t"), "BINDIR");
  setenv("XCSDIR", "x", 1);
  EXPECT_EQ(found("t"), "CODESET");
  std::filesystem::remove(at("x/codeset/T"));
  EXPECT_EQ(found("t"), "XCSDIR");
  EXPECT_EQ(found("./T"), "XCSDIR") << "paths are tried below the directories, too";
  for (const char* path : {"./t", "T\\", "nothing"}) EXPECT_EQ(found(path), "none") << "taken as it is";
  EXPECT_EQ(xcs_cs_new(nullptr), nullptr);
}

TEST_F(Registry, TheNameOfAPathMustFit) {
  directory_.write("T", table("FOUND"));
  EXPECT_EQ(found(("." + std::string(252, '/') + "T").c_str()), "FOUND") << "0 + 254 + 2";
  EXPECT_EQ(found(("." + std::string(253, '/') + "T").c_str()), "none");
  directory_.write("x/codeset/T", table("CODESET"));
  setenv("XCSDIR", ("x" + std::string(243, '/')).c_str(), 1);
  EXPECT_EQ(found("T"), "CODESET") << "253 + 1 + 2";
  setenv("XCSDIR", ("x" + std::string(244, '/')).c_str(), 1);
  EXPECT_EQ(found("T"), "FOUND");
}

// Resolving "win" sets the process locale, in which toupper('i') may not be 'I' and 0x85 may be a control.
TEST_F(Registry, CharacterClassesAreNotTheLocales) {
  const struct {
    const char* language;
    const char* charmap;
    const char* codeset;
  } rows[] = {{"tr_TR", "UTF-8", "UTF8"}, {"tr_TR", "ISO-8859-9", "ISO88599"}, {"zh_CN", "GBK", "GBK"}};
  directory_.write("table\x85", table("FOUND"));
  directory_.write("REDIRECT", "table\x85\n");
  setenv("LOCPATH", directory_.path.c_str(), 1);
  for (const auto& row : rows) {
    const std::string locale = at(row.language) + "." + row.charmap;
    const auto command = std::string("localedef -i ") + row.language + " -f " + row.charmap + " " + locale;
    ASSERT_EQ(std::system((command + " >localedef.log 2>&1").c_str()), 0)
        << command << "\nNeeds the sources of the locales: apt-get install locales";
    setenv("LC_ALL", std::filesystem::path(locale).filename().c_str(), 1);
    EXPECT_EQ(resolved("win"), row.codeset);
    EXPECT_EQ(resolved("win"), row.codeset) << "again, in the locale now";
    EXPECT_EQ(resolved("iso8859-i"), "ISO8859I") << row.codeset;
    EXPECT_EQ(found("redirect"), "FOUND") << row.codeset;
  }
}

TEST_F(Registry, RedirectFilesNameAnotherFileBesideThem) {
  directory_.write("x/REAL", table("REAL"));
  directory_.write("x/R1", " RE\tA\x01L\n");
  for (const char* name : {"R1", "R2", "R3", "R4"})
    directory_.write({'x', '/', 'R', char(name[1] + 1)}, name);
  directory_.write("x/LOOP", "LOOP");
  directory_.write("x/EMPTY", "");
  directory_.write("x/SHORT", table("SHORT").substr(0, 1759));
  directory_.write("x/MAGIC", std::string(1760, 'z'));
  std::filesystem::create_directory(at("x/DIR"));
  mkfifo(at("x/FIFO").c_str(), 0600);
  setenv("XCSDIR", "x", 1);
  EXPECT_EQ(found("R1"), "REAL");
  EXPECT_EQ(found("R4"), "REAL") << "four links";
  EXPECT_EQ(found("R5"), "none") << "five";
  for (auto name : {"LOOP", "EMPTY", "SHORT", "MAGIC", "DIR", "FIFO"}) EXPECT_EQ(found(name), "none") << name;
  // What does not fit the path is cut: 2 + 253 characters.
  directory_.write("x/LONG", "./" + std::string(247, '/') + "REALLY");
  EXPECT_EQ(found("LONG"), "REAL");
  EXPECT_EQ(found((at("x/R1")).c_str()), "none") << "replaces the whole of a path without a prefix";
}

TEST_F(Registry, HeaderFieldsAreCopied) {
  TableImage image(XCS_KIND_ASCII_DBCS, "0123456789ABCDEF0123456789ABCDEF#");  // no NUL in the name field
  image.set(48, uint16_t{XCS_KIND_ASCII_DBCS});
  image.set(56, uint16_t{0x1234});
  image.set(62, uint16_t{0x5678});
  image.bytes.replace(64, 16, "sixteen of bytes");
  const Codeset codeset = load_image(image.bytes);
  EXPECT_STREQ(xcs_get_cs_name(codeset.get()), "0123456789ABCDEF0123456789ABCDEF");
  EXPECT_TRUE(codeset->loaded == 1 && codeset->hdr56 == 0x1234 && codeset->hdr62 == 0x5678);
  EXPECT_EQ(Bytes(reinterpret_cast<char*>(codeset->hdr64), 16), "sixteen of bytes");
  uint32_t size = 0;
  const auto* table = static_cast<const char*>(xcs_cs_table(codeset.get(), &size));
  EXPECT_TRUE(Bytes(table, size) == image.bytes);
  EXPECT_TRUE(xcs_cs_table(utf8_cs, &size) == nullptr && size == 0);

  image.set(50, uint16_t{0x1100});
  EXPECT_EQ(load_image(image.bytes)->kind, XCS_KIND_EBCDIC_SBCS);
  image.set(50, uint16_t{0x1101});
  image.set(48, uint16_t{XCS_KIND_GB18030});
  EXPECT_STREQ(xcs_get_cs_name(load_image(image.bytes).get()), "0123456789ABCDEF012345");
  image.set(48, uint16_t{XCS_KIND_OS});
  EXPECT_STREQ(xcs_get_cs_name(load_image(image.bytes).get()), "OS");
}

TEST_F(Registry, InitTakesTheLocalesCodeset) {
  EXPECT_EQ(def_cs, os_cs);
  EXPECT_STREQ(xcs_get_cs_name(nullptr), "UTF8") << "the default is made at its first use";
  EXPECT_TRUE(def_cs == os_loc_cs && def_cs != utf8_cs && xcs_initialized == 1);
  xcs_uninit();
  EXPECT_TRUE(def_cs == os_cs && os_loc_cs == os_cs && xcs_initialized == 0);

  setenv("XCS_CODESET", "no-such", 1);
  xcs_init();
  EXPECT_EQ(xcs_get_def_cs(), os_cs) << "a failed search is not repeated";
  xcs_uninit();
  directory_.write("DEFAULT", table("DEFAULT"));
  directory_.write("aliases", "NOSUCH T\n");
  xcs_init();
  EXPECT_STREQ(xcs_get_cs_name(nullptr), "DEFAULT");
  xcs_uninit();
  directory_.write("T", table("T"));
  EXPECT_STREQ(xcs_get_cs_name(nullptr), "T");
  xcs_uninit();
}

TEST_F(Registry, FreeingADefaultPutsTheOsCodesetInItsPlace) {
  xcs_init();
  xcs_cs_t* const locale = os_loc_cs;
  xcs_cs_t* const own = xcs_cs_new("UTF8");
  xcs_set_def_cs(own);
  EXPECT_EQ(xcs_get_def_cs(), own);
  xcs_cs_free(own);
  EXPECT_TRUE(def_cs == os_cs && os_loc_cs == locale);
  for (xcs_cs_t* fixed : {static_cast<xcs_cs_t*>(nullptr), os_cs, utf8_cs}) EXPECT_EQ(xcs_cs_free(fixed), 0);
  xcs_set_def_cs(utf8_cs);
  xcs_set_def_cs(nullptr);
  EXPECT_EQ(def_cs, os_cs);
  xcs_uninit();  // frees the locale's codeset, which is no longer the default
  EXPECT_EQ(os_loc_cs, os_cs);
}

// A block given to the environment may be freed only after the next one has replaced it.
TEST_F(Registry, DirectoriesLiveInTheEnvironment) {
  EXPECT_STREQ(xcs_get_dir(), "");
  xcs_set_dir("first");
  xcs_init();
  xcs_uninit();
  EXPECT_STREQ(std::getenv("XCSDIR"), "first") << "survives xcs_uninit";
  EXPECT_STREQ(xcsdir, "XCSDIR=first");
  xcs_set_dir("second");
  xcs_set_dir(xcs_get_dir());
  EXPECT_STREQ(xcs_get_dir(), "second");
  xcs_set_nlspath("/a:/b");
  xcs_set_nlspath(nullptr);
  EXPECT_STREQ(nls_path, "NLSPATH=");
  EXPECT_STREQ(xcs_get_nlspath(), "");
}

}  // namespace

}  // namespace mar
