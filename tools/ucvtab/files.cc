#include "tools/ucvtab/files.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "tools/ucvtab/failure.h"

namespace ucvtab {
namespace {

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

[[noreturn]] void fail(const std::string& path) {
  throw Failure(kFileError, path + ": " + std::strerror(errno));
}

File open_file(const std::string& path, const char* mode) {
  if (path == "-") return {stdin, [](std::FILE*) { return 0; }};
  File file(std::fopen(path.c_str(), mode), &std::fclose);
  if (!file) fail(path);
  return file;
}

std::string trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(kBlanks) - first + 1));
}

}  // namespace

Bytes read_file(const std::string& path, size_t limit) {
  File file = open_file(path, "rbe");
  Bytes content;
  uint8_t block[16384];
  for (size_t count; (count = std::fread(block, 1, sizeof block, file.get())) > 0;) {
    content.insert(content.end(), block, block + count);
    if (content.size() > limit)
      throw Failure(kBadInput, path + ": more than " + std::to_string(limit) + " bytes");
  }
  if (std::ferror(file.get())) fail(path);
  return content;
}

std::vector<Line> read_lines(const std::string& path) {
  const Bytes content = read_file(path);
  std::string_view rest(reinterpret_cast<const char*>(content.data()), content.size());
  std::vector<Line> lines;
  while (!rest.empty()) {
    std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    lines.push_back({trimmed(line.substr(0, line.find('#'))), path + ":" + std::to_string(lines.size() + 1)});
  }
  return lines;
}

void write_file(const std::string& path, const Bytes& content) {
  const std::string temporary = path + ".new";
  {
    File file = open_file(temporary, "wbe");
    if (std::fwrite(content.data(), 1, content.size(), file.get()) != content.size() ||
        std::fflush(file.get()) != 0) {
      fail(temporary);
    }
  }
  if (std::rename(temporary.c_str(), path.c_str()) != 0) fail(path);
}

}  // namespace ucvtab
