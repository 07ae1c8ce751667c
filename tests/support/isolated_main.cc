// main() of every test program: isolates the process, then runs the tests.
#include <gtest/gtest.h>

#include "tests/support/isolation.h"

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (!GTEST_FLAG_GET(list_tests) && !mar::isolate_process()) return 1;
  return RUN_ALL_TESTS();
}
