#include "runtime/error_stack.h"

#include <string.h>

#include <cstddef>

using namespace mar;

void CkesErrorStack::SetErrorCode(long code, const char* location) {
  errorCode = code;
  first = last;
  entries[first] = location;
}

long CkesErrorStack::AddFunction(const char* name) {
  last = (last + 1) % kRingSize;
  const bool full = last == first;
  if (full) first = (first + 1) % kRingSize;
  entries[last] = name;
  return full ? kErrorTrailFull : 0;
}

const char* CkesErrorStack::GetFirstFunction() {
  cursor = first;
  return entries[first];
}

const char* CkesErrorStack::GetNextFunction() {
  if (cursor == last) {
    cursor = first;
    return nullptr;
  }
  ++cursor;
  return entries[cursor % kRingSize];
}

int CkesErrorStack::GetStackSize() const {
  return last > first ? last - first + 1 : last - first + kRingSize + 1;
}

void CkesErrorStack::GetStackDump(char* buffer, int size) {
  const char* text = GetFirstFunction();
  if (buffer == nullptr || size < 1) return;
  size_t used = 0;
  buffer[0] = '\0';
  for (; text != nullptr; text = GetNextFunction()) {
    const size_t length = strlen(text);
    const size_t end = used + length + 1;
    if (end >= static_cast<size_t>(size)) return;
    memcpy(buffer + used, text, length);
    memcpy(buffer + end - 1, "\n", 2);
    used = end;
  }
}
