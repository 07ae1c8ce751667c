// The floor of every figure: the system calls that the contract demands and one copy for each put and get,
// with nothing checked and nothing else done.
#pragma once

#include <benchmark/benchmark.h>
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstring>
#include <ctime>

#include "contract/message.h"

class FloorQueue {
 public:
  FloorQueue(int lock_set, int wake_set, void* slots)
      : lock_set_(lock_set), wake_set_(wake_set), slots_(static_cast<TCLIMessage*>(slots)) {}

  // Creator's side: two slots, one for each direction.
  static FloorQueue create() {
    const int memory = shmget(IPC_PRIVATE, 2 * sizeof(TCLIMessage), IPC_CREAT | 0600);
    void* const slots = shmat(memory, nullptr, 0);
    shmctl(memory, IPC_RMID, nullptr);
    return {semget(IPC_PRIVATE, 2, IPC_CREAT | 0600), semget(IPC_PRIVATE, 4, IPC_CREAT | 0600), slots};
  }

  void lock() {
    sembuf take[] = {{0, 0, 0}, {0, 1, SEM_UNDO}};
    semop(lock_set_, take, 2);
  }
  void unlock() {
    sembuf release{0, -1, SEM_UNDO | IPC_NOWAIT};
    semop(lock_set_, &release, 1);
  }
  void put(int head, const TCLIMessage& message) {
    lock();
    std::memcpy(&slots_[head], &message, sizeof message);
    sembuf post{static_cast<unsigned short>(2 + head), 1, 0};
    semop(wake_set_, &post, 1);
    unlock();
  }
  void get(int head, TCLIMessage& message) {
    lock();
    unlock();
    const timespec slice{0, 250'000'000};
    sembuf take{static_cast<unsigned short>(2 + head), -1, 0};
    while (semtimedop(wake_set_, &take, 1, &slice) == -1) continue;
    lock();
    std::memcpy(&message, &slots_[head], sizeof message);
    semctl(wake_set_, 2 + head, GETNCNT);
    unlock();
  }

 private:
  int lock_set_;
  int wake_set_;
  TCLIMessage* slots_;
};

// The calls that opening and closing a queue by its control file demand: one stat for each of its two names.
inline void floor_attach(const char* file, key_t keys[3]) {
  struct stat status;
  stat(file, &status);
  const int set = semget(keys[0], 2, 0);
  const int memory = shmget(keys[1], 1, 0);
  const void* const address = shmat(memory, nullptr, 0);
  shmid_ds info;
  shmctl(memory, IPC_STAT, &info);
  semctl(set, 1, GETVAL);
  stat(file, &status);
  semget(keys[2], 2, 0);
  semctl(set, 1, GETVAL);
  // What any user of the segment must touch: its header.
  benchmark::DoNotOptimize(*static_cast<const volatile unsigned*>(address));
  sembuf take[] = {{0, 0, 0}, {0, 1, SEM_UNDO}}, release{0, -1, SEM_UNDO | IPC_NOWAIT};
  semop(set, take, 2);
  semop(set, &release, 1);
  shmdt(address);
}
