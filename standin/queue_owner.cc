#include "standin/queue_owner.h"

#include <sys/sem.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "contract/names.h"
#include "ipc/naming.h"

using mar::standin::ControlFile;

namespace {

// How long a client of another process namespace, seen waiting, counts as living.
constexpr std::chrono::seconds kLifeSignHolds{5};

bool same(_TIPCIdentifier a, _TIPCIdentifier b) { return CIPCUtils::sameIPCIdentifiers(a, b); }

bool is_client(_TIPCIdentifier owner) { return !same(owner, NULL_IPC_ID) && !same(owner, ZARNENGINE_ID); }

// Owns the slots of a queue that we have filled ourselves. No thread has this number.
_TIPCIdentifier filler() { return {static_cast<uint32_t>(getpid()), NULL_IPC_ID.thread_id}; }

mar::Failure failure(const std::string& step) { return {step + ": " + std::strerror(errno)}; }

// The system's limits are the usual reason, and the error alone does not tell which.
mar::Failure semaphores_failure(uint16_t slots) {
  if (errno != EINVAL && errno != ENOSPC) return failure("the queue's semaphores");
  return {"too many slots: the queue needs a set of " + std::to_string(slots + 2) +
          " semaphores, see /proc/sys/kernel/sem: " + std::strerror(errno)};
}

bool remove_semaphores(key_t key) {
  const int set = semget(key, 0, 0);
  return set == -1 || semctl(set, 0, IPC_RMID) == 0;
}

// Removes whatever the keys lead to.
mar::Outcome<> remove_objects(const IpcKeys& keys) {
  if (!remove_semaphores(keys.queue_semaphores)) return failure("a dead engine's queue semaphores");
  if (!remove_semaphores(keys.segment_semaphores)) return failure("a dead engine's segment semaphores");
  errno = getAndRemoveSharedMemory(keys.segment, 1);
  if (errno != 0) return failure("a dead engine's segment");
  return {};
}

}  // namespace

void lay_out_queue(void* base, uint64_t size_bytes) {
  const QueueLayout& layout = kCommandQueueLayout;
  const uint64_t slots = layout.capacity(size_bytes);
  auto* bytes = static_cast<uint8_t*>(base);
  auto* header = reinterpret_cast<QueueHeader*>(bytes);
  *header = {0, 0, static_cast<uint32_t>(layout.slot_offset(slots, 0)), IPCQUEUE_OPEN};
  for (uint64_t i = 0; i < slots; ++i) {
    auto* head = reinterpret_cast<_TIPCHeadItem*>(bytes + layout.head_offset(i));
    *head = {HEAD_IDLE, 0, static_cast<uint16_t>(kFirstHeadSem + i), NULL_IPC_ID, 0};
    auto* slot = reinterpret_cast<CIPCQueueItem<TCLIMessage>*>(bytes + layout.slot_offset(slots, i));
    slot->next = i + 1 < slots ? static_cast<uint32_t>(layout.slot_offset(slots, i + 1)) : 0;
  }
}

mar::Outcome<> QueueOwner::Create() {
  auto created = TakeOver();
  if (created) created = MakeQueue();
  if (!created) Remove();
  return created;
}

// Takes the control file and makes sure that its keys lead to nothing. A dead engine's segment, if no smaller
// than ours, would be used again, and everybody would compute another number of slots from its size.
mar::Outcome<> QueueOwner::TakeOver() {
  char built[kSegmentNameLimit + 1];
  CIPCUtils::createIPCName(name_.c_str(), nullptr, kSegmentNameLimit, built);
  if (auto taken = control_file_.take(built); !taken) return taken;
  // An engine of another make does not lock its file.
  if (CkesSharedMemory(name_.c_str(), false).CreatorAlive()) {
    control_file_.release();
    return mar::Failure{std::string("an engine runs here already: ") + built, ControlFile::kInUse};
  }
  IpcKeys keys;
  if (!impl_ipc_keys(built, keys)) return failure(built);
  keys_ = keys;  // from here on what they lead to is ours to remove
  return remove_objects(keys);
}

// Until the queue's semaphore set exists no client can open the queue, and until the lock is free none can
// use it.
mar::Outcome<> QueueOwner::MakeQueue() {
  const uint64_t size_bytes = kCommandQueueLayout.segment_size_bytes(slots_);
  block_.emplace(name_.c_str(), size_bytes, false);
  if (!block_->IsInitialized()) return failure("the segment of " + control_file_.path());
  char built[kQueueNameLimit + 1];
  CIPCUtils::createIPCName(name_.c_str(), nullptr, kQueueNameLimit, built);
  if (block_->Lock() != 0) return failure("the segment's lock");
  lay_out_queue(block_->GetAddress(), size_bytes);
  const bool made = semaphores_.implInitialize(built, slots_);
  const int error = errno;
  block_->Unlock();
  errno = error;
  if (!made) return semaphores_failure(slots_);
  queue_.emplace(name_.c_str(), false);
  if (!queue_->IsInitialized() || queue_->Capacity() != slots_)
    return mar::Failure{"the queue was changed while it was made"};
  if (!OpenHead()) return mar::Failure{"the engine's head cannot be opened"};
  return {};
}

bool QueueOwner::OpenHead() {
  if (queue_->OpenChannel(ZARNENGINE_ID, &engine_key_) != 0) return false;
  engine_semaphore_ = static_cast<uint16_t>(kFirstHeadSem + engine_key_);
  return true;
}

void QueueOwner::Remove() {
  // An engine that took over from us, which the contract allows, uses the same file, keys and even our
  // segment.
  const bool replaced =
      block_ && !block_->CreatorAlive() && CkesSharedMemory(name_.c_str(), false).CreatorAlive();
  if (!replaced) {
    if (queue_) queue_->SetState(IPCQUEUE_DESTROY);
    if (keys_) (void)remove_objects(*keys_);
    control_file_.remove();
  }
  control_file_.release();
  queue_.reset();
  block_.reset();
  keys_.reset();
  last_waits_.clear();
}

bool QueueOwner::WaitForRequest(int wait_ms) {
  return semaphores_.implGet_ID(engine_semaphore_, wait_ms) != QueueSemaphores::WaitEnd::kFailed;
}

bool QueueOwner::HasRoomToSpare() {
  uint16_t items = 0;
  return block_->Read(offsetof(QueueHeader, itemCount), sizeof(items), &items) == 0 &&
         items + slots_ / 4 < slots_;
}

std::vector<_TIPCHeadItem> QueueOwner::Heads() {
  std::vector<_TIPCHeadItem> heads(slots_);
  if (block_->Read(QueueLayout::kHeadsOffset, heads.size() * sizeof(heads[0]), heads.data()) != 0)
    heads.clear();
  return heads;
}

bool QueueOwner::Waits(const _TIPCHeadItem& head) {
  int waiters = 0;
  return head.semNumber >= kFirstHeadSem && head.semNumber <= slots_ + 1 &&
         semaphores_.implWaitCount(head.semNumber, waiters) == 0 && waiters > 0;
}

bool QueueOwner::WaitedLately(_TIPCIdentifier client, Clock::time_point now) const {
  const auto found = last_waits_.find({client.process_id, client.thread_id});
  return found != last_waits_.end() && now - found->second < kLifeSignHolds;
}

// A client that has just been woken does not wait, and still has its answer to read: hence the memory.
bool QueueOwner::OwnerLives(const _TIPCHeadItem& head, Clock::time_point now) {
  if (!process_is_gone(head.owner.process_id)) return true;
  if (Waits(head)) last_waits_[{head.owner.process_id, head.owner.thread_id}] = now;
  return WaitedLately(head.owner, now);
}

bool QueueOwner::Lives(_TIPCIdentifier client, Clock::time_point now) {
  if (!process_is_gone(client.process_id)) return true;
  for (const _TIPCHeadItem& head : Heads()) {
    if (same(head.owner, client)) return OwnerLives(head, now);
  }
  return WaitedLately(client, now);
}

int QueueOwner::Reap(Clock::time_point now) {
  int reaped = 0;
  const auto heads = Heads();
  for (size_t i = 0; i < heads.size(); ++i) {
    const _TIPCHeadItem& head = heads[i];
    const bool left_something = head.state != HEAD_IDLE || head.firstItem != 0;
    if (!left_something || !is_client(head.owner) || OwnerLives(head, now)) continue;
    int freed = 0;
    bool emptied = false;
    (void)queue_->EmptyHead(static_cast<uint16_t>(i), head.owner, freed, &emptied);
    if (emptied) ++reaped;
  }
  std::erase_if(last_waits_, [&](const auto& entry) { return now - entry.second >= kLifeSignHolds; });
  return reaped;
}

void QueueOwner::Discard(_TIPCIdentifier client) {
  if (!is_client(client)) return;  // a request may name us as its sender; what we hold are requests
  const auto heads = Heads();
  for (size_t i = 0; i < heads.size(); ++i) {
    int freed = 0;
    if (same(heads[i].owner, client)) (void)queue_->EmptyHead(static_cast<uint16_t>(i), client, freed);
  }
}

bool QueueOwner::AnswersUnread(Clock::time_point now) {
  for (const _TIPCHeadItem& head : Heads()) {
    if (head.firstItem != 0 && is_client(head.owner) && !same(head.owner, filler()) &&
        OwnerLives(head, now)) {
      return true;
    }
  }
  return false;
}

bool QueueOwner::Withdraw(_TIPCIdentifier client) {
  bool withdrawn = false;
  return queue_->WithdrawHead(client, withdrawn) == 0 && withdrawn;
}

bool QueueOwner::Restore(_TIPCIdentifier client) {
  bool settled = false;
  return queue_->RestoreHead(client, settled) != 0 || settled;
}

void QueueOwner::Fill() {
  const TCLIMessage nothing{};
  while (queue_->Put(filler(), nothing) == 0) continue;
}

void QueueOwner::Unfill() { Discard(filler()); }
