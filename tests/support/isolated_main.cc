// main() of every test program: isolates the process, then runs the tests. Where the system allows no
// namespaces the tests are skipped, loudly, with the exit status that ctest reports as "Skipped".
#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tests/support/isolation.h"

constexpr int kSkipped = 77;

int main(int argc, char** argv) {
  testing::InitGoogleTest(&argc, argv);
  if (!GTEST_FLAG_GET(list_tests)) {
    if (const char* refused = isolate_process()) {
      std::fprintf(stderr, "SKIPPED: no private namespaces here (%s: %s)\n", refused, std::strerror(errno));
      return kSkipped;
    }
  }
  return RUN_ALL_TESTS();
}
