// The log file: appending a line under the file's lock, keeping the file below its limit, and the file and
// directory helpers that go with it. Nothing here knows about levels and components.
#pragma once

#include <cstddef>
#include <cstdio>

// Trims the file `name`, which has passed `max_size` bytes, to a header line, an empty line and the lines
// that begin within its newest max_size / 8 bytes; a last line without an end is kept, too. `*stream` is the
// file's stream meanwhile and null again afterwards. To be called with the log mutex held.
// Takes no lock on the file: a line that another process appends between the last look at the file and its
// truncation is lost, and of several processes that trim at once one may put its kept lines after newer ones.
// No line is torn. The file is left alone when another process has just trimmed it, or is writing a line just
// then: the next line trims it.
void LogFileRollOver(const char* name, long max_size, FILE** stream);

extern "C" {

// Appends `line` to the file `name`, under the file's lock, and closes it again. Missing directories are
// created; a file that cannot be opened in ten attempts loses the line, and so does a pipe that is full or
// has no reader. Waits for the file's lock and for a lease on it. Without a name or a line: does nothing.
void ZARN_FileSendMessage(const char* name, const char* line);

// Appends `length` bytes to the open file `fd` while holding the lock that the log's processes share (on the
// whole file, from its start). Nothing is written when the lock fails, and nothing stays of a line that
// cannot be written whole. `name` is not used.
void ZARNLogWriteLock(int fd, const char* name, const char* buffer, size_t length);

// Size of the file in bytes; 0 when it cannot be looked at.
long ZARNLogFileSize(const char* name);

// `size` brought within 100 .. 100,000,000 bytes.
long ZARNLogCheckFileSize(long size);

// The first `count` bytes of the file `name`, read under a lock on its first 2048 bytes, as a new heap block
// of exactly `count` bytes that the caller frees: zeros after a shorter file, no terminator after a longer
// one. Null when the name is null or the file cannot be opened or locked, or memory is short.
char* ZARN_FileRead(const char* name, unsigned int count);

// Turns every "\" into "/", in place; null is ignored.
void ZARNConvertDirToUnixFormat(char* path);

// The part before the last "/" as a new heap string that the caller frees: "/a/b" gives "/a"; "/a", "a" and
// null give "". Null when memory is short.
char* cut_dir(const char* path);

// Creates every directory along `path`, always from the root: "a/b" creates /a and /a/b. Kept as is.
void create_dir(const char* path);

}  // extern "C"
