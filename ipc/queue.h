// A message queue in a shared memory segment: N slots for messages and N heads, one for each user,
// each with a wake-up semaphore of its own. Any number of processes; within one process an object
// belongs to one thread at a time. Messages are copied in and out; a failure leaves the operation's name
// on the thread's error stack. Get and KeyGet are cancellation points while they wait, and a cancelled one
// has taken nothing. Opening a queue may be one, too; nothing else is.
#pragma once

#include <type_traits>

#include "ipc/queue_core.h"

#pragma GCC visibility push(default)

template <typename T>
class CIPCQueue : public mar::QueueCore {
  static_assert(std::is_trivially_copyable_v<T> && sizeof(CIPCQueueItem<T>) == sizeof(T) + sizeof(uint32_t));

 public:
  // Opens the queue of the control file `name` (without instance suffix); never creates one.
  //   remove  with this object the queue ends: every waiter is woken, all kernel objects are removed
  // A queue that cannot be opened, or is not in state IPCQUEUE_OPEN, answers every operation with
  // QUEUE_NOT_INIT. A queue whose creator has died still opens: ask CreatorAlive().
  CIPCQueue(const char* name, bool remove) : mar::QueueCore(name, remove, sizeof(T)) {}

  // Takes the next message for `identifier`, claiming a head at its first call, and blocks until
  // there is one.
  //   message  receives it
  // Fails with QUEUE_GET_FAILED if the creator dies during the wait. Never gives up while it is alive and the
  // queue is open. Returns 0, or
  //   QUEUE_NOT_INIT, SHMEM_LOCK_FAILED                    nothing taken
  //   QUEUE_OVERFLOW, QUEUE_CLOSED, QUEUE_INVALID_ID       no head; queue closing; head withdrawn
  //   QUEUE_GET_FAILED                                     the wait failed or the chain is broken
  //   QUEUE_COUNT_FAILED, QUEUE_OVFL_RESET_FAILED, SHMEM_UNLOCK_FAILED     message taken all the same
  [[nodiscard]] long Get(_TIPCIdentifier identifier, T& message) {
    return PassOn(PrivateGet(identifier, -1, message), "CIPCQueue::Get()");
  }

  // The same for the channel `key`.
  [[nodiscard]] long KeyGet(long key, T& message) {
    return PassOn(PrivateGet(NULL_IPC_ID, key, message), "CIPCQueue::KeyGet()");
  }

  // Takes the next message of channel `key` if there is one, and one post if there is one: a writer killed
  // between linking and posting leaves an item without a post. Waits for nothing but the lock. Works in every
  // state of the queue, so a closing one can be drained.
  //   taken  receives whether `message` was filled
  // Returns 0 or a code as KeyGet.
  [[nodiscard]] long KeyTryGet(long key, T& message, bool& taken) {
    return TryGetBytes(key, &message, taken);
  }

  // Appends a copy of `message` to channel `key` (0 .. N-1, from OpenChannel) and wakes its reader. Waits for
  // room only after SetWaitOnOverflow(true); may wait for the segment lock. Returns 0, or
  //   QUEUE_NOT_INIT, SHMEM_LOCK_FAILED                     nothing was looked at
  //   QUEUE_CLOSED, QUEUE_OVERFLOW, QUEUE_INVALID_KEY       nothing was queued
  //   QUEUE_PUT_FAILED                                      chain broken, or queued but the reader sleeps on
  //   SHMEM_UNLOCK_FAILED                                   queued
  [[nodiscard]] long KeyPut(long key, const T& message) {
    return PassOn(PrivatePut(NULL_IPC_ID, key, message, false), "CIPCQueue::KeyPut()");
  }

  // The same for the head of `identifier`, which is claimed if there is none yet.
  [[nodiscard]] long Put(_TIPCIdentifier identifier, const T& message) {
    return PassOn(PrivatePut(identifier, -1, message, false), "CIPCQueue::Put()");
  }

  // Frees what the head of `identifier` holds, if it has one on which no reader waits. Calls `visit` with
  // each message that is freed, still in the segment and with the lock held. Codes as EmptyHead.
  template <typename Visit>
  long EmptyHeadOf(_TIPCIdentifier identifier, Visit visit) {
    const auto call = [](void* context, const void* message) {
      (*static_cast<Visit*>(context))(*static_cast<const T*>(message));
    };
    return EmptyHeadOfBytes(identifier, {call, &visit});
  }
  long EmptyHeadOf(_TIPCIdentifier identifier) {
    return EmptyHeadOf(identifier, [](const T&) {});
  }

  // The operations that the functions above use. Key -1 means by identifier; `front` puts the message before
  // those that the head already holds.
  [[nodiscard]] long PrivateGet(_TIPCIdentifier identifier, long key, T& message) {
    return GetBytes(identifier, key, &message);
  }
  [[nodiscard]] long PrivatePut(_TIPCIdentifier identifier, long key, const T& message, bool front) {
    return PutBytes(identifier, key, &message, front);
  }
};

#pragma GCC visibility pop
