// An owned, growable block of bytes. One thread at a time may use a buffer. Operations that can fail return
// false and leave the buffer as it was; none is a cancellation point.
#pragma once

#include <algorithm>

#pragma GCC visibility push(default)

class CkesBuffer {
 public:
  // Empty: no data, length 0.
  CkesBuffer() = default;
  // Copies of another buffer or of `size` bytes. Unlike the empty buffer, a copy of no bytes has data
  // (an array of length 0). The new buffer is empty if memory runs out, if the bytes are null, or if the
  // size is negative.
  CkesBuffer(const CkesBuffer& other);
  CkesBuffer(const unsigned char* bytes, int size);
  ~CkesBuffer();

  // Replaces the contents with a copy of `size` bytes; null with a size of 0 or more empties the buffer. The
  // buffer's own data pointer is accepted and changes nothing, whatever the size.
  // False, with nothing changed: a negative size, size 0 with bytes that are not null, or no memory.
  [[nodiscard]] bool Set(const unsigned char* bytes, int size);
  // A NUL-terminated text with its terminator. A null text counts as null bytes with size 0.
  [[nodiscard]] bool Set(const unsigned char* text);

  // Adds a copy of `size` bytes, which may lie in this buffer; null with a size of 0 or more adds
  // nothing. Amortised constant time per byte. False, with nothing changed: as for Set, or beyond INT_MAX
  // bytes in all.
  [[nodiscard]] bool Append(const unsigned char* bytes, int size);
  // A NUL-terminated text with its terminator, so a zero remains between two appended texts.
  [[nodiscard]] bool Append(const unsigned char* text);

  // Set and Append with their results ignored; so assigning a copy of no bytes changes nothing.
  CkesBuffer& operator=(const CkesBuffer& other);
  CkesBuffer& operator+=(const CkesBuffer& other);

  // Kept as is: compares the lengths, then the bytes up to the first zero that both have in the same place.
  // What follows that zero is not compared.
  bool operator==(const CkesBuffer& other) const;

  // For callers that write the bytes themselves. Reserve makes the buffer's memory hold `size` bytes, if
  // there is that much, and returns how many it holds; the contents stay at its start. SetLength makes the
  // first `size` bytes of that memory the contents, or as many as it holds.
  int Reserve(int size);
  void SetLength(int size) { length = std::clamp(size, 0, capacity); }

  // The buffer owns the bytes and moves them when it grows.
  unsigned char* GetBuffer() const { return data; }
  int GetLength() const { return length; }

 private:
  unsigned char* data = nullptr;  // array of `capacity` bytes, or null
  int length = 0;                 // valid bytes
  int capacity = 0;
};

#pragma GCC visibility pop
