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
  // Creator's side: two slots, one for each direction.
  static FloorQueue create() {
    FloorQueue queue;
    queue.memory_ = shmget(IPC_PRIVATE, 2 * sizeof(TCLIMessage), IPC_CREAT | 0600);
    queue.lock_set_ = semget(IPC_PRIVATE, 2, IPC_CREAT | 0600);
    queue.wake_set_ = semget(IPC_PRIVATE, 4, IPC_CREAT | 0600);
    queue.attach();
    return queue;
  }

  void attach() { slots_ = static_cast<TCLIMessage*>(shmat(memory_, nullptr, 0)); }
  void detach() { shmdt(slots_); }

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

  // The calls that opening a queue by its control file demands, one stat for each of its two names.
  void open(const char* file, const key_t keys[3]) {
    struct stat status;
    stat(file, &status);
    const int set = semget(keys[0], 2, 0);
    shmget(keys[1], 1, 0);
    attach();
    shmid_ds info;
    shmctl(memory_, IPC_STAT, &info);
    semctl(set, 1, GETVAL);
    stat(file, &status);
    semget(keys[2], 2, 0);
    // The one field that an opener looks at.
    benchmark::DoNotOptimize(*reinterpret_cast<const volatile unsigned*>(slots_));
    semctl(set, 1, GETVAL);
  }
  void close() {
    lock();
    unlock();
    detach();
  }
  void lock() {
    sembuf take[] = {{0, 0, 0}, {0, 1, SEM_UNDO}};
    semop(lock_set_, take, 2);
  }
  void unlock() {
    sembuf release{0, -1, SEM_UNDO | IPC_NOWAIT};
    semop(lock_set_, &release, 1);
  }

 private:
  int memory_ = -1;
  int lock_set_ = -1;
  int wake_set_ = -1;
  TCLIMessage* slots_ = nullptr;
};
