#include "log/log_file.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "log/file_calls.h"
#include "util/utf8_files.h"

using namespace mar;

namespace {

constexpr int kOpenAttempts = 10;
constexpr long kMinFileSize = 100;
constexpr long kMaxFileSize = 100'000'000;
constexpr off_t kReadLockSize = 2048;

// Removes `count` bytes from the end of the file after a failed append: a torn line must not stay before the
// next whole one. Does nothing if the file no longer ends where the append did.
void remove_torn_end(int fd, size_t count) {
  const off_t end = lseek(fd, 0, SEEK_CUR);
  struct stat now {};
  if (end < static_cast<off_t>(count) || fstat(fd, &now) != 0 || now.st_size != end) return;
  while (ftruncate(fd, end - static_cast<off_t>(count)) == -1 && errno == EINTR) {
  }
}

// Appends all of `text` to `fd`, which is open for appending, or (on a full disk or at
// a size limit) none of it.
void append_whole(int fd, const char* text, size_t length) {
  size_t written = 0;
  while (written < length) {
    const ssize_t count = write(fd, text + written, length - written);
    if (count > 0) {
      written += static_cast<size_t>(count);
    } else if (count == 0 || errno != EINTR) {
      if (written > 0) remove_torn_end(fd, written);
      return;
    }
  }
}

// Locks (F_LOCK) or unlocks (F_ULOCK) the file from its current offset on. Waits for other processes as long
// as it takes.
bool lock_from_here(int fd, int operation) {
  while (lockf(fd, operation, 0) == -1) {
    if (errno != EINTR) return false;
  }
  return true;
}

long size_of(int fd) {
  struct stat now {};
  fstat(fd, &now);
  return now.st_size;
}

constexpr char kRollHeader[] = "Previous Log Messages were removed because log_size of %ld was exceeded.\n";
constexpr size_t kRollHeaderRoom = sizeof kRollHeader + 20;

// Whether another process holds the lock that writers take. Does not take it.
bool is_locked(int fd) {
  struct flock whole {};
  whole.l_type = F_WRLCK;
  whole.l_whence = SEEK_SET;
  return fcntl(fd, F_GETLK, &whole) == 0 && whole.l_type != F_UNLCK;
}

// Reads the file's newest `keep` bytes into `out` and returns their count. Returns -1 if the file is to be
// left alone: another process has just trimmed it, trims it while we read, or is just writing the last line.
long read_tail(FILE* stream, char* out, long keep, long max_size) {
  const int fd = fileno(stream);
  const long size = size_of(fd);
  if (size <= max_size || fseek(stream, -keep, SEEK_END) != 0) return -1;
  const size_t count = fread(out, 1, static_cast<size_t>(keep), stream);
  // A last line without a line end is kept, unless its writer has not finished: then that process holds the
  // lock, or it has released it since we read, and the file is longer now.
  const bool ended = count > 0 && out[count - 1] == '\n';
  if (!ended && (is_locked(fd) || size_of(fd) != size)) return -1;
  return size_of(fd) < size ? -1 : static_cast<long>(count);
}

bool starts_with(int fd, const char* header, size_t length) {
  char start[kRollHeaderRoom];
  return pread(fd, start, length, 0) == static_cast<ssize_t>(length) && memcmp(start, header, length) == 0;
}

// Replaces the file's content with the header and its tail from the first line end on. `room` has
// kRollHeaderRoom + keep bytes: the header is placed directly before the kept lines, so that one write
// appends both and no other process's line can come between them.
void rewrite(FILE* stream, char* room, long keep, long max_size) {
  const int fd = fileno(stream);
  char header[kRollHeaderRoom];
  const size_t header_length = static_cast<size_t>(snprintf(header, sizeof header, kRollHeader, max_size));
  char* const tail = room + kRollHeaderRoom;
  const long count = read_tail(stream, tail, keep, max_size);
  if (count < 0) return;
  std::string_view kept(tail, static_cast<size_t>(count));
  kept.remove_prefix(std::min(kept.find('\n'), kept.size()));
  char* const block = tail + (kept.data() - tail) - header_length;
  const size_t length = header_length + kept.size();
  memcpy(block, header, header_length);

  while (ftruncate(fd, 0) == -1) {
    if (errno != EINTR) return;
  }
  // Truncation may take a while. Our lines are stale if other processes have filled the file meanwhile, and
  // duplicates if another process truncated at the same moment and was quicker.
  if (size_of(fd) + static_cast<long>(length) > max_size) return;
  if (starts_with(fd, header, header_length)) return;
  append_whole(fd, block, length);
}

}  // namespace

void LogFileRollOver(const char* name, long max_size, FILE** stream) {
  const CallerUndisturbed undisturbed;
  // Opened once for reading and appending, and truncated in place: writing at offset 0 would overwrite what
  // other processes append meanwhile, and tear their lines.
  const int fd = open_utf8_path(name, O_RDWR | O_APPEND, 0);
  if (fd == -1) return;
  *stream = fdopen(fd, "r+");
  if (*stream == nullptr) {
    close(fd);
    return;
  }
  setvbuf(*stream, nullptr, _IONBF, 0);  // the tail in one read, directly into our block
  const long keep = max_size / 8;
  char* room = static_cast<char*>(malloc(kRollHeaderRoom + static_cast<size_t>(keep)));
  if (room != nullptr) rewrite(*stream, room, keep, max_size);
  free(room);
  fclose(*stream);
  *stream = nullptr;
}

void ZARN_FileSendMessage(const char* name, const char* line) {
  if (name == nullptr || line == nullptr) return;
  const CallerUndisturbed undisturbed;
  for (int attempt = 0; attempt < kOpenAttempts; ++attempt) {
    const int fd = open_utf8_path(name, O_WRONLY | O_CREAT | O_APPEND, 0666);
    if (fd != -1) {
      ZARNLogWriteLock(fd, name, line, strlen(line));
      close(fd);
      return;
    }
    if (errno == ENOENT) {
      char* directory = cut_dir(name);
      create_dir(directory);
      free(directory);
    }
  }
}

void ZARNLogWriteLock(int fd, const char* /*name*/, const char* buffer, size_t length) {
  // The seek that the lock needs anyway tells a pipe from a file, so a file costs no extra system call.
  const bool is_pipe = lseek(fd, 0, SEEK_SET) == -1;
  if (!lock_from_here(fd, F_LOCK)) return;
  if (is_pipe) {
    const SigpipeHeldBack held_back;
    append_whole(fd, buffer, length);
  } else {
    append_whole(fd, buffer, length);
  }
  lseek(fd, 0, SEEK_SET);
  lock_from_here(fd, F_ULOCK);
}

long ZARNLogFileSize(const char* name) {
  struct stat found {};
  return utf8_stat(name, &found) == 0 ? found.st_size : 0;
}

long ZARNLogCheckFileSize(long size) { return std::clamp(size, kMinFileSize, kMaxFileSize); }

char* ZARN_FileRead(const char* name, unsigned int count) {
  const CancellationDeferred deferred;
  const int fd = open_utf8_path(name, O_RDONLY, 0);
  if (fd == -1) return nullptr;
  // A shared lock: lockf asks for an exclusive one, which the kernel refuses on a file opened for reading.
  struct flock first_bytes {};
  first_bytes.l_type = F_RDLCK;
  first_bytes.l_whence = SEEK_SET;
  first_bytes.l_len = kReadLockSize;
  int locked;
  do {
    locked = fcntl(fd, F_SETLKW, &first_bytes);
  } while (locked == -1 && errno == EINTR);

  char* buffer = locked == -1 ? nullptr : static_cast<char*>(calloc(count, 1));
  for (size_t got = 0; buffer != nullptr && got < count;) {
    const ssize_t step = read(fd, buffer + got, count - got);
    if (step > 0) got += static_cast<size_t>(step);
    if (step == 0 || (step == -1 && errno != EINTR)) break;
  }
  close(fd);  // releases the lock too
  return buffer;
}

void ZARNConvertDirToUnixFormat(char* path) {
  if (path != nullptr) std::replace(path, path + strlen(path), '\\', '/');
}

char* cut_dir(const char* path) {
  const char* last = path == nullptr ? nullptr : strrchr(path, '/');
  return last == nullptr ? strdup("") : strndup(path, static_cast<size_t>(last - path));
}

void create_dir(const char* path) {
  if (path == nullptr) return;
  char* built = static_cast<char*>(malloc(strlen(path) + 2));
  if (built == nullptr) return;
  char* end = built;
  for (const char* piece = path + strspn(path, "/"); *piece != '\0'; piece += strspn(piece, "/")) {
    const size_t length = strcspn(piece, "/");
    *end++ = '/';
    end = static_cast<char*>(mempcpy(end, piece, length));
    *end = '\0';
    piece += length;
    utf8_mkdir(built, 040777);  // failures, except an existing directory, show when the file is opened
  }
  free(built);
}
