// The command queue from its owner's side: made exactly as the contract lays it out, kept free of what dead
// clients leave behind, and taken away again with everything that belongs to it. One thread, but for Wake().
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "contract/message.h"
#include "ipc/naming.h"
#include "ipc/queue.h"
#include "ipc/queue_semaphores.h"
#include "ipc/shared_memory.h"

// Lays out `size_bytes` of zeros at `base` as an empty command queue: no head claimed, head i with semaphore
// i + 2, all slots on the free list in order.
void lay_out_queue(void* base, uint64_t size_bytes);

class QueueOwner {
 public:
  // name: the control file's path, without instance suffix. slots: 1 .. kMaxQueueSlots.
  QueueOwner(std::string name, uint16_t slots) : name_(std::move(name)), slots_(slots) {}
  ~QueueOwner() { Remove(); }
  QueueOwner(const QueueOwner&) = delete;
  QueueOwner& operator=(const QueueOwner&) = delete;

  // Makes control file, segment and semaphore sets in place of those of a dead engine, and opens the engine's
  // head. The calling process counts as the creator: fork before, not after. Returns what went wrong, with
  // nothing of ours left behind, or an empty text. A living engine's queue is left alone.
  std::string Create();

  // Wakes and fails every reader, removes all kernel objects, the control file and, if Create made it and it
  // is empty, its directory. Only detaches when another engine has taken the name over. Create may follow.
  void Remove();

  // Waits until something is put to the engine's head, at most wait_ms; a signal ends it early. False when
  // the queue's semaphores are gone.
  bool WaitForRequest(int wait_ms);
  void Wake() { semaphores_.implPut_ID(engine_semaphore_); }  // any thread, between Create and Remove

  // Finds the engine's head, or claims another one if somebody has overwritten it. Create has opened it.
  bool OpenHead();

  // Takes the next request, if there is one; see CIPCQueue::KeyTryGet.
  long TakeRequest(TCLIMessage& request, bool& taken) {
    return queue_->KeyTryGet(engine_key_, request, taken);
  }

  long PutAnswer(_TIPCIdentifier client, const TCLIMessage& record) { return queue_->Put(client, record); }

  // Whether a long answer may take another slot: a quarter is left to requests, which do not wait for room.
  bool HasRoomToSpare();

  long SetState(TQueueState state) { return queue_->SetState(state); }

  // Frees what dead owners have left in their heads. Returns how many heads that were.
  int Reap();

  // Frees what `client` has not read, unless it waits; for an answer that is given up.
  void Discard(_TIPCIdentifier client);

  // Whether a living client has queued records that it has not read yet.
  bool AnswersUnread();

  // Tells a waiting reader of `client` that its head is withdrawn. False if nobody waits there.
  bool Withdraw(_TIPCIdentifier client);

  void Fill();    // takes every free slot
  void Unfill();  // and gives them back

  uint16_t slots() const { return slots_; }

 private:
  std::string TakeControlFile();
  std::string MakeQueue();
  std::vector<_TIPCHeadItem> Heads();

  std::string name_;
  uint16_t slots_;
  std::string control_file_;  // ours to remove; as built for this instance
  std::string made_directory_;
  std::optional<IpcKeys> keys_;
  std::optional<CkesSharedMemory> block_;  // the creator's handle
  QueueSemaphores semaphores_;
  std::optional<CIPCQueue<TCLIMessage>> queue_;
  long engine_key_ = -1;
  std::atomic<uint16_t> engine_semaphore_ = 0;
};
