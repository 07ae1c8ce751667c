// The codeset registry: codesets backed by table files, the search for those files, the process-wide default
// and the codeset of the process locale. Names are resolved in aliases.h; the conversions are in convert.h.
// No locks anywhere: call xcs_init once, early, on one thread. A codeset argument of NULL means the default
// codeset; whoever reads the default runs xcs_init first if that has not happened.
#pragma once

#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

enum {
  XCS_KIND_ASCII_SBCS = 1,
  XCS_KIND_ASCII_DBCS = 2,
  XCS_KIND_ASCII_MBCS = 3,
  XCS_KIND_EBCDIC_DBCS = 4,  // mixed, with shift-out and shift-in
  XCS_KIND_UTF8 = 6,
  XCS_KIND_EBCDIC_SBCS = 8,
  XCS_KIND_OS = 9,  // each byte is its own UCS-2 value; so are all kinds without a family
  XCS_KIND_GB18030 = 10
};

struct xcs_single_rows;  // private, see single_byte.h

typedef struct xcs_cs_t {
  const unsigned char* table;  // whole table file as read, owned; NULL for UTF-8 and OS
  uint16_t kind;
  uint16_t loaded;  // 1 when it came from a table file
  uint16_t hdr62;
  uint16_t hdr56;
  uint8_t hdr64[16];
  uint8_t from_state;   // towards the codeset; 0 = initial, 1 = after shift-out
  uint8_t to_state;     // away from the codeset; likewise
  uint32_t table_size;  // bytes

  // The rest is the library's own. A plain copy of the object shares all that it points at: only the object
  // that xcs_cs_new gave may be freed.
  uint8_t verified;  // the image holds every position that a conversion can reach
  uint8_t longest;   // bytes of the longest multi-byte sequence that a byte can lead
  char name[33];     // the table's name, terminated whatever the file held
  // Prepared for the single-byte families and the mixed family, owned; else NULL.
  const struct xcs_single_rows* rows;
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

// Builds the locale's codeset (or the one that the environment variable XCS_CODESET names), or "DEFAULT", or
// else keeps the OS codeset, and makes it the default. Does nothing when already done, be it with poor
// success. Resolving the locale's name calls setlocale for all categories. Returns 0.
int xcs_init(void);

// Frees the default and the locale codeset, whoever made them. What xcs_set_dir and xcs_set_nlspath gave to
// the environment stays there, valid. Returns 0.
int xcs_uninit(void);

// The codeset of a name ("ISO-8859-1", through the aliases file) or of a table file's path (any name with "/"
// or a backslash). NULL when there is no such table, or no memory. Free it with xcs_cs_free.
xcs_cs_t* xcs_cs_new(const char* name);

// The same for a name that is resolved already: "UTF8", or a table file looked for in XCSDIR/codeset, XCSDIR,
// BINDIR/../generic/codeset and the current directory, in this order.
xcs_cs_t* cs_new(const char* name);

// Frees a codeset of xcs_cs_new. Leaves NULL, os_cs and utf8_cs alone; a freed default or locale codeset is
// replaced by os_cs. Returns 0.
int xcs_cs_free(xcs_cs_t* codeset);

// The table image and, in `*size` (may be NULL), its bytes; NULL and 0 when the codeset has none. Owned by
// the codeset.
const void* xcs_cs_table(xcs_cs_t* codeset, uint32_t* size);

int xcs_set_def_cs(xcs_cs_t* codeset);  // NULL: os_cs. Returns 0.
xcs_cs_t* xcs_get_def_cs(void);

// The table's own name, "UTF8", "OS", or "UNKNOWN" for a kind without a family. Lives as long as the codeset.
const char* xcs_get_cs_name(xcs_cs_t* codeset);

// The resolved name of XCS_CODESET or, when that is unset or empty, of the process locale. Returns 0.
int xcs_os_cs_name(char* name, uint32_t size);

// The environment's XCSDIR and NLSPATH. The setters copy; the getters give the live string, valid until the
// next change, or "" when unset. Setting what a getter gave is safe. The setters return 0.
int xcs_set_dir(const char* directory);
const char* xcs_get_dir(void);
int xcs_set_nlspath(const char* path);
const char* xcs_get_nlspath(void);

#ifdef __cplusplus
}

// `codeset`, or the default if it is null.
xcs_cs_t* codeset_or_default(xcs_cs_t* codeset);

// Called with each codeset that is about to be freed, so that a floor above can drop its own pointer to it.
// Null when nobody listens.
extern void (*codeset_freed)(const xcs_cs_t* codeset);
#endif
