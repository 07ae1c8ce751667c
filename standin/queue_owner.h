// The command queue from its owner's side: made exactly as the contract lays it out, kept free of
// what dead clients leave, and removed at the end with everything that belongs to it. For
// one thread, except wake().
#pragma once

#include <atomic>
#include <cstdint>
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
#include "standin/life_signs.h"
#include "util/outcome.h"

namespace mar::standin {

// Whether the identity can be a client's: neither NULL_IPC_ID nor the engine's own. An answer to the engine
// would come back as a request.
inline bool is_client(_TIPCIdentifier identity) {
  return !CIPCUtils::sameIPCIdentifiers(identity, NULL_IPC_ID) &&
         !CIPCUtils::sameIPCIdentifiers(identity, ZARNENGINE_ID);
}

class QueueOwner {
 public:
  using Moment = LifeSigns::Moment;

  // name: the control file's path, without instance suffix.
  // slots: 2 .. kMaxQueueSlots. The engine takes one head itself, so a queue of one
  // slot would serve no client.
  QueueOwner(std::string name, uint16_t slots) : name_(std::move(name)), slots_(slots) {}
  ~QueueOwner() { remove(); }
  QueueOwner(const QueueOwner&) = delete;
  QueueOwner& operator=(const QueueOwner&) = delete;

  // Making, serving and removing: queue_owner.cc.

  // Takes the control file, replaces the segment and semaphore sets of a dead engine, and opens the
  // engine's head. The calling process counts as the creator: fork before this call, not after it. A
  // failure removes all that was made. Its code is ControlFile::kInUse if another engine lives,
  // whose queue is left alone.
  Outcome<> create();

  // Wakes and fails every reader, then removes all kernel objects, the control file and, if create() made it
  // and it is empty, its folder. If another engine has taken the keys over, only detaches. Leaves a control
  // file that has been replaced. create() may follow.
  void remove();

  // Waits at most wait_ms for something to be put on the engine's head. A signal ends the wait early. Returns
  // false if the queue's semaphores are gone.
  bool wait_for_request(int wait_ms);
  void wake() { semaphores_.implPut_ID(engine_semaphore_); }  // any thread, between create() and remove()

  // Takes the next request, if there is one. See CIPCQueue::KeyTryGet.
  long take_request(TCLIMessage& request, bool& taken) {
    return queue_->KeyTryGet(engine_key_, request, taken);
  }

  long put_answer(_TIPCIdentifier client, const TCLIMessage& record) { return queue_->Put(client, record); }

  // Whether a long answer may take another slot. A quarter of them is left to requests,
  // which do not wait for room.
  bool has_room_to_spare();

  long set_state(TQueueState state) { return queue_->SetState(state); }

  // The segment's lock, which every step of every client needs. The kernel releases it if we die.
  bool lock() { return block_->Lock() == 0; }
  void unlock() { (void)block_->Unlock(); }

  uint16_t slots() const { return slots_; }

  // Upkeep of clients' heads and of slots: queue_upkeep.cc.

  // Finds the engine's head, or claims another one if the head has been overwritten. create() opens it first.
  bool open_head();

  // Whether `client` lives, as far as can be told; see LifeSigns.
  bool lives(_TIPCIdentifier client, Moment now);

  // Frees the heads of dead owners. Returns how many.
  int reap(Moment now);

  // Puts slots that killed processes have lost back on the free list. See QueueCore::RecoverSlots.
  long recover_slots(int& recovered) { return queue_->RecoverSlots(recovered); }

  // Frees what `client` has not read, unless it is waiting.
  void discard(_TIPCIdentifier client);

  // Whether a living client has records queued that it has not read yet.
  bool has_unread_answers(Moment now);

  // Withdraws the head of `client` while its reader waits: the reader then fails.
  // Returns false if none waits.
  bool withdraw(_TIPCIdentifier client);

  // Brings a head that was withdrawn a while ago back into use if its reader has not done so. Returns true if
  // the head is in use again.
  bool restore(_TIPCIdentifier client);

  void fill();    // takes every free slot
  void unfill();  // gives them back

 private:
  Outcome<> take_over();
  Outcome<> make_queue();
  std::vector<_TIPCHeadItem> heads();
  bool has_reader(const _TIPCHeadItem& head);
  bool owner_lives(const _TIPCHeadItem& head, Moment now);

  std::string name_;
  uint16_t slots_;
  ControlFile control_file_;
  std::optional<IpcKeys> keys_;
  std::optional<CkesSharedMemory> block_;  // the creator's handle
  QueueSemaphores semaphores_;
  std::optional<CIPCQueue<TCLIMessage>> queue_;
  long engine_key_ = -1;
  std::atomic<uint16_t> engine_semaphore_ = 0;
  LifeSigns life_signs_;
};

}  // namespace mar::standin
