#include "charset/codeset.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <new>

#include "charset/aliases.h"
#include "charset/codeset_default.h"
#include "charset/flat_tables.h"
#include "charset/single_byte.h"
#include "charset/table.h"
#include "charset/table_view.h"

namespace mar::charset {
namespace {

constexpr size_t kNameSize = 128;

const char* environment(const char* name) {
  const char* value = std::getenv(name);
  return value == nullptr ? "" : value;
}

const uint8_t* find_table(const char* name, uint32_t* size) {
  const struct {
    const char* directory;
    const char* below;
  } places[] = {
      {environment("XCSDIR"), "/codeset/"},
      {environment("XCSDIR"), "/"},
      {environment("BINDIR"), "/../generic/codeset/"},
  };
  for (const auto& place : places) {
    if (*place.directory == '\0') continue;
    if (std::strlen(place.directory) + std::strlen(place.below) + 1 >= kPathSize) continue;
    char prefix[kPathSize];
    std::snprintf(prefix, sizeof prefix, "%s%s", place.directory, place.below);
    if (void* table = load_table(prefix, name, size)) return static_cast<uint8_t*>(table);
  }
  return static_cast<uint8_t*>(load_table("", name, size));
}

uint8_t longest_sequence(const uint8_t* classes) {
  uint8_t longest = 1;
  for (uint32_t lead = 0x80; lead < 256; ++lead) {
    if (classes[lead] != table_layout::kClassInvalid) longest = std::max(longest, classes[lead]);
  }
  return longest;
}

// Returns false if memory runs out.
bool fill_from_table(xcs_cs_t& codeset) {
  using namespace table_layout;
  const uint8_t* table = codeset.table;
  codeset.loaded = 1;
  codeset.kind = load<uint16_t>(table + kScheme) == kSchemeEbcdicSbcs ? uint16_t{XCS_KIND_EBCDIC_SBCS}
                                                                      : load<uint16_t>(table + kKind);
  codeset.hdr56 = load<uint16_t>(table + kHdr56);
  codeset.hdr62 = load<uint16_t>(table + kHdr62);
  std::memcpy(codeset.hdr64, table + kHdr64, sizeof codeset.hdr64);
  // GB18030 keeps the position of its structure inside the name field.
  const uint32_t name_size = codeset.kind == XCS_KIND_GB18030 ? kGbStructure - kName : kNameFieldSize;
  std::memcpy(codeset.name, table + kName, name_size);
  codeset.verified = verify_table(codeset);
  codeset.longest = longest_sequence(table + kByteClasses);
  // Without them, conversions read the table itself.
  if (codeset.verified != 0 && has_flat_tables(codeset.kind))
    codeset.flat = new (std::nothrow) xcs_flat_tables;
  if (!has_single_rows(codeset.kind)) return true;
  auto* rows = new (std::nothrow) xcs_single_rows;
  if (rows == nullptr) return false;
  prepare_single_rows(codeset, *rows);
  codeset.rows = rows;
  return true;
}

// Puts `name`=`value` into the environment, which keeps the block itself. The block of the previous call is
// freed only after nothing can point at it any more.
int put_environment(const char* name, const char* value, char*& block) {
  if (value == nullptr) value = "";
  const size_t size = std::strlen(name) + 1 + std::strlen(value) + 1;
  char* fresh = static_cast<char*>(std::malloc(size));
  if (fresh == nullptr) return 0;
  std::snprintf(fresh, size, "%s=%s", name, value);
  if (putenv(fresh) != 0) {
    std::free(fresh);
    return 0;
  }
  std::free(block);
  block = fresh;
  return 0;
}

constexpr xcs_cs_t builtin_codeset(uint16_t kind) {
  xcs_cs_t codeset{};
  codeset.kind = kind;
  return codeset;
}

}  // namespace

xcs_cs_t* codeset_or_default(xcs_cs_t* codeset) { return codeset != nullptr ? codeset : xcs_get_def_cs(); }

void (*codeset_freed)(const xcs_cs_t* codeset) = nullptr;

}  // namespace mar::charset

using namespace mar::charset;

const char* const xcs_version = "XCS Version 1.7.2";
constinit xcs_cs_t os_uc_ch_t = builtin_codeset(XCS_KIND_OS);
constinit xcs_cs_t utf8_uc_ch_t = builtin_codeset(XCS_KIND_UTF8);
xcs_cs_t* os_cs = &os_uc_ch_t;
xcs_cs_t* utf8_cs = &utf8_uc_ch_t;
xcs_cs_t* def_cs = &os_uc_ch_t;
xcs_cs_t* os_loc_cs = &os_uc_ch_t;
int xcs_initialized = 0;
char* nls_path = nullptr;
char* xcsdir = nullptr;

int xcs_init() {
  if (xcs_initialized != 0) return 0;
  xcs_initialized = 1;  // set first, so that the calls below do not recurse
  char name[kNameSize];
  xcs_os_cs_name(name, sizeof name);
  xcs_cs_t* codeset = xcs_cs_new(name);
  if (codeset == nullptr) codeset = xcs_cs_new("DEFAULT");
  if (codeset == nullptr) return 0;
  xcs_set_def_cs(codeset);
  os_loc_cs = codeset;
  return 0;
}

int xcs_uninit() {
  if (xcs_initialized == 0) return 0;
  xcs_initialized = 0;
  xcs_cs_free(def_cs);
  xcs_cs_free(os_loc_cs);  // os_cs by now if it was the default
  return 0;
}

xcs_cs_t* xcs_cs_new(const char* name) {
  if (name == nullptr) return nullptr;
  if (std::strpbrk(name, "/\\") != nullptr) return cs_new(name);
  char table_name[kNameSize];
  get_table_name(name, table_name, sizeof table_name);
  return cs_new(table_name);
}

xcs_cs_t* cs_new(const char* name) {
  if (name == nullptr) return nullptr;
  auto* codeset = new (std::nothrow) xcs_cs_t{};
  if (codeset == nullptr) return nullptr;
  if (std::strcmp(name, "UTF8") == 0) {
    codeset->kind = XCS_KIND_UTF8;
    return codeset;
  }
  codeset->table = find_table(name, &codeset->table_size);
  if (codeset->table == nullptr || !fill_from_table(*codeset)) {
    xcs_cs_free(codeset);
    return nullptr;
  }
  return codeset;
}

int xcs_cs_free(xcs_cs_t* codeset) {
  if (codeset == nullptr || codeset == utf8_cs || codeset == os_cs) return 0;
  if (codeset_freed != nullptr) codeset_freed(codeset);
  if (codeset == def_cs) def_cs = os_cs;
  if (codeset == os_loc_cs) os_loc_cs = os_cs;
  std::free(const_cast<uint8_t*>(codeset->table));
  delete codeset->rows;
  free_flat_tables(codeset->flat);
  delete codeset;
  return 0;
}

const void* xcs_cs_table(xcs_cs_t* codeset, uint32_t* size) {
  codeset = codeset_or_default(codeset);
  if (size != nullptr) *size = codeset->table_size;
  return codeset->table;
}

int xcs_set_def_cs(xcs_cs_t* codeset) {
  def_cs = codeset != nullptr ? codeset : os_cs;
  return 0;
}

xcs_cs_t* xcs_get_def_cs() {
  if (xcs_initialized == 0) xcs_init();
  return def_cs;
}

const char* xcs_get_cs_name(xcs_cs_t* codeset) {
  codeset = codeset_or_default(codeset);
  switch (codeset->kind) {
    case XCS_KIND_ASCII_SBCS:
    case XCS_KIND_ASCII_DBCS:
    case XCS_KIND_ASCII_MBCS:
    case XCS_KIND_EBCDIC_DBCS:
    case XCS_KIND_EBCDIC_SBCS:
    case XCS_KIND_GB18030:
      return codeset->name;
    case XCS_KIND_UTF8:
      return "UTF8";
    case XCS_KIND_OS:
      return "OS";
    default:
      return "UNKNOWN";
  }
}

int xcs_os_cs_name(char* name, uint32_t size) {
  const char* wanted = environment("XCS_CODESET");
  get_table_name(*wanted == '\0' ? "OS" : wanted, name, size);
  return 0;
}

int xcs_set_dir(const char* directory) { return put_environment("XCSDIR", directory, xcsdir); }

const char* xcs_get_dir() { return environment("XCSDIR"); }

int xcs_set_nlspath(const char* path) { return put_environment("NLSPATH", path, nls_path); }

const char* xcs_get_nlspath() { return environment("NLSPATH"); }
