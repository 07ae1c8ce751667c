// The System V objects that exist, for tests that inspect them directly or check that none is left.
#pragma once

#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>

#include <fstream>
#include <string>
#include <vector>

namespace mar {

// The number of segments and semaphore sets in this IPC namespace.
inline int kernel_objects() {
  int count = 0;
  for (const char* list : {"/proc/sysvipc/shm", "/proc/sysvipc/sem"}) {
    std::ifstream file(list);
    std::string line;
    std::getline(file, line);  // headings
    while (std::getline(file, line)) ++count;
  }
  return count;
}

// The bytes of the segment whose key `number` and the control file `name` make. Empty if there is none.
inline std::vector<uint8_t> segment_bytes(const char* name, int number = 2) {
  const int segment = shmget(ftok(name, number), 0, 0);
  shmid_ds status{};
  if (segment == -1 || shmctl(segment, IPC_STAT, &status) != 0) return {};
  auto* const bytes = static_cast<uint8_t*>(shmat(segment, nullptr, SHM_RDONLY));
  std::vector<uint8_t> copy(bytes, bytes + status.shm_segsz);
  shmdt(bytes);
  return copy;
}

// The values of the semaphore set whose key `number` and the control file `name` make. Empty likewise.
inline std::vector<int> semaphore_values(const char* name, int number) {
  const int set = semget(ftok(name, number), 0, 0);
  semid_ds status{};
  if (set == -1 || semctl(set, 0, IPC_STAT, &status) != 0) return {};
  std::vector<int> values;
  for (unsigned long i = 0; i < status.sem_nsems; ++i)
    values.push_back(semctl(set, static_cast<int>(i), GETVAL));
  return values;
}

}  // namespace mar
