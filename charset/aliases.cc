#include "charset/aliases.h"

#include <fcntl.h>
#include <langinfo.h>
#include <sys/stat.h>
#include <unistd.h>

#include <clocale>
#include <cstdio>
#include <cstring>
#include <string_view>

#include "charset/ascii.h"
#include "charset/codeset.h"
#include "charset/table.h"

namespace mar::charset {
namespace {

constexpr size_t kNameSize = 128;
constexpr size_t kLineSize = 128;

void copy_upper(const char* from, char (&to)[kNameSize]) {
  size_t length = 0;
  for (; from[length] != '\0' && length + 1 < kNameSize; ++length) to[length] = ascii_upper(from[length]);
  to[length] = '\0';
}

void normalise(const char* name, char* out, uint32_t size) {
  char work[kNameSize];
  copy_upper(name, work);
  const std::string_view upper = work;
  if (upper == "DOS" || upper == "WIN" || upper == "OS") {
    std::setlocale(LC_ALL, "");
    const char* codeset = nl_langinfo(CODESET);
    copy_upper(*codeset == '\0' ? "ISO88591" : codeset, work);
  }
  std::string_view rest = work;
  if (rest.starts_with("QXO")) rest.remove_prefix(3);
  uint32_t length = 0;
  for (const char byte : rest) {
    if (ascii_alnum(byte) && length + 1 < size) out[length++] = byte;
  }
  out[length] = '\0';
}

FILE* open_regular(const char* path) {
  const int file = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (file == -1) return nullptr;
  struct stat status;
  FILE* stream = fstat(file, &status) == 0 && S_ISREG(status.st_mode) ? fdopen(file, "r") : nullptr;
  if (stream == nullptr) close(file);
  return stream;
}

FILE* open_aliases() {
  const char* directory = xcs_get_dir();
  for (const char* between : {"/codeset", ""}) {
    constexpr size_t kSlashAliasesNul = sizeof "/aliases";
    if (*directory == '\0') break;
    if (std::strlen(directory) + std::strlen(between) + kSlashAliasesNul >= kPathSize) continue;
    char path[kPathSize];
    std::snprintf(path, sizeof path, "%s%s/aliases", directory, between);
    if (FILE* stream = open_regular(path)) return stream;
  }
  return open_regular("aliases");
}

std::string_view next_word(std::string_view& line) {
  while (!line.empty() && ascii_space(line.front())) line.remove_prefix(1);
  size_t length = 0;
  while (length < line.size() && !ascii_space(line[length])) ++length;
  const std::string_view word = line.substr(0, length);
  line.remove_prefix(length);
  return word;
}

// Returns the table name of a line whose alias is `name`. Empty for any other line, and for one in which no
// white space follows the table name.
std::string_view match(std::string_view line, std::string_view name) {
  if (line.starts_with('#') || next_word(line) != name) return {};
  const std::string_view table_name = next_word(line);
  return line.empty() ? std::string_view() : table_name;
}

}  // namespace
}  // namespace mar::charset

using namespace mar::charset;

int get_table_name(const char* name, char* table_name, uint32_t size) {
  static FILE* aliases = nullptr;
  if (table_name == nullptr || size == 0) return 1;
  normalise(name == nullptr ? "" : name, table_name, size);
  if (aliases != nullptr) std::fclose(aliases);
  aliases = open_aliases();
  if (aliases == nullptr) return 0;
  char line[kLineSize];
  while (std::fgets(line, sizeof line, aliases) != nullptr) {
    const std::string_view target = match(line, table_name);
    if (target.empty()) continue;
    const size_t length = target.size() < size ? target.size() : size - 1;
    std::memcpy(table_name, target.data(), length);
    table_name[length] = '\0';
    return 0;
  }
  return 0;
}
