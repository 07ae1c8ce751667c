// Where the trace file lies: in the product family's common log directory, which the family's shared
// "log.properties" names, or else in a fixed one.
#pragma once

#include <cstddef>

inline constexpr char DEFAULT_LOG_FILE_NAME[] = "trace-armdebug.log";
inline constexpr char DEFAULT_LOGFILE_DIR[] = "/var/qxo/brenvik/common/KFD/logs/";
inline constexpr char LOG_PROPS_FS[] = "/etc/qxo/brenvik/common/cfg/log.properties";
inline constexpr char COMMON_LOGDIR_KEY[] = "brenvik_common_dir";
inline constexpr char LOGDIR_TRAILER[] = "KFD/logs/";
inline constexpr char EOL_CHARS[] = "\r\n";
inline constexpr char _TRIM_CHARS[] = " =\t\r\n";

// `out` has `size` bytes everywhere here; what does not fit is cut, the result is terminated, and a null
// `out` or a size of 0 does nothing.
extern "C" {

// Path of the trace file.
void getLogFileSpec(char* out, size_t size);

// The common log directory, with a "/" at its end: the directory from "log.properties" with LOGDIR_TRAILER
// behind it, or DEFAULT_LOGFILE_DIR when that gives none.
void findCommonLogDir(char* out, size_t size);

// The value of COMMON_LOGDIR_KEY in the properties file `file`. Returns 1 when the key was found; else 0: no
// such file, an empty or unreadable one, or no key in it.
int getLogPropertiesCommonLogDir(const char* file, char* out, size_t size);

// The same for a properties text of `length` bytes, which need not be terminated and may hold anything. The
// key counts at the start of the text and wherever the character right before it is not "#"; the character
// behind it is skipped unseen, and the value ends with its line and is trimmed.
int parseLogProps(const char* text, unsigned int length, char* out, size_t size);

// 1, and the file's size cut to 32 bits, when `path` can be looked at, else 0.
int fileExists(const char* path, unsigned int* size);

// Reads exactly `length` bytes of `path` into a new heap block of length + 1 bytes, terminated, that the
// caller frees. Returns 1, or 0 and no block: negative length, short file, any failure.
int readFile(const char* path, int length, char** out);

// Cuts the text at its first "\r" or "\n".
void clipLine(char* text);

// Removes blanks, "=", tabs and line ends at both ends of the text, in place.
void trimString(char* text);

// Appends "/" unless the text ends with one; the text's buffer has a byte to spare for it.
void ensureEndsWithSlash(char* text);

}  // extern "C"
