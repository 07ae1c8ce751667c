// Where the trace file is: in the product family's common log directory, which the family's
// shared "log.properties" names, or else in a fixed one. Errors: functions with a result
// return 1 for success, else 0.
#pragma once

#include <cstddef>

inline constexpr char DEFAULT_LOG_FILE_NAME[] = "trace-armdebug.log";
inline constexpr char DEFAULT_LOGFILE_DIR[] = "/var/qxo/brenvik/common/KFD/logs/";
inline constexpr char LOG_PROPS_FS[] = "/etc/qxo/brenvik/common/cfg/log.properties";
inline constexpr char COMMON_LOGDIR_KEY[] = "brenvik_common_dir";
inline constexpr char LOGDIR_TRAILER[] = "KFD/logs/";
inline constexpr char EOL_CHARS[] = "\r\n";
inline constexpr char _TRIM_CHARS[] = " =\t\r\n";

// Throughout, `out` has `size` bytes; a longer result is cut, and every result is terminated. Nothing is done
// if `out` is null or the size 0.
extern "C" {

// The path of the trace file.
void getLogFileSpec(char* out, size_t size);

// The common log directory with a "/" at its end: the directory from "log.properties" followed by
// LOGDIR_TRAILER, or DEFAULT_LOGFILE_DIR if that file names none.
void findCommonLogDir(char* out, size_t size);

// The value of COMMON_LOGDIR_KEY in the properties file `file`. Returns 1 if the key was found, 0 if the file
// does not exist, is empty or cannot be read, or does not contain the key.
int getLogPropertiesCommonLogDir(const char* file, char* out, size_t size);

// The same for a properties text of `length` bytes, which need not be terminated and may contain anything.
// The key counts at the start of the text and wherever the character directly before it is not "#". The
// character after it is skipped, whatever it is; the value ends with its line and is trimmed.
int parseLogProps(const char* text, unsigned int length, char* out, size_t size);

// 1 if `path` exists, with the file's size, at most UINT_MAX; else 0.
int fileExists(const char* path, unsigned int* size);

// Reads exactly `length` bytes of `path` into a new, terminated heap block of length + 1 bytes
// that the caller frees. Returns 1, or 0 and no block if the length is negative, the file is
// shorter, or anything fails.
int readFile(const char* path, int length, char** out);

// Cuts the text at its first "\r" or "\n".
void clipLine(char* text);

// Removes blanks, "=", tabs and line ends at both ends of the text, in place.
void trimString(char* text);

// Appends "/" unless the text ends with one; the text's buffer must have room for it.
void ensureEndsWithSlash(char* text);

}  // extern "C"
