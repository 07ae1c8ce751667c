#include "tools/ucvtab/files.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>

#include "tools/ucvtab/failure.h"

namespace mar::ucvtab {
namespace {

constexpr size_t kMaxTextSize = 64 << 20;  // bytes; more than any sensible text, less than /dev/zero holds

using File = std::unique_ptr<std::FILE, int (*)(std::FILE*)>;

[[noreturn]] void fail(const std::string& path) {
  throw Failure(kFileError, path + ": " + std::strerror(errno));
}

template <class Content>
Content read_all(File file, const std::string& path, size_t limit_bytes) {
  if (!file) fail(path);
  Content content;
  char block[16384];
  for (size_t count; (count = std::fread(block, 1, sizeof block, file.get())) > 0;) {
    content.insert(content.end(), block, block + count);
    if (content.size() > limit_bytes)
      throw Failure(kBadInput, path + ": more than " + std::to_string(limit_bytes) + " bytes");
  }
  if (std::ferror(file.get())) fail(path);
  return content;
}

std::string trimmed(std::string_view text) {
  constexpr std::string_view kBlanks = " \t\r\n";
  const auto first = text.find_first_not_of(kBlanks);
  if (first == std::string_view::npos) return {};
  return std::string(text.substr(first, text.find_last_not_of(kBlanks) - first + 1));
}

bool write_all(int file, const Bytes& content) {
  for (size_t done = 0; done < content.size();) {
    const ssize_t count = write(file, content.data() + done, content.size() - done);
    if (count == -1 && errno != EINTR) return false;
    if (count > 0) done += static_cast<size_t>(count);
  }
  return true;
}

}  // namespace

Bytes read_table_file(const std::string& path, size_t limit_bytes) {
  // Without O_NONBLOCK, opening a FIFO would wait for a writer. On a regular file the flag has no effect.
  const int descriptor = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
  if (descriptor == -1) fail(path);
  File file(fdopen(descriptor, "rb"), &std::fclose);
  struct stat status;
  if (!file || fstat(descriptor, &status) != 0) fail(path);
  if (!S_ISREG(status.st_mode)) throw Failure(kBadInput, path + ": not a regular file");
  return read_all<Bytes>(std::move(file), path, limit_bytes);
}

std::string read_text_file(const std::string& path) {
  File file = path == "-" ? File(stdin, [](std::FILE*) { return 0; })
                          : File(std::fopen(path.c_str(), "rbe"), &std::fclose);
  auto content = read_all<std::string>(std::move(file), path, kMaxTextSize);
  for (const char* mark : {"\xEF\xBB\xBF", "\xFF\xFE", "\xFE\xFF"}) {
    if (content.starts_with(mark)) {
      throw Failure(kBadInput, path + ":1: starts with a byte order mark; save it as UTF-8 without one");
    }
  }
  return content;
}

std::vector<Line> read_lines(const std::string& path) {
  const std::string content = read_text_file(path);
  std::string_view rest = content;
  std::vector<Line> lines;
  while (!rest.empty()) {
    const std::string_view line = rest.substr(0, rest.find('\n'));
    rest.remove_prefix(std::min(line.size() + 1, rest.size()));
    lines.push_back({trimmed(line.substr(0, line.find('#'))), path + ":" + std::to_string(lines.size() + 1)});
  }
  return lines;
}

void write_file(const std::string& path, const Bytes& content) {
  // The temporary file is always a new one, so a link or a pipe planted under its name is left alone.
  std::string temporary;
  int descriptor = -1;
  for (unsigned attempt = 0; descriptor == -1 && attempt < 100; ++attempt) {
    temporary = path + ".new." + std::to_string(getpid()) + "." + std::to_string(attempt);
    descriptor = open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (descriptor == -1 && errno != EEXIST) break;
  }
  if (descriptor == -1) fail(temporary);
  int reason = write_all(descriptor, content) ? 0 : errno;
  if (close(descriptor) != 0 && reason == 0) reason = errno;
  if (reason == 0 && std::rename(temporary.c_str(), path.c_str()) != 0) reason = errno;
  if (reason == 0) return;
  std::remove(temporary.c_str());
  errno = reason;
  fail(path);
}

}  // namespace mar::ucvtab
