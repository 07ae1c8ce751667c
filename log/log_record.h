// The settings of the engine log.
#pragma once

#include <cstdio>

#include "log/log_mutex.h"

namespace mar {

// What the log writes to and what it lets through.
struct LogRecord {
  char* fileName MAR_GUARDED_BY(log_mutex);    // heap copy, "\" turned into "/"; null while uninitialised
  FILE* rollStream MAR_GUARDED_BY(log_mutex);  // open during a roll-over only
  long maxSize MAR_GUARDED_BY(log_mutex);      // bytes, 100 .. 100,000,000
  int threshold MAR_GUARDED_BY(log_mutex);     // highest level that is written
  long components MAR_GUARDED_BY(log_mutex);   // mask of enabled components
  int initialized MAR_GUARDED_BY(log_mutex);
  int console MAR_GUARDED_BY(log_mutex);  // non-zero: messages go to standard output; never set here
};

}  // namespace mar

mar::LogRecord* LogInfo();
