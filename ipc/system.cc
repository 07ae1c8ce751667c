#include "ipc/system.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>

namespace mar::sys {

int segment_get(key_t key, uint64_t size_bytes, int flags) { return shmget(key, size_bytes, flags); }

void* segment_attach(int segment) {
  void* const address = shmat(segment, nullptr, 0);
  return reinterpret_cast<intptr_t>(address) == -1 ? nullptr : address;
}

int segment_detach(const void* address) { return shmdt(address); }

int segment_stat(int segment, shmid_ds& status) { return shmctl(segment, IPC_STAT, &status); }

int segment_populate(void* address, size_t size_bytes) {
  return madvise(address, size_bytes, MADV_POPULATE_READ);
}

int segment_remove(int segment) { return shmctl(segment, IPC_RMID, nullptr); }

int semaphores_get(key_t key, int count, int flags) { return semget(key, count, flags); }

int semaphores_stat(int set, semid_ds& status) { return semctl(set, 0, IPC_STAT, &status); }

int semaphores_set_all(int set, unsigned short* values) { return semctl(set, 0, SETALL, values); }

int semaphores_remove(int set) { return semctl(set, 0, IPC_RMID); }

int semaphore_value(int set, int number) { return semctl(set, number, GETVAL); }

int semaphore_waiters(int set, int number) { return semctl(set, number, GETNCNT); }

// Not semop(): some C libraries make it from this call, others do not, and every build is to make the same
// calls.
int semaphores_operate(int set, sembuf* operations, size_t count) {
  return semtimedop(set, operations, count, nullptr);
}

int semaphores_operate_for(int set, sembuf* operations, size_t count, const timespec* limit) {
  return semtimedop(set, operations, count, limit);
}

int file_stat(const char* path, struct stat& status) { return stat(path, &status); }

// An existing file is left as it is; opening it must not wait for the other end of a pipe.
bool file_exists_or_is_created(const char* path) {
  const int fd = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK);
  if (fd >= 0) {
    close(fd);
    return true;
  }
  std::FILE* const created = std::fopen(path, "we");
  if (created == nullptr) return false;
  std::fclose(created);
  return true;
}

pid_t process_id() { return getpid(); }

int process_signal(pid_t process, int signal) { return kill(process, signal); }

}  // namespace mar::sys
