// A command queue laid out by literal numbers, not by the code under test.
#pragma once

#include <sys/sem.h>
#include <unistd.h>

#include <cstring>
#include <vector>

#include "contract/names.h"
#include "ipc/naming.h"
#include "ipc/queue.h"
#include "ipc/shared_memory.h"
#include "tests/support/raw_segment.h"

namespace mar {

using CommandQueue = CIPCQueue<TCLIMessage>;

class MadeQueue : public RawSegment {
 public:
  // `file` is the control file with the instance suffix, where there is one; `slack`
  // bytes follow the last slot.
  explicit MadeQueue(uint16_t slots, const char* file = CLI_IPC_NAME, uint32_t slack = 0)
      : file_((remove_leftovers(file), file)),
        memory_(CLI_IPC_NAME, 12u + 10280u * slots + slack, true),
        made_(memory_.IsInitialized()) {
    attach(memory_.GetAddress(), slots);
    u32(4) = slot(0);
    for (uint32_t i = 0; i < slots; ++i) {
      u16(12 + 16 * i + 2) = static_cast<uint16_t>(i + 2);
      u32(12 + 16 * i + 4) = u32(12 + 16 * i + 8) = 0xFFFFFFFF;
      u32(slot(i) + 10260) = i + 1 < slots ? slot(i + 1) : 0;
    }
    made_ = made_ && semaphores_.implInitialize(file, slots);
  }
  ~MadeQueue() {
    semaphores_.implDestroy();
    unlink(file_);
  }

  bool made() const { return made_; }
  mar::QueueSemaphores& semaphores() { return semaphores_; }
  CkesSharedMemory& memory() { return memory_; }

  std::vector<uint8_t> bytes() { return {at(0), at(0) + memory_.GetSize()}; }

  int waiters(uint16_t semaphore) {
    int count = 0;
    return semaphores_.implWaitCount(semaphore, count) == 0 ? count : -1;
  }

 private:
  // What a killed creator of an earlier test has left, perhaps of another size.
  static void remove_leftovers(const char* file) {
    mar::IpcKeys keys;
    if (!mar::impl_ipc_keys(file, keys)) return;
    getAndRemoveSharedMemory(keys.segment, 1);
    const int set = semget(keys.queue_semaphores, 0, 0);
    if (set != -1) semctl(set, 0, IPC_RMID);
  }

  const char* file_;
  CkesSharedMemory memory_;
  bool made_;
  mar::QueueSemaphores semaphores_;
};

inline TCLIMessage numbered(uint32_t number) {
  TCLIMessage message{};
  message.command = number;
  message.length = 4;
  std::memset(message.data, static_cast<int>(number), sizeof message.data);
  return message;
}

}  // namespace mar
