// isolated COMMAND [ARGUMENT...]: runs a program as a test would run, with its own kernel objects and control
// files.
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>

#include "tests/support/isolation.h"

int main(int argc, char** argv) {
  constexpr int kSkipped = 77;
  if (argc < 2) return 2;
  if (const char* refused = isolate_process()) {
    std::fprintf(stderr, "SKIPPED: no private namespaces here (%s: %s)\n", refused, std::strerror(errno));
    return kSkipped;
  }
  execvp(argv[1], argv + 1);
  std::perror(argv[1]);
  return 127;
}
