#include "log/trace_location.h"

#include <errno.h>
#include <fcntl.h>
#include <string.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <climits>
#include <cstdint>
#include <cstdlib>

#include "log/file_calls.h"

using namespace mar;

namespace {

// Copies at most `length` bytes of `text`, up to its NUL, as many as fit.
void copy_bounded(char* out, size_t size, const char* text, size_t length) {
  length = strnlen(text, std::min(length, size - 1));
  memcpy(out, text, length);
  out[length] = '\0';
}

void append_bounded(char* out, size_t size, const char* text) {
  const size_t used = strlen(out);
  copy_bounded(out + used, size - used, text, strlen(text));
}

// The key's first occurrence that is not commented out, or null.
const char* find_key(const char* text, size_t length) {
  const char* const end = text + length;
  const char* from = text;
  while (true) {
    const char* found = static_cast<const char*>(
        memmem(from, static_cast<size_t>(end - from), COMMON_LOGDIR_KEY, sizeof COMMON_LOGDIR_KEY - 1));
    if (found == nullptr || found == text || found[-1] != '#') return found;
    from = found + 1;
  }
}

}  // namespace

void getLogFileSpec(char* out, size_t size) {
  if (out == nullptr || size == 0) return;
  findCommonLogDir(out, size);
  append_bounded(out, size, DEFAULT_LOG_FILE_NAME);
}

void findCommonLogDir(char* out, size_t size) {
  if (out == nullptr || size == 0) return;
  if (getLogPropertiesCommonLogDir(LOG_PROPS_FS, out, size) == 0) {
    copy_bounded(out, size, DEFAULT_LOGFILE_DIR, sizeof DEFAULT_LOGFILE_DIR);
    return;
  }
  if (strlen(out) + 1 < size) ensureEndsWithSlash(out);
  append_bounded(out, size, LOGDIR_TRAILER);
}

int getLogPropertiesCommonLogDir(const char* file, char* out, size_t size) {
  unsigned int length = 0;
  char* text = nullptr;
  if (fileExists(file, &length) == 0 || length == 0 || length > INT_MAX) return 0;
  if (readFile(file, static_cast<int>(length), &text) == 0) return 0;
  const int found = parseLogProps(text, length, out, size);
  free(text);
  return found;
}

int parseLogProps(const char* text, unsigned int length, char* out, size_t size) {
  if (text == nullptr || out == nullptr || size == 0) return 0;
  const char* key = find_key(text, length);
  if (key == nullptr) return 0;
  const char* const end = text + length;
  // The key may end the text: then there is no character to skip, and no value.
  const char* value = std::min(key + sizeof COMMON_LOGDIR_KEY, end);
  copy_bounded(out, size, value, static_cast<size_t>(end - value));
  clipLine(out);
  trimString(out);
  return 1;
}

int fileExists(const char* path, unsigned int* size) {
  struct stat found {};
  if (path == nullptr || stat(path, &found) != 0) return 0;
  if (size != nullptr) *size = static_cast<unsigned int>(std::min<int64_t>(found.st_size, UINT_MAX));
  return 1;
}

int readFile(const char* path, int length, char** out) {
  if (path == nullptr || out == nullptr || length < 0) return 0;
  const CancellationDeferred deferred;
  const int fd = open_path(path, O_RDONLY, 0);
  if (fd == -1) return 0;
  const size_t wanted = static_cast<size_t>(length);
  char* block = static_cast<char*>(malloc(wanted + 1));
  size_t got = 0;
  while (block != nullptr && got < wanted) {
    const ssize_t step = read(fd, block + got, wanted - got);
    if (step > 0) got += static_cast<size_t>(step);
    if (step == 0 || (step == -1 && errno != EINTR)) break;
  }
  close(fd);
  if (block == nullptr || got < wanted) {
    free(block);
    return 0;
  }
  block[wanted] = '\0';
  *out = block;
  return 1;
}

void clipLine(char* text) { text[strcspn(text, EOL_CHARS)] = '\0'; }

void trimString(char* text) {
  const char* const start = text + strspn(text, _TRIM_CHARS);
  size_t length = strlen(start);
  while (length > 0 && strchr(_TRIM_CHARS, start[length - 1]) != nullptr) --length;
  memmove(text, start, length);
  text[length] = '\0';
}

void ensureEndsWithSlash(char* text) {
  const size_t length = strlen(text);
  if (length > 0 && text[length - 1] == '/') return;
  text[length] = '/';
  text[length + 1] = '\0';
}
