// The codeset registry: codesets backed by table files, the search for those files, the process-wide default
// and the codeset of the process locale. aliases.h resolves names; convert.h has the conversions. There are
// no locks: call xcs_init once, early, on one thread. A codeset argument of NULL means the default codeset. A
// function that reads the default runs xcs_init first if no call has done so yet. Functions that read files
// are cancellation points; a thread cancelled in one may leak memory and a descriptor. A signal handler may
// call nothing of the library.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

enum {
  XCS_KIND_ASCII_SBCS = 1,
  XCS_KIND_ASCII_DBCS = 2,
  XCS_KIND_ASCII_MBCS = 3,
  XCS_KIND_EBCDIC_DBCS = 4,  // mixed, with shift-out and shift-in
  XCS_KIND_UTF8 = 6,
  XCS_KIND_EBCDIC_SBCS = 8,
  XCS_KIND_OS = 9,  // each byte is its own UCS-2 value; so convert all kinds without a family
  XCS_KIND_GB18030 = 10
};

struct xcs_single_rows;  // private, see single_rows.h
struct xcs_flat_tables;  // private, see flat_tables.h

typedef struct xcs_cs_t {
  const unsigned char* table;  // whole table file as read, owned; NULL for UTF-8 and OS
  uint16_t kind;
  uint16_t loaded;  // 1 when it came from a table file
  uint16_t hdr62;
  uint16_t hdr56;
  uint8_t hdr64[16];
  uint8_t from_state;   // when encoding, that is, from Unicode: 0 = initial, 1 = after shift-out
  uint8_t to_state;     // when decoding, that is, to Unicode: likewise
  uint32_t table_size;  // bytes

  // The rest is the library's own. A plain copy of the object shares everything that it points at: only the
  // object that xcs_cs_new returned may be freed.
  uint8_t verified;  // no conversion can leave the table, see verify_table
  uint8_t longest;   // bytes of the longest multi-byte sequence that a byte can lead
  char name[33];     // the table's name, terminated whatever the file held
  // Prepared for the single-byte families and the mixed family, owned; else NULL.
  const struct xcs_single_rows* rows;
  // For the verified tables of the families that have flat tables, owned; else NULL.
  struct xcs_flat_tables* flat;
} xcs_cs_t;

extern const char* const xcs_version;
extern xcs_cs_t os_uc_ch_t;
extern xcs_cs_t utf8_uc_ch_t;
extern xcs_cs_t* os_cs;      // never freed
extern xcs_cs_t* utf8_cs;    // never freed
extern xcs_cs_t* def_cs;     // the default codeset
extern xcs_cs_t* os_loc_cs;  // the codeset of the process locale, once xcs_init has run
extern int xcs_initialized;
extern char* nls_path;  // the "NLSPATH=..." block last given to the environment
extern char* xcsdir;    // the "XCSDIR=..." block last given to the environment

// Makes a codeset the default: the one that the environment variable XCS_CODESET names, or the locale's; if
// there is no table for that, the codeset "DEFAULT"; if there is none either, the OS codeset. A second call
// does nothing, even if the first one found no table. Resolving the locale's name calls setlocale for all
// categories. Returns 0.
int xcs_init(void);

// Frees the default and the locale codeset, whoever made them. The variables that xcs_set_dir and
// xcs_set_nlspath have set stay in the environment. Returns 0.
int xcs_uninit(void);

// Returns the codeset of a name ("ISO-8859-1", through the aliases file) or of a table file's path (any name
// with "/" or a backslash), or NULL if there is no such table or no memory. Free it with xcs_cs_free.
xcs_cs_t* xcs_cs_new(const char* name);

// The same for a name that is already resolved: "UTF8", or a table file, searched for in XCSDIR/codeset,
// XCSDIR, BINDIR/../generic/codeset and the current directory, in this order.
xcs_cs_t* cs_new(const char* name);

// Frees a codeset of xcs_cs_new. Leaves NULL, os_cs and utf8_cs alone; os_cs takes the place of a default or
// locale codeset that is freed. Returns 0.
int xcs_cs_free(xcs_cs_t* codeset);

// Returns the table file as read, which the codeset owns, and stores its size in bytes in `*size` (may be
// NULL); NULL and 0 if the codeset has none.
const void* xcs_cs_table(xcs_cs_t* codeset, uint32_t* size);

int xcs_set_def_cs(xcs_cs_t* codeset);  // NULL: os_cs. Returns 0.
xcs_cs_t* xcs_get_def_cs(void);

// Returns the table's own name, "UTF8", "OS", or "UNKNOWN" for a kind without a family. The text lives as
// long as the codeset.
const char* xcs_get_cs_name(xcs_cs_t* codeset);

// Stores the resolved name of XCS_CODESET or, if that is unset or empty, of the process locale. Returns 0.
int xcs_os_cs_name(char* name, uint32_t size);

// The environment's XCSDIR and NLSPATH. The setters copy their argument and return 0. The getters return the
// live string, valid until the next change, or "" if the variable is unset. A getter's result may be passed
// to its setter.
int xcs_set_dir(const char* directory);
const char* xcs_get_dir(void);
int xcs_set_nlspath(const char* path);
const char* xcs_get_nlspath(void);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
