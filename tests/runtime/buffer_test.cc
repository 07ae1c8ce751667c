#include "runtime/buffer.h"

#include <gtest/gtest.h>
#include <limits.h>
#include <string.h>

#include <new>
#include <string>
#include <vector>

#include "tests/runtime/runtime_test.h"

static int arrays_made = 0;

void* operator new(size_t size, const std::nothrow_t&) noexcept {
  return mar::OutOfMemory::refuses ? nullptr : ::operator new(size);
}
void* operator new[](size_t size, const std::nothrow_t&) noexcept {
  ++arrays_made;
  return mar::OutOfMemory::refuses ? nullptr : ::operator new[](size);
}

namespace mar {

namespace {

using namespace std::string_literals;

const unsigned char* bytes(const char* text) { return reinterpret_cast<const unsigned char*>(text); }

std::string contents(const CkesBuffer& buffer) {
  return std::string(buffer.GetBuffer(), buffer.GetBuffer() + buffer.GetLength());
}

TEST(Buffer, SetAndAppendJudgeTheirArguments) {
  struct {
    const char* bytes;
    int size;
    bool result;
    const char* after_set;
    const char* after_append;
  } const rows[] = {
      {"ab", 2, true, "ab", "xyzab"}, {nullptr, 0, true, "", "xyz"},
      {nullptr, 5, true, "", "xyz"},  {nullptr, -1, false, "xyz", "xyz"},
      {"ab", 0, false, "xyz", "xyz"}, {"ab", INT_MIN, false, "xyz", "xyz"},
  };
  for (const auto& row : rows) {
    const std::string name = (row.bytes == nullptr ? "null, " : "bytes, ") + std::to_string(row.size);
    CkesBuffer buffer(bytes("xyz"), 3), other(buffer);
    EXPECT_EQ(buffer.Set(bytes(row.bytes), row.size), row.result) << name;
    EXPECT_EQ(contents(buffer), row.after_set) << name;
    EXPECT_EQ(other.Append(bytes(row.bytes), row.size), row.result) << name;
    EXPECT_EQ(contents(other), row.after_append) << name;
  }
  CkesBuffer buffer;
  ASSERT_TRUE(buffer.Set(bytes("ab")) && buffer.Append(bytes("cd")));  // texts, with their terminators
  for (const int size : {INT_MAX, INT_MAX - 5}) EXPECT_FALSE(buffer.Append(bytes("x"), size)) << size;
  EXPECT_EQ(contents(buffer), "ab\0cd\0"s);
}

// Reading freed memory, or bytes that a step before has overwritten.
TEST(Buffer, TakesItsOwnBytes) {
  CkesBuffer buffer(bytes("abc"), 3);
  ASSERT_TRUE(buffer.Append(buffer.GetBuffer() + 1, 2));  // grows
  ASSERT_TRUE(buffer.Append(buffer.GetBuffer(), 1));      // fits
  EXPECT_EQ(contents(buffer), "abcbca");
  buffer += buffer;
  EXPECT_EQ(contents(buffer), "abcbcaabcbca");
  ASSERT_TRUE(buffer.Set(buffer.GetBuffer(), 1));
  EXPECT_EQ(buffer.GetLength(), 12);
  ASSERT_TRUE(buffer.Set(buffer.GetBuffer() + 2, 3));
  EXPECT_EQ(contents(buffer), "cbc");
}

// A copy of no bytes has data, and assigning it is refused; the empty buffer has none, and empties.
TEST(Buffer, CopiesAndAssignments) {
  const CkesBuffer empty;
  CkesBuffer buffer(bytes("ab"), 2);
  buffer = CkesBuffer(empty);
  EXPECT_EQ(contents(CkesBuffer(buffer)), "ab");
  buffer = empty;
  EXPECT_TRUE(buffer == empty);
  EXPECT_EQ(CkesBuffer(nullptr, 4).GetLength(), 0);
  EXPECT_EQ(CkesBuffer(bytes("ab"), -1).GetLength(), 0);
}

TEST(Buffer, EqualityStopsAtACommonZero) {
  struct {
    std::string left, right;
    bool equal;
  } const rows[] = {{"", "", true},     {"ab", "abc", false},     {"ab", "ac", false},
                    {"ab", "ab", true}, {"a\0b"s, "a\0c"s, true}, {"a\0"s, "ab"s, false}};
  for (const auto& row : rows) {
    const CkesBuffer left(bytes(row.left.data()), static_cast<int>(row.left.size()));
    const CkesBuffer right(bytes(row.right.data()), static_cast<int>(row.right.size()));
    EXPECT_EQ(left == right, row.equal) << row.left << " and " << row.right;
    EXPECT_EQ(left != right, !row.equal) << row.left << " and " << row.right;
  }
}

// A new array for each part of a long answer would copy it over and over.
TEST(Buffer, GrowsInFewSteps) {
  const std::vector<unsigned char> part(10240, 'p');
  CkesBuffer buffer;
  arrays_made = 0;
  for (int i = 0; i < 2000; ++i) ASSERT_TRUE(buffer.Append(part.data(), 10240));
  EXPECT_LE(arrays_made, 12);
  EXPECT_EQ(buffer.GetLength(), 20'480'000);
  EXPECT_EQ(contents(buffer).find_first_not_of('p'), std::string::npos);
}

TEST(Buffer, GivesRoomToWhoWritesItself) {
  CkesBuffer buffer(bytes("abc"), 3);
  const int room = buffer.Reserve(7);
  ASSERT_GE(room, 7);
  EXPECT_EQ(contents(buffer), "abc");
  memcpy(buffer.GetBuffer() + room - 4, "defg", 4);
  buffer.SetLength(room);
  EXPECT_EQ(contents(buffer).substr(static_cast<size_t>(room) - 4), "defg");
  const OutOfMemory out_of_memory;
  EXPECT_EQ(buffer.Reserve(room + 1), room);
  buffer.SetLength(3);
  EXPECT_EQ(contents(buffer), "abc");
}

TEST(Buffer, WithoutMemoryNothingChanges) {
  CkesBuffer buffer(bytes("abc"), 3);
  const OutOfMemory out_of_memory;
  EXPECT_FALSE(buffer.Set(bytes("x"), 1));
  EXPECT_FALSE(buffer.Append(bytes("x"), 1));
  EXPECT_EQ(contents(buffer), "abc");
  EXPECT_EQ(CkesBuffer(buffer).GetLength(), 0);
}

}  // namespace

}  // namespace mar
