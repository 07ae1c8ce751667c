// An owned, growable block of bytes. Not safe for use from several threads at once.
#pragma once

class CkesBuffer {
 public:
  // Empty: no data, length 0.
  CkesBuffer() = default;
  // Copies of another buffer or of `size` bytes. Unlike the empty buffer, a copy of no bytes has data (an
  // array of length 0). Without memory, or of null bytes or a negative size, the new buffer is empty.
  CkesBuffer(const CkesBuffer& other);
  CkesBuffer(const unsigned char* bytes, int size);
  ~CkesBuffer();

  // Replaces the contents by a copy of `size` bytes; null with a size of 0 or more empties the buffer. The
  // buffer's own data pointer is accepted and changes nothing, whatever the size.
  // False, nothing changed: a negative size, bytes that are not null with size 0, or no memory.
  [[nodiscard]] bool Set(const unsigned char* bytes, int size);
  // A NUL-terminated text, its terminator included. A null text counts as null bytes with size 0.
  [[nodiscard]] bool Set(const unsigned char* text);

  // Adds a copy of `size` bytes, which may lie in this buffer; null with a size of 0 or more adds nothing.
  // Amortised constant time per byte. False, nothing changed: as for Set, or past INT_MAX bytes in all.
  [[nodiscard]] bool Append(const unsigned char* bytes, int size);
  // A NUL-terminated text, its terminator included, so a zero stays between two appended texts.
  [[nodiscard]] bool Append(const unsigned char* text);

  // Set and Append, their results ignored; so assigning a copy of no bytes changes nothing.
  CkesBuffer& operator=(const CkesBuffer& other);
  CkesBuffer& operator+=(const CkesBuffer& other);

  // Kept as is: the lengths, then the bytes up to the first zero that both have in the same place. What
  // follows that zero is not compared.
  bool operator==(const CkesBuffer& other) const;

  // The bytes stay the buffer's and move when it grows.
  unsigned char* GetBuffer() const { return data; }
  int GetLength() const { return length; }

 private:
  unsigned char* data = nullptr;  // array of `capacity` bytes, or null
  int length = 0;                 // valid bytes
  int capacity = 0;
};
