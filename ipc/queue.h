// A message queue in a shared memory segment: N slots for messages and N heads, one for each user,
// each with a wake-up semaphore of its own. Any number of processes; within one process an object
// belongs to one thread at a time. Messages are copied in and out whole, but for the operations "in place"; a
// failure leaves the operation's name on the thread's error stack. Get, GetInPlace and KeyGet are
// cancellation points while they wait, and a cancelled one has taken nothing. Opening a queue may be one,
// too; nothing else is.
#pragma once

#include <type_traits>

#include "ipc/queue_core.h"
#include "ipc/shared_field.h"

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

  // The same without the copy: calls `take` with the message where it lies in the segment. A failure may have
  // called it or not; LastMoved() tells. `take` runs with the lock held, so it must not block, and must not
  // throw. Other processes may change the message meanwhile: read each field once (ipc/shared_field.h), check
  // it, then use it.
  template <typename Take>
  [[nodiscard]] long GetInPlace(_TIPCIdentifier identifier, Take take) {
    return PassOn(GetFromSlot(identifier, -1, OnMessage<const T>(take)), "CIPCQueue::Get()");
  }

  // As Get, for the channel `key`.
  [[nodiscard]] long KeyGet(long key, T& message) {
    return PassOn(PrivateGet(NULL_IPC_ID, key, message), "CIPCQueue::KeyGet()");
  }

  // Takes the next message of channel `key` if there is one, and one post if there is one: a writer killed
  // between linking and posting leaves an item without a post. Waits for nothing but the lock. Works in every
  // state of the queue, so a closing one can be drained.
  //   taken  receives whether `message` was filled
  // Returns 0 or a code as KeyGet.
  [[nodiscard]] long KeyTryGet(long key, T& message, bool& taken) {
    auto copy = CopyTo(message);
    return TryGetFromSlot(key, OnMessage<const T>(copy), taken);
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

  // The same without the copy: calls `fill` with the slot that takes the message, before that is queued. It
  // runs under the rules of GetInPlace's `take`. What it leaves out of the slot is what an earlier message
  // left there, and any process can read what is queued.
  template <typename Fill>
  [[nodiscard]] long KeyPutInPlace(long key, Fill fill) {
    return PassOn(PutInSlot(NULL_IPC_ID, key, OnMessage<T>(fill), false), "CIPCQueue::KeyPut()");
  }

  // As KeyPut, for the head of `identifier`, which is claimed if there is none yet.
  [[nodiscard]] long Put(_TIPCIdentifier identifier, const T& message) {
    return PassOn(PrivatePut(identifier, -1, message, false), "CIPCQueue::Put()");
  }

  // Frees what the head of `identifier` holds, if it has one on which no reader waits. Calls `visit` with
  // each message that is freed, still in the segment and with the lock held. Codes as EmptyHead.
  template <typename Visit>
  long EmptyHeadOf(_TIPCIdentifier identifier, Visit visit) {
    return EmptySlotsOf(identifier, OnMessage<const T>(visit));
  }
  long EmptyHeadOf(_TIPCIdentifier identifier) {
    return EmptyHeadOf(identifier, [](const T&) {});
  }

  // The operations that the functions above use. Key -1 means by identifier; `front` puts the message before
  // those that the head already holds.
  [[nodiscard]] long PrivateGet(_TIPCIdentifier identifier, long key, T& message) {
    auto copy = CopyTo(message);
    return GetFromSlot(identifier, key, OnMessage<const T>(copy));
  }
  [[nodiscard]] long PrivatePut(_TIPCIdentifier identifier, long key, const T& message, bool front) {
    auto copy = [&message](T& slot) { mar::copy_shared(&slot, &message, sizeof(T)); };
    return PutInSlot(identifier, key, OnMessage<T>(copy), front);
  }

 private:
  static auto CopyTo(T& message) {
    return [&message](const T& slot) { mar::copy_shared(&message, &slot, sizeof(T)); };
  }

  // `work`, which takes a T& or a const T&, as the core calls it. It refers to `work`.
  template <typename Message, typename Work>
  static Visitor OnMessage(Work& work) {
    return {
        [](void* context, void* message) { (*static_cast<Work*>(context))(*static_cast<Message*>(message)); },
        &work};
  }
};

#pragma GCC visibility pop
