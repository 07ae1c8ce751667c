// Error stacks, their manager, and the parts of the thread library that need no worker thread.
#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <thread>

#include "runtime/error_manager.h"
#include "runtime/thread_library.h"
#include "tests/runtime/runtime_test.h"

namespace mar {

namespace {

// The dump in a buffer of exactly `size` bytes, so that the address sanitizer sees a byte too many.
std::string dump(CkesErrorStack& stack, int size) {
  const auto buffer = std::make_unique<char[]>(static_cast<size_t>(size));
  stack.GetStackDump(buffer.get(), size);
  return buffer.get();
}

TEST(ErrorStack, KeepsTheTrailOfTheLastError) {
  CkesErrorStack stack;
  EXPECT_EQ(dump(stack, 100), "Error code not set.\n");
  EXPECT_EQ(stack.GetErrorCode(), 0);
  EXPECT_EQ(stack.GetStackSize(), 51);
  stack.SetErrorCode(-122, "CkesMutex::Lock()");
  EXPECT_EQ(stack.GetStackSize(), 51);
  EXPECT_EQ(stack.AddFunction("A") + stack.AddFunction("B"), 0);
  EXPECT_EQ(dump(stack, 100), "CkesMutex::Lock()\nA\nB\n");
  EXPECT_EQ(stack.GetStackSize(), 3);
  stack.SetErrorCode(-1, "C");
  EXPECT_EQ(dump(stack, 100), "C\n");
  EXPECT_EQ(stack.GetErrorCode(), -1);
}

TEST(ErrorStack, DumpLeavesOutWhatDoesNotFit) {
  CkesErrorStack stack;
  stack.SetErrorCode(-1, "abcd");
  stack.AddFunction("ef");
  struct {
    int size;
    const char* want;
  } const rows[] = {{1, ""}, {5, ""}, {6, "abcd\n"}, {8, "abcd\n"}, {9, "abcd\nef\n"}};
  for (const auto& row : rows) EXPECT_EQ(dump(stack, row.size), row.want) << row.size;
  char untouched = 'x';
  stack.GetStackDump(&untouched, 0);
  EXPECT_EQ(untouched, 'x');
  EXPECT_STREQ(stack.GetNextFunction(), "ef");
  stack.GetStackDump(nullptr, 100);  // starts the iteration all the same
  EXPECT_STREQ(stack.GetNextFunction(), "ef");
}

TEST(ErrorStack, FullRingDropsTheOldest) {
  CkesErrorStack stack;
  stack.SetErrorCode(-1, "origin");
  EXPECT_EQ(stack.AddFunction("second"), 0);
  for (int i = 0; i < 48; ++i) EXPECT_EQ(stack.AddFunction("x"), 0) << i;
  EXPECT_EQ(stack.AddFunction("newest"), -202);
  EXPECT_EQ(stack.GetStackSize(), 50);
  std::string round = "second\n";
  for (int i = 0; i < 48; ++i) round += "x\n";
  EXPECT_EQ(dump(stack, 118), round + "newest\nsecond\n");  // a wrapped trail has no end but the buffer's
  stack.SetErrorCode(-2, "afresh");
  EXPECT_EQ(dump(stack, 200), "afresh\n");
  // The new trail begins where the old one ended: from the ring's last place on it soon goes round again.
  for (int i = 0; i < 149; ++i) EXPECT_EQ(stack.AddFunction("y"), i < 49 ? 0 : -202) << i;
  stack.SetErrorCode(-3, "last place");
  EXPECT_EQ(stack.GetStackSize(), 51);
  stack.AddFunction("first place");
  EXPECT_EQ(dump(stack, 26), "last place\nfirst place\ny\n");
}

TEST(ErrorManager, EveryThreadHasItsOwnStack) {
  ASSERT_EQ(CkesErrorManager::SetError(-7, "Main::Main()"), 0);
  std::thread([] {
    EXPECT_EQ(CkesErrorManager::SetError(-1, "x"), -203);
    EXPECT_EQ(CkesErrorManager::AddFunction("x"), -203);
    {
      const OutOfMemory out_of_memory;
      EXPECT_EQ(CkesErrorManager::RegisterThread(), -1);
    }
    EXPECT_EQ(CkesErrorManager::RegisterThread(), 0);
    EXPECT_EQ(CkesErrorManager::RegisterThread(), -200);
    EXPECT_EQ(recorded(), "0 Error code not set.\n");
    EXPECT_EQ(CkesErrorManager::UnregisterThread(), 0);
    EXPECT_EQ(CkesErrorManager::UnregisterThread(), -203);
  }).join();
  EXPECT_EQ(CkesErrorManager::AddFunction("main"), 0);
  EXPECT_EQ(recorded(), "-7 Main::Main()\nmain\n");
  CkesErrorStack copy;
  ASSERT_EQ(CkesErrorManager::GetStack(copy), 0);
  EXPECT_EQ(copy.GetErrorCode(), -7);
}

TEST(ThreadLibrary, NamesAndKeysBelongToTheirThread) {
  unsigned int key = 0;
  int mine = 0;
  ASSERT_EQ(CkesThreadLibrary::CreateNewKey(&key), 0);
  EXPECT_EQ(CkesThreadLibrary::Initialize(), -101);
  ASSERT_EQ(CkesThreadLibrary::SetKeyValue(key, &mine), 0);
  char name[kThreadNameSizeBytes];
  ASSERT_EQ(CkesThreadLibrary::GetCurrentThreadName(name), 0);
  EXPECT_STREQ(name, "Main Thread");
  std::thread([key] {
    void* value = &value;
    EXPECT_EQ(CkesThreadLibrary::GetKeyValue(key, &value), 0);
    EXPECT_EQ(value, nullptr);
    CkesErrorManager::RegisterThread();
    char other[kThreadNameSizeBytes];
    EXPECT_EQ(failure(CkesThreadLibrary::GetCurrentThreadName(other)),
              "-114 CkesThreadLibrary::GetCurrentThreadName()\n");
    CkesErrorManager::UnregisterThread();
  }).join();
  EXPECT_EQ(failure(CkesThreadLibrary::SetKeyValue(kNoThreadKey, &mine)),
            "-104 CkesThreadLibrary::SetKeyValue()\n");
}

}  // namespace

}  // namespace mar
