// The log file: appending a line under the file's lock, keeping the file within its limit, and the file and
// directory helpers that go with it. Nothing here knows about levels and components.
// Errors: what cannot be written is dropped without a report, and errno stays as it was; helpers that return
// something return null, "" or 0.
#pragma once

#include <cstddef>
#include <cstdio>

#include "log/log_mutex.h"

// Trims the file `name`, which has exceeded `max_size` bytes, to a header line, an empty line and the lines
// that begin within its newest max_size / 8 bytes. A last line without a line end is kept too. `*stream` is
// the file's stream meanwhile and null again afterwards. Takes no lock on the file: a line that another
// process appends between the last look at the file and its truncation is lost, and of several processes that
// trim at once, one may put its kept lines after newer ones. No line is torn. The file is left alone if
// another process has just trimmed it or is just writing a line; the next line then trims it.
void LogFileRollOver(const char* name, long max_size, FILE** stream) MAR_REQUIRES(mar::log_mutex);

extern "C" {

// Appends `line` to the file `name`, under the file's lock, and closes it again. Creates missing directories.
// A file that cannot be opened in ten attempts loses the line, and so does a pipe that is full or has no
// reader. Waits for the file's lock and for a lease on it. Does nothing without a name or a line.
void ZARN_FileSendMessage(const char* name, const char* line);

// Appends `length` bytes to the open file `fd` while holding the lock that the log's processes share (on the
// whole file, from its start). Writes nothing if the lock fails, and leaves nothing of a line that cannot be
// written whole. `name` is not used.
void ZARNLogWriteLock(int fd, const char* name, const char* buffer, size_t length);

// The size of the file in bytes; 0 if it cannot be determined.
long ZARNLogFileSize(const char* name);

// `size` moved within 100 .. 100,000,000 bytes.
long ZARNLogCheckFileSize(long size);

// Reads the first `count` bytes of the file `name` under a lock on its first 2048 bytes. Returns them
// in a new heap block of exactly `count` bytes that the caller frees: padded with zeros if the file
// is shorter, not terminated otherwise. Null if the name is null, the file cannot be opened or
// locked, or memory runs out.
char* ZARN_FileRead(const char* name, unsigned int count);

// Turns every "\" into "/", in place; null is ignored.
void ZARNConvertDirToUnixFormat(char* path);

// The part before the last "/" as a new heap string that the caller frees: "/a/b" returns "/a"; "/a", "a" and
// null return "". Null if memory runs out.
char* cut_dir(const char* path);

// Creates every directory along `path`. Kept as is: always from the root, so "a/b" creates /a and /a/b.
void create_dir(const char* path);

}  // extern "C"
