// The part of the message queue that does not depend on what a message is: finding heads, linking and
// unlinking slots, waiting and waking. Programs use its typed front, CIPCQueue (ipc/queue.h).
//
// Every other process can write the segment, so each number in it is read once, checked, and only then used.
// A number that cannot be right fails the operation, and nothing is stored.
#pragma once

#include <bitset>
#include <cstddef>
#include <cstdint>
#include <optional>

#include "contract/causes.h"
#include "contract/queue_layout.h"
#include "contract/status.h"
#include "ipc/queue_semaphores.h"
#include "ipc/shared_memory.h"

#pragma GCC visibility push(default)

namespace mar {

class QueueCore {
 public:
  bool IsInitialized() const { return VInitialized; }

  // Whether the process that created the segment lives; false when not initialised.
  bool CreatorAlive();

  // Why no client can use the queue: it did not open, or its creator does not live. MAR_CAUSE_NONE if neither
  // is so. OpenError() is the errno of an open that failed.
  mar_cause AbsenceCause();
  int OpenError() const { return VOpenError; }

  // Number of heads, and of item slots, N; 0 when not initialised.
  uint16_t Capacity() const { return VCapacity; }

  // Number of messages queued, at most Capacity(). A look without the lock, as HoldsMessageFor().
  uint16_t ItemCount() const;

  // Claims or finds the head of `identifier` and makes it addressable by key.
  //   key  receives the head's index, 0 .. N-1
  // Returns 0, QUEUE_NOT_INIT, SHMEM_LOCK_FAILED, SHMEM_UNLOCK_FAILED, or QUEUE_OVERFLOW when no head is
  // free.
  [[nodiscard]] long OpenChannel(_TIPCIdentifier identifier, long* key);

  // Whether `identifier` has a head and something is queued there. A look without the lock: what another
  // process queues or takes meanwhile may be seen or not. False when not initialised.
  bool HoldsMessageFor(_TIPCIdentifier identifier) const;

  // Whether the last put or get moved its message; it may have failed all the same.
  bool LastMoved() const { return VLastMoved; }

  // A number that differs between this queue and any that another creator makes in its place.
  int CreationId() const { return VInitialized ? VSharedMemory->GetLockId() : -1; }

  // Writes the queue's state; for IPCQUEUE_CLOSE and IPCQUEUE_DESTROY also wakes every waiter. Returns 0,
  // QUEUE_NOT_INIT, a lock's failure, or QUEUE_COUNT_FAILED, QUEUE_OVFL_RESET_FAILED, QUEUE_RESET_FAILED.
  long SetState(TQueueState state);

  // Whether a put into a full queue waits for room instead of failing. Off at first; clients leave it so.
  void SetWaitOnOverflow(bool wait) { VWaitOverflow = wait; }

  // Frees what head `index` holds, items and left-over posts, and makes it idle, if `owner` still owns it
  // and no reader waits on it. The caller must know that the owner is dead. It stays the owner until the
  // head is claimed anew.
  //   freed    receives the number of items
  //   emptied  if not null, receives whether that was done; not if a reader waits or another user owns the
  //   head
  // Returns 0, QUEUE_NOT_INIT, lock codes, QUEUE_INVALID_KEY (no such head), QUEUE_COUNT_FAILED,
  // QUEUE_GET_FAILED (the chain is broken; nothing has changed), QUEUE_OVFL_RESET_FAILED (freed).
  long EmptyHead(uint16_t index, _TIPCIdentifier owner, int& freed, bool* emptied = nullptr);

  // Withdraws the head of `owner` under its waiting reader, which then fails with QUEUE_INVALID_ID.
  //   withdrawn  receives whether a reader was waiting; without one nothing changes
  // Returns 0, QUEUE_NOT_INIT, lock codes, QUEUE_COUNT_FAILED, QUEUE_GET_FAILED (damaged semaphore number),
  // QUEUE_PUT_FAILED (withdrawn, but the reader sleeps on).
  long WithdrawHead(_TIPCIdentifier owner, bool& withdrawn);

  // Brings the withdrawn head of `owner` back into use if its reader left without noticing, because its time
  // was up. Call it only after the reader has had time to wake.
  //   settled  receives whether the head is no longer withdrawn
  // Codes as WithdrawHead.
  long RestoreHead(_TIPCIdentifier owner, bool& settled);

  // Puts slots that a killed process has left on no chain back on the free list, and corrects itemCount.
  //   recovered  receives the number of slots put back
  // Returns 0, QUEUE_NOT_INIT, lock codes, QUEUE_GET_FAILED (a chain is broken or two share a slot; nothing
  // has changed), QUEUE_OVFL_RESET_FAILED (done).
  long RecoverSlots(int& recovered);

  // Gives up the segment without waiting for its lock. For who has only looked, and for a forked child, which
  // has the parent's queue open but none of its threads.
  void Detach();

  QueueCore(const QueueCore&) = delete;
  QueueCore& operator=(const QueueCore&) = delete;

 protected:
  // Fills a message, or looks at one, where it lies in the segment: other processes may change it meanwhile.
  // Called with the lock held, so it must not block, and must not throw.
  struct Visitor {
    void (*visit)(void* context, void* message);
    void* context;
  };

  // message_size_bytes: size of T; a slot is that and its 4-byte link. See CIPCQueue for the rest.
  QueueCore(const char* name, bool remove, uint32_t message_size_bytes);
  ~QueueCore();

  // key -1 addresses the head of `identifier`, claiming one if need be; any other key a channel.
  [[nodiscard]] long PutInSlot(_TIPCIdentifier identifier, long key, const Visitor& fill, bool front);
  [[nodiscard]] long GetFromSlot(_TIPCIdentifier identifier, long key, const Visitor& take);
  [[nodiscard]] long TryGetFromSlot(long key, const Visitor& take, bool& taken);
  long EmptySlotsOf(_TIPCIdentifier identifier, const Visitor& visitor);

  // Adds `location` to the trail of a failure that is recorded already; returns `code`.
  static long PassOn(long code, const char* location);

 private:
  // A code, and where it began if that was below the operation that reports it.
  struct Outcome {
    long code = 0;
    const char* origin = nullptr;
  };

  // A slot that some link field points at.
  struct Link {
    uint32_t offset = 0;
    uint8_t* slot = nullptr;
    uint32_t next = 0;
  };

  using SlotSet = std::bitset<kMaxQueueSlots>;

  bool MapSegment();
  mar_cause OpenCause(long segment_result) const;
  void Close();
  static long Report(Outcome outcome,
                     const char* location);  // records a failure that began here or in a helper
  [[nodiscard]] long LockFor(const char* location);
  [[nodiscard]] long UnlockAndReport(Outcome outcome, const char* location);

  // Takes the lock and, if `identifier` has a head, calls `work` on it.
  template <typename Work>
  [[nodiscard]] long OnHeadOf(_TIPCIdentifier identifier, const char* location, Work work);

  // These are entered with the lock held and release it while they wait. CheckOverflow returns with it held
  // unless it could not be released or taken; the other two return with it held unless they fail.
  Outcome CheckOverflow(bool wait);
  Outcome WaitForItem(_TIPCHeadItem& head, bool by_identifier);
  Outcome WaitUnlocked(_TIPCHeadItem& head, uint16_t sem_number);
  long WaitForPost(uint16_t sem_number);  // never with the lock held

  // Work on the segment, with the lock held throughout.
  long FindHead(_TIPCIdentifier identifier, bool create, _TIPCHeadItem*& head);
  template <typename Wanted>
  _TIPCHeadItem* FirstHead(Wanted wanted) const;
  _TIPCHeadItem* FindOwned(_TIPCIdentifier owner) const;
  _TIPCHeadItem* FindOwnedOrFree(_TIPCIdentifier owner, _TIPCHeadItem*& free) const;
  _TIPCHeadItem* FindRecyclable();
  long SelectHead(_TIPCIdentifier identifier, long key, _TIPCHeadItem*& head);
  long implHeadReset(_TIPCHeadItem& head);
  uint32_t* FindEnd(_TIPCHeadItem& head, int* items = nullptr) const;
  bool ReadLink(const uint32_t& link, Link& found) const;
  long LinkMessage(_TIPCHeadItem& head, const Visitor& fill, bool front);
  long UnlinkMessage(_TIPCHeadItem& head, const Visitor& take, bool& was_full);
  long TakeFirst(_TIPCHeadItem& head, bool by_identifier, const Visitor& take);
  long ReleaseIfUnwatched(_TIPCHeadItem& head, uint16_t sem_number);
  long implAwakenAll();
  long EmptyLocked(_TIPCHeadItem& head, int& freed, bool& emptied, const Visitor* visitor = nullptr);
  long WithdrawLocked(_TIPCHeadItem& head, bool& withdrawn);
  long RestoreLocked(_TIPCHeadItem& head, bool& settled);
  void VisitChain(const _TIPCHeadItem& head, int items, const Visitor& visitor) const;
  long FreeChain(_TIPCHeadItem& head, int& freed, const Visitor* visitor = nullptr);
  bool MarkChain(const uint32_t& first, SlotSet& marked, int& items) const;
  long RecoverLocked(SlotSet& chained, int& recovered);

  uint32_t State() const;
  static bool IsOwnedBy(const _TIPCHeadItem& head, _TIPCIdentifier owner);
  uint64_t MessageSize() const { return VLayout.item_size_bytes - sizeof(uint32_t); }
  uint8_t* SlotAt(uint32_t offset) const;
  uint32_t* NextOf(uint8_t* slot) const;
  bool SemNumberOf(const _TIPCHeadItem& head, uint16_t& sem_number) const;

  bool VInitialized = false;
  mar_cause VOpenCause = MAR_CAUSE_NONE;
  int VOpenError = 0;
  uint16_t VCapacity = 0;
  bool VRemove;
  std::optional<CkesSharedMemory> VSharedMemory;
  QueueHeader* VHeader = nullptr;
  _TIPCHeadItem* VHeads = nullptr;
  bool VWaitOverflow = false;
  uint8_t* VBase = nullptr;
  QueueSemaphores VSemaphores;
  QueueLayout VLayout;
  bool VCreatorSeenAlive = false;  // at the last look
  bool VLastMoved = false;
  mutable bool VHeadsPopulated = false;  // their pages are mapped
};

}  // namespace mar

#pragma GCC visibility pop
