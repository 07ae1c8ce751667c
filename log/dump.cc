#include "log/dump.h"

#include <algorithm>
#include <cstdio>

#include "log/engine_log.h"
#include "log/log_record.h"

namespace {

constexpr long kRowBytes = 16;

bool is_written(long component, int level) {
  if (IsComponentEnabled(component) == 0) return false;
  ZARNLogMutexLock();
  const bool written = LogInfo()->threshold >= level;
  ZARNLogMutexUnlock();
  return written;
}

// Kept as is: a byte from 0x80 up is printed as a negative number, " ffffff80", and the next byte's text
// overwrites all of it except " ff"; only the row's last byte keeps its eight digits.
void dump_row(long component, int level, long offset, const unsigned char* row, long count) {
  char hex[64] = "";
  char text[kRowBytes + 1] = "";
  for (long i = 0; i < count; ++i) {
    const int value = row[i] < 0x80 ? row[i] : row[i] - 0x100;
    snprintf(hex + 3 * i, 10, " %02x", static_cast<unsigned>(value));
    text[i] = value < 32 || value == 127 ? '.' : static_cast<char>(value);
  }
  char line[128];
  snprintf(line, sizeof line, "%08lx:%-48s %s", static_cast<unsigned long>(offset), hex, text);
  ZARNLog(component, level, "%s", line);
}

}  // namespace

void ZARNDump(long component, int level, const char* title, const unsigned char* data, long length) {
  if (!is_written(component, level)) return;  // no need to format rows that would be dropped
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"  // the title is the caller's format, by contract
  ZARNLog(component, level, title, data, length);
#pragma GCC diagnostic pop
  char line[80];
  snprintf(line, sizeof line, "-START DATA-: %ld  (%#lx) bytes-", length, static_cast<unsigned long>(length));
  ZARNLog(component, level, "%s", line);
  for (long offset = 0; data != nullptr && offset < length; offset += kRowBytes) {
    dump_row(component, level, offset, data + offset, std::min(length - offset, kRowBytes));
  }
  ZARNLog(component, level, "-END DATA-");
}
