// isolated COMMAND [ARGUMENT...]: runs a program with its own kernel objects and control files, as tests run.
#include <unistd.h>

#include <cstdio>

#include "tests/support/isolation.h"

int main(int argc, char** argv) {
  if (argc < 2) return 2;
  if (!mar::isolate_process()) return 1;
  execvp(argv[1], argv + 1);
  std::perror(argv[1]);
  return 127;
}
