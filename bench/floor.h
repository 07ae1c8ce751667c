// The floor of every figure: the system calls that the contract demands and one copy for each put and get,
// with nothing checked and nothing else done.
#pragma once

#include <sys/ipc.h>
#include <sys/prctl.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <csignal>
#include <cstring>
#include <ctime>

#include "contract/message.h"
#include "contract/queue_layout.h"

namespace mar::floor {

// Keeps the compiler from leaving out what made `value`.
template <typename T>
void keep(const T& value) {
  asm volatile("" : : "r,m"(value) : "memory");
}

// Of a segment, by its own semaphore set.
inline void lock(int set) {
  sembuf take[] = {{0, 0, 0}, {0, 1, SEM_UNDO}};
  semop(set, take, 2);
}
inline void unlock(int set) {
  sembuf release{0, -1, SEM_UNDO | IPC_NOWAIT};
  semop(set, &release, 1);
}

// The real queue, attached.
struct OpenQueue {
  int lock_set, wake_set;
  uint8_t* base;
  uint64_t slots;
};

// The calls that open it by its control file, one stat for both of its names.
//   keys  of its segment's semaphores, of the segment and of its semaphores
inline OpenQueue open_queue(const char* file, const key_t (&keys)[3]) {
  OpenQueue queue;
  struct stat status;
  stat(file, &status);
  queue.lock_set = semget(keys[0], 2, 0);
  const int memory = shmget(keys[1], 1, 0);
  queue.base = static_cast<uint8_t*>(shmat(memory, nullptr, 0));
  shmid_ds info;
  shmctl(memory, IPC_STAT, &info);
  queue.slots = kCommandQueueLayout.capacity(info.shm_segsz);
  semctl(queue.lock_set, kCreatorAliveSem, GETVAL);
  queue.wake_set = semget(keys[2], 2, 0);
  keep(reinterpret_cast<const QueueHeader*>(queue.base)->queueState);
  semctl(queue.lock_set, kCreatorAliveSem, GETVAL);
  return queue;
}

class Queue {
 public:
  // Creator's side: two slots, one for each direction.
  static Queue create() {
    Queue queue({shmget(IPC_PRIVATE, 2 * sizeof(TCLIMessage), IPC_CREAT | 0600),
                 semget(IPC_PRIVATE, 2, IPC_CREAT | 0600), semget(IPC_PRIVATE, 4, IPC_CREAT | 0600)});
    queue.attach();
    return queue;
  }

  void attach() { slots_ = static_cast<TCLIMessage*>(shmat(objects_.memory, nullptr, 0)); }
  void detach() { shmdt(slots_); }

  void put(int head, const TCLIMessage& message) {
    lock();
    std::memcpy(&slots_[head], &message, sizeof message);
    sembuf post{static_cast<unsigned short>(2 + head), 1, 0};
    semop(objects_.wake_set, &post, 1);
    unlock();
  }
  void get(int head, TCLIMessage& message) {
    lock();
    unlock();
    const timespec slice{0, 250'000'000};
    sembuf take{static_cast<unsigned short>(2 + head), -1, 0};
    while (semtimedop(objects_.wake_set, &take, 1, &slice) == -1) continue;
    lock();
    std::memcpy(&message, &slots_[head], sizeof message);
    semctl(objects_.wake_set, 2 + head, GETNCNT);
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
    shmctl(objects_.memory, IPC_STAT, &info);
    semctl(set, 1, GETVAL);
    stat(file, &status);
    semget(keys[2], 2, 0);
    // The one field that an opener looks at.
    keep(*reinterpret_cast<const volatile unsigned*>(slots_));
    semctl(set, 1, GETVAL);
  }
  void close() {
    lock();
    unlock();
    detach();
  }
  void lock() { floor::lock(objects_.lock_set); }
  void unlock() { floor::unlock(objects_.lock_set); }

 private:
  struct Objects {  // the kernel's numbers
    int memory, lock_set, wake_set;
  };

  explicit Queue(Objects objects) : objects_(objects) {}

  Objects objects_;
  TCLIMessage* slots_ = nullptr;
};

// A server in a process of its own, until the caller ends.
template <typename Serve>
void start_server(Serve serve) {
  if (fork() != 0) return;
  prctl(PR_SET_PDEATHSIG, SIGTERM);
  serve();
  _exit(1);
}

inline void serve(Queue queue) {
  TCLIMessage message;
  for (;;) {
    queue.get(0, message);
    queue.put(1, message);
  }
}

inline void round_trip(Queue& queue) {
  static TCLIMessage message{};
  queue.put(0, message);
  queue.get(1, message);
}

// Is the engine there? Open, put, get, close. The queue whose control file and keys are looked up is another
// one: the real one.
inline void exchange(Queue queue, const char* file, const key_t keys[3]) {
  keep(getpid());
  queue.open(file, keys);
  queue.close();
  queue.open(file, keys);
  queue.lock();  // finding the engine's head
  queue.unlock();
  keep(getpid());
  round_trip(queue);
  queue.close();
}

}  // namespace mar::floor
