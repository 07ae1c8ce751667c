// Whole files in and out. A path of "-" is standard input. Every function throws Failure(kFileError) with the
// path and the system's reason.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace mar::ucvtab {

using Bytes = std::vector<uint8_t>;

struct Line {
  std::string text;   // without the comment that "#" starts and without blanks at either end
  std::string where;  // "FILE:LINE"
};

// Reads a table, which must be a regular file: a FIFO among many files must not stop a command. Throws
// Failure(kBadInput) for any other file and for one of more than `limit_bytes`.
Bytes read_table_file(const std::string& path, size_t limit_bytes);

// Reads a text, which may also come through a pipe. Throws Failure(kBadInput) for a byte order mark and for
// more than 64 MB.
std::string read_text_file(const std::string& path);
std::vector<Line> read_lines(const std::string& path);

// Writes a new file beside `path` and renames it, so that neither a reader nor a build that breaks off ever
// sees half a file. Removes what it wrote if any of it fails.
void write_file(const std::string& path, const Bytes& content);

}  // namespace mar::ucvtab
