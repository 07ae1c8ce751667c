// The command queue from its owner's side: made exactly as the contract lays it out, kept free of what dead
// clients leave behind, and taken away again with everything that belongs to it. One thread, but for Wake().
#pragma once

#include <atomic>
#include <chrono>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "contract/message.h"
#include "ipc/naming.h"
#include "ipc/queue.h"
#include "ipc/queue_semaphores.h"
#include "ipc/shared_memory.h"
#include "standin/control_file.h"
#include "util/outcome.h"

// Lays out `size_bytes` of zeros at `base` as an empty command queue: no head claimed, head i with semaphore
// i + 2, all slots on the free list in order.
void lay_out_queue(void* base, uint64_t size_bytes);

class QueueOwner {
 public:
  using Clock = std::chrono::steady_clock;

  // name: the control file's path, without instance suffix. slots: 2 .. kMaxQueueSlots; the engine itself
  // takes one head, so that one slot would serve no client.
  QueueOwner(std::string name, uint16_t slots) : name_(std::move(name)), slots_(slots) {}
  ~QueueOwner() { Remove(); }
  QueueOwner(const QueueOwner&) = delete;
  QueueOwner& operator=(const QueueOwner&) = delete;

  // Makes control file, segment and semaphore sets in place of those of a dead engine, and opens the engine's
  // head. The calling process counts as the creator: fork before, not after. A failure leaves nothing of ours
  // behind; its code is ControlFile::kInUse when another engine lives, whose queue is left alone.
  mar::Outcome<> Create();

  // Wakes and fails every reader, removes all kernel objects, the control file and, if Create made it and it
  // is empty, its directory. Only detaches when another engine has taken the keys over; a control file that
  // has been replaced stays. Create may follow.
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

  // Whether `client` lives. Process numbers speak of our own process namespace, where a client of another one
  // looks dead: such a client lives while it waits on its head, and for 5 seconds after it was last seen so.
  bool Lives(_TIPCIdentifier client, Clock::time_point now);

  // Frees what dead owners have left in their heads. Returns how many heads that were.
  int Reap(Clock::time_point now);

  // Puts slots that killed processes have lost back into use. See QueueCore::RecoverSlots.
  long Recover(int& recovered) { return queue_->RecoverSlots(recovered); }

  // Frees what `client` has not read, unless it waits; for an answer that is given up.
  void Discard(_TIPCIdentifier client);

  // Whether a living client has queued records that it has not read yet.
  bool AnswersUnread(Clock::time_point now);

  // Tells a waiting reader of `client` that its head is withdrawn. False if nobody waits there.
  bool Withdraw(_TIPCIdentifier client);

  // Brings a head that was withdrawn a while ago back into use, if its reader has not done so. True when the
  // head is in use again.
  bool Restore(_TIPCIdentifier client);

  void Fill();    // takes every free slot
  void Unfill();  // and gives them back

  uint16_t slots() const { return slots_; }

 private:
  using ClientKey = std::pair<uint32_t, uint32_t>;  // process and thread

  mar::Outcome<> TakeOver();
  mar::Outcome<> MakeQueue();
  std::vector<_TIPCHeadItem> Heads();
  bool Waits(const _TIPCHeadItem& head);
  bool OwnerLives(const _TIPCHeadItem& head, Clock::time_point now);
  bool WaitedLately(_TIPCIdentifier client, Clock::time_point now) const;

  std::string name_;
  uint16_t slots_;
  mar::standin::ControlFile control_file_;
  std::optional<IpcKeys> keys_;
  std::optional<CkesSharedMemory> block_;  // the creator's handle
  QueueSemaphores semaphores_;
  std::optional<CIPCQueue<TCLIMessage>> queue_;
  long engine_key_ = -1;
  std::atomic<uint16_t> engine_semaphore_ = 0;
  std::map<ClientKey, Clock::time_point> last_waits_;  // of clients whose process numbers look dead
};
