// The first runtime object of a process without a thread-specific key left says so in every operation.
#include <gtest/gtest.h>
#include <pthread.h>

#include "runtime/error_manager.h"
#include "runtime/mutex.h"
#include "runtime/thread_library.h"
#include "tests/support/child.h"

namespace mar {

namespace {

class Uninitialised : public testing::Test {
 protected:
  void SetUp() override {
    if (CkesThreadLibrary::IsInitialized()) GTEST_SKIP() << "needs a process of its own: run it alone";
    for (pthread_key_t key; pthread_key_create(&key, nullptr) == 0;) last_key_ = key;
  }
  pthread_key_t last_key_ = 0;
};

TEST_F(Uninitialised, TheErrorManagerFindsNoKey) {
  pthread_key_delete(last_key_);  // the thread names take it, and the error manager finds none
  EXPECT_EQ(CkesMutex().Lock(), -120);
  EXPECT_EQ(CkesErrorManager::SetError(-1, "x"), -204);
  EXPECT_EQ(CkesErrorManager::RegisterThread(), -204);
  EXPECT_EQ(CkesErrorManager::UnregisterThread(), -203);
  EXPECT_EQ(CkesThreadLibrary::Initialize(), -101);
}

// Only the first call finds the library uninitialised, so each is made in a process of its own.
TEST_F(Uninitialised, EveryCallOfTheLibraryTriesOnce) {
  EXPECT_EQ(Child([] { return CkesThreadLibrary::Initialize(); }).result(), -103);
  using Library = CkesThreadLibrary;
  long (*const calls[])() = {[] { return Library::CreateNewKey(nullptr); },
                             [] { return Library::SetKeyValue(0, nullptr); },
                             [] { return Library::GetKeyValue(0, nullptr); },
                             [] { return Library::GetCurrentThreadName(nullptr); },
                             [] { return Library::GetCurrentThreadID(nullptr); },
                             [] { return Library::GiveWay(); },
                             [] { return Library::JoinAll(nullptr, 0); }};
  for (const auto call : calls) {
    EXPECT_EQ(Child([=] { return call(); }).result(), -102) << "row " << (&call - calls);
  }
}

}  // namespace

}  // namespace mar
