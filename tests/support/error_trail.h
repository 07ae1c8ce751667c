// The error stack of the calling thread, for tests.
#pragma once

#include <string>

#include "runtime/error_manager.h"

namespace mar {

// The recorded locations, oldest first, one a line. A thread without an error stack has "no error stack".
inline std::string error_trail() {
  char text[2000] = "no error stack";
  CkesErrorManager::GetStackDump(text, sizeof text);
  return text;
}

}  // namespace mar
