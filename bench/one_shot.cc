// The least program that does what t1 does: the system calls of its exchange, a copy for each put and get,
// and a line of output. start_bench starts it beside t1.
//   one_shot MEMORY LOCK_SET WAKE_SET FILE KEY KEY KEY      the numbers of a floor::Queue's objects, and the
//   control file and keys of the real queue
#include <unistd.h>

#include <cstdlib>

#include "bench/floor.h"

int main(int argc, char** argv) {
  if (argc != 8) return 2;
  const mar::floor::Queue queue({std::atoi(argv[1]), std::atoi(argv[2]), std::atoi(argv[3])});
  const key_t keys[] = {std::atoi(argv[5]), std::atoi(argv[6]), std::atoi(argv[7])};
  mar::floor::exchange(queue, argv[4], keys);
  return write(STDOUT_FILENO, "mar_dump worked!\n", 17) == 17 ? 0 : 1;
}
