#include "runtime/buffer.h"

#include <limits.h>
#include <string.h>

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>

namespace {

using Array = std::unique_ptr<unsigned char[]>;

// Null if memory runs out.
Array allocate(int size) { return Array(new (std::nothrow) unsigned char[static_cast<size_t>(size)]); }

void copy(unsigned char* to, const unsigned char* from, int size) {
  if (size > 0) memcpy(to, from, static_cast<size_t>(size));
}

// Moves the first `length` bytes to a larger array, so that many appends copy each byte few times. False,
// with nothing changed, if memory runs out.
//   old  receives the array that they were in
bool grow(unsigned char*& data, int length, int& capacity, int size, Array& old) {
  const int wanted = std::max(size, capacity > INT_MAX / 2 ? INT_MAX : 2 * capacity);
  Array fresh = allocate(wanted);
  if (fresh == nullptr) return false;
  copy(fresh.get(), data, length);
  old.reset(data);
  data = fresh.release();
  capacity = wanted;
  return true;
}

// The bytes of `text`, its terminator included; -1 if an int cannot hold the count.
int text_size(const unsigned char* text) {
  if (text == nullptr) return 0;
  const size_t length = strlen(reinterpret_cast<const char*>(text));
  return length < INT_MAX ? static_cast<int>(length) + 1 : -1;
}

}  // namespace

CkesBuffer::CkesBuffer(const CkesBuffer& other) : CkesBuffer(other.data, other.length) {}

CkesBuffer::CkesBuffer(const unsigned char* bytes, int size) {
  if (size < 0 || (bytes == nullptr && size > 0)) return;
  Array fresh = allocate(size);
  if (fresh == nullptr) return;
  copy(fresh.get(), bytes, size);
  data = fresh.release();
  length = capacity = size;
}

CkesBuffer::~CkesBuffer() { delete[] data; }

bool CkesBuffer::Set(const unsigned char* bytes, int size) {
  if (bytes == data) return true;
  if (size < 0 || (bytes != nullptr && size == 0)) return false;
  Array fresh;
  if (bytes == nullptr) {
    size = 0;
  } else {
    fresh = allocate(size);
    if (fresh == nullptr) return false;
    copy(fresh.get(), bytes, size);
  }
  delete[] data;  // not earlier: `bytes` may lie in it
  data = fresh.release();
  length = capacity = size;
  return true;
}

bool CkesBuffer::Set(const unsigned char* text) { return Set(text, text_size(text)); }

bool CkesBuffer::Append(const unsigned char* bytes, int size) {
  if (bytes == nullptr) return size >= 0;
  if (size < 1 || size > INT_MAX - length) return false;
  Array old;  // outlives the copy: `bytes` may lie in it
  if (length + size > capacity && !grow(data, length, capacity, length + size, old)) return false;
  copy(data + length, bytes, size);
  length += size;
  return true;
}

bool CkesBuffer::Append(const unsigned char* text) { return Append(text, text_size(text)); }

int CkesBuffer::Reserve(int size) {
  Array old;
  if (size > capacity) (void)grow(data, length, capacity, size, old);
  return capacity;
}

CkesBuffer& CkesBuffer::operator=(const CkesBuffer& other) {
  if (this != &other) (void)Set(other.data, other.length);
  return *this;
}

CkesBuffer& CkesBuffer::operator+=(const CkesBuffer& other) {
  (void)Append(other.data, other.length);
  return *this;
}

bool CkesBuffer::operator==(const CkesBuffer& other) const {
  if (length != other.length) return false;
  if (length == 0) return true;
  return strncmp(reinterpret_cast<const char*>(data), reinterpret_cast<const char*>(other.data),
                 static_cast<size_t>(length)) == 0;
}
