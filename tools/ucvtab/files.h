// Whole files in and out.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace ucvtab {

using Bytes = std::vector<uint8_t>;

struct Line {
  std::string text;   // less the comment that "#" starts and the blanks at both ends
  std::string where;  // "FILE:LINE"
};

constexpr size_t kMaxTextSize = 64 << 20;  // bytes; more than any sensible text, and less than /dev/zero

// Each throws Failure(kFileError) with the path and the system's reason, or Failure(kBadInput) when the file
// is too large. A table must be a regular file, so that no FIFO among many files stops a command. A text may
// also come through a pipe, or from standard input for the path "-"; a byte order mark is Failure(kBadInput).
Bytes read_table_file(const std::string& path, size_t limit);
Bytes read_text_file(const std::string& path);
std::vector<Line> read_lines(const std::string& path);

// Writes beside `path` under a new name and renames, so that a reader or a broken build never sees half a
// file; what was written goes away when any of it fails.
void write_file(const std::string& path, const Bytes& content);

}  // namespace ucvtab
