#include "util/utf8_files.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdarg>
#include <cstdlib>
#include <cstring>

#include "charset/codeset_default.h"
#include "charset/convert.h"
#include "charset/multibyte.h"

namespace {

using WholeText = uint32_t (*)(xcs_cs_t*, const char*, int, char*, uint32_t);

char* convert_to_new_block(WholeText convert, size_t growth, const char* text, uint32_t* written) {
  const size_t size = (text == nullptr ? 0 : std::strlen(text)) * growth + 1;
  char* block = static_cast<char*>(std::calloc(size, 1));
  *written = 0;
  if (block == nullptr) return nullptr;
  *written = convert(local_cs, text, -1, block, static_cast<uint32_t>(std::min<size_t>(size, UINT32_MAX)));
  return block;
}

// Frees what a call needed without changing the errno that it left.
void free_quietly(void* block) {
  const int error = errno;
  std::free(block);
  errno = error;
}

// Whether a UTF-8 text needs no conversion: ASCII is the same in every codeset except the EBCDIC ones. Nearly
// every name is ASCII, and each line of the engine log looks its file's name up twice.
bool is_local_already(const char* utf8) {
  const uint16_t kind = mar::charset::codeset_or_default(local_cs)->kind;
  if (kind == XCS_KIND_EBCDIC_SBCS || kind == XCS_KIND_EBCDIC_DBCS) return false;
  while (*utf8 != '\0' && (*utf8 & 0x80) == 0) ++utf8;
  return *utf8 == '\0';
}

// The result of `call` on the locale's form of a name, or `failed` if there is no such form.
template <class Result, class Call>
Result with_local_name(const char* name, Result failed, Call call) {
  if (name == nullptr) {
    errno = EFAULT;  // as the system sets it; a caller that restarts on a stale EINTR would never stop
    return failed;
  }
  if (is_local_already(name)) return call(name);
  char* local = FromUtf8ToMBCS(name);
  if (local == nullptr) return failed;
  const Result result = call(local);
  free_quietly(local);
  return result;
}

// The same for a call on a file, restarted as long as a signal interrupts it.
template <class Result, class Call>
Result on_file(const char* path, Result failed, Call call) {
  return with_local_name(path, failed, [&](const char* name) {
    Result result;
    do {
      result = call(name);
    } while (result == failed && errno == EINTR);
    return result;
  });
}

void forget_local_cs(const xcs_cs_t* codeset) {
  if (codeset == local_cs) local_cs = nullptr;
}

void free_arguments(char** arguments) {
  for (char** argument = arguments; *argument != nullptr; ++argument) free_quietly(*argument);
  free_quietly(arguments);
}

// A NULL-terminated vector of converted copies. Null if memory runs out: a shortened vector would run another
// command than the one asked for.
char** local_arguments(char* const argv[]) {
  size_t count = 0;
  while (argv[count] != nullptr) ++count;
  auto** arguments = static_cast<char**>(std::calloc(count + 1, sizeof(char*)));
  if (arguments == nullptr) return nullptr;
  for (size_t i = 0; i < count; ++i) {
    arguments[i] = FromUtf8ToMBCS(argv[i]);
    if (arguments[i] == nullptr) {
      free_arguments(arguments);
      return nullptr;
    }
  }
  return arguments;
}

// String functions walk on a copy in its initial state: the caller's codeset may be halfway through a text.
xcs_cs_t fresh_copy(const xcs_cs_t& codeset) {
  xcs_cs_t copy = codeset;
  copy.to_state = 0;
  return copy;
}

}  // namespace

xcs_cs_t* local_cs = nullptr;

void init_cs_to_utf8() {
  if (local_cs != nullptr) return;
  xcs_init();
  mar::charset::codeset_freed = forget_local_cs;
  local_cs = xcs_get_def_cs();
  xcs_cs_t* utf8 = xcs_cs_new("UTF8");
  xcs_set_def_cs(utf8 != nullptr ? utf8 : utf8_cs);
}

xcs_cs_t* get_local_cs() { return local_cs; }

uint32_t local_cs_to_utf8(const char* text, char** out) {
  uint32_t written;
  *out = convert_to_new_block(xcs_to_utf8, 3, text, &written);
  return written;
}

uint32_t utf8_to_local_cs(const char* utf8, char** out) {
  uint32_t written;
  *out = convert_to_new_block(xcs_from_utf8, 2, utf8, &written);
  return written;
}

char* FromMBCSToUtf8(const char* text) {
  char* utf8 = nullptr;
  if (text != nullptr) local_cs_to_utf8(text, &utf8);
  return utf8;
}

char* FromUtf8ToMBCS(const char* utf8) {
  char* text = nullptr;
  if (utf8 != nullptr) utf8_to_local_cs(utf8, &text);
  return text;
}

int utf8_open(const char* path, int flags, ...) {
  va_list arguments;
  va_start(arguments, flags);
  const mode_t mode = va_arg(arguments, mode_t);
  va_end(arguments);
  return on_file(path, -1, [&](const char* name) { return open(name, flags, mode); });
}

FILE* utf8_fopen(const char* path, const char* mode) {
  FILE* const failed = nullptr;
  return on_file(path, failed, [&](const char* name) { return fopen(name, mode); });
}

int utf8_stat(const char* path, struct stat* status) {
  return on_file(path, -1, [&](const char* name) { return stat(name, status); });
}

int utf8_mkdir(const char* path, mode_t mode) {
  return on_file(path, -1, [&](const char* name) { return mkdir(name, mode); });
}

int utf8_chdir(const char* path) { return on_file(path, -1, chdir); }

int utf8_remove(const char* path) { return on_file(path, -1, remove); }

int utf8_system(const char* command) { return with_local_name(command, -1, system); }

int utf8_execvp(const char* file, char* const argv[]) {
  char** arguments = argv == nullptr ? nullptr : local_arguments(argv);
  if (arguments == nullptr) return -1;
  const int result = with_local_name(file, -1, [&](const char* name) { return execvp(name, arguments); });
  free_arguments(arguments);
  return result;
}

char* utf8_getcwd(char* buffer, size_t size) {
  char* directory = getcwd(buffer, size);
  char* utf8 = FromMBCSToUtf8(directory);
  if (buffer == nullptr) {
    free_quietly(directory);
  } else if (utf8 != nullptr) {
    std::strncpy(buffer, utf8, size);
    buffer[size - 1] = '\0';
  }
  return utf8;
}

char* utf8_getenv_copy(const char* name) {
  const char* value = nullptr;
  value = with_local_name(name, value, [](const char* local) -> const char* { return std::getenv(local); });
  return FromMBCSToUtf8(value);
}

int utf8_getenv(const char* name, char* value) {
  char* utf8 = utf8_getenv_copy(name);
  if (utf8 == nullptr) return -1;
  const size_t size = std::strlen(utf8) + 1;
  std::memcpy(value, utf8, size);
  std::free(utf8);
  return static_cast<int>(size);
}

int utf8_getenv_bufflen(const char* name) {
  char* utf8 = utf8_getenv_copy(name);
  if (utf8 == nullptr) return -1;
  const size_t size = std::strlen(utf8) + 1;
  std::free(utf8);
  return static_cast<int>(size);
}

const char* APM_NextChar(xcs_cs_t* codeset, const char* text) {
  uint16_t unit;
  return text != nullptr && xcs_next_unit(codeset, &text, &unit) == 1 ? text : nullptr;
}

const char* APM_GetChar(xcs_cs_t* codeset, const char* text, int index) {
  if (codeset == nullptr || text == nullptr || index < 0) return nullptr;
  xcs_cs_t copy = fresh_copy(*codeset);
  for (int steps = 0; steps < index; ++steps) {
    text = APM_NextChar(&copy, text);
    if (text == nullptr) return nullptr;
  }
  return text;
}

int APM_MBCSStrLength(xcs_cs_t* codeset, const char* text) {
  if (codeset == nullptr || text == nullptr) return -1;
  xcs_cs_t copy = fresh_copy(*codeset);
  uint16_t unit;
  int result;
  int length = 0;
  while ((result = xcs_next_unit(&copy, &text, &unit)) == 1) ++length;
  return result == 0 ? length : -1;
}
