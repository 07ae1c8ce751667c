// Making, serving and removing the queue. Its upkeep meanwhile: queue_upkeep.cc.
#include "standin/queue_owner.h"

#include <sys/sem.h>

#include <cerrno>
#include <cstring>

#include "contract/names.h"
#include "ipc/lay_out_queue.h"
#include "ipc/naming.h"

namespace mar::standin {

namespace {

Failure failure(const std::string& step) { return {step + ": " + std::strerror(errno)}; }

// The system's limits are the usual cause, but the error alone does not name them.
Failure semaphores_failure(uint16_t slots) {
  if (errno != EINVAL && errno != ENOSPC) return failure("the queue's semaphores");
  return {"too many slots: the queue needs a set of " + std::to_string(slots + 2) +
          " semaphores, see /proc/sys/kernel/sem: " + std::strerror(errno)};
}

bool remove_semaphores(key_t key) {
  const int set = semget(key, 0, 0);
  return set == -1 || semctl(set, 0, IPC_RMID) == 0;
}

// Removes whatever the keys lead to.
Outcome<> remove_objects(const IpcKeys& keys) {
  if (!remove_semaphores(keys.queue_semaphores)) return failure("a dead engine's queue semaphores");
  if (!remove_semaphores(keys.segment_semaphores)) return failure("a dead engine's segment semaphores");
  errno = getAndRemoveSharedMemory(keys.segment, 1);
  if (errno != 0) return failure("a dead engine's segment");
  return {};
}

}  // namespace

Outcome<> QueueOwner::create() {
  auto created = take_over();
  if (created) created = make_queue();
  if (!created) remove();
  return created;
}

// Takes the control file and makes sure that its keys lead to nothing. A dead engine's segment
// that is not smaller than ours would be reused, and every process would compute a different
// number of slots from its size.
Outcome<> QueueOwner::take_over() {
  char built[kSegmentNameLimit + 1];
  CIPCUtils::createIPCName(name_.c_str(), nullptr, kSegmentNameLimit, built);
  if (auto taken = control_file_.take(built); !taken) return taken;
  // The real engine does not lock its file.
  if (CkesSharedMemory(name_.c_str(), false).CreatorAlive()) {
    control_file_.release();
    return Failure{std::string("an engine runs here already: ") + built, ControlFile::kInUse};
  }
  IpcKeys keys;
  if (!impl_ipc_keys(built, keys)) return failure(built);
  keys_ = keys;  // what they lead to is ours to remove from here on
  return remove_objects(keys);
}

// No client can open the queue before its semaphore set exists, and none can use it before the lock is free.
Outcome<> QueueOwner::make_queue() {
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
    return Failure{"another process changed the queue while it was made"};
  if (!open_head()) return Failure{"the engine's head cannot be opened"};
  return {};
}

void QueueOwner::remove() {
  // The contract allows another engine to take over while we live. It then uses the same file,
  // keys and even our segment.
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
  life_signs_ = {};
}

bool QueueOwner::has_room_to_spare() {
  uint16_t items = 0;
  return block_->Read(offsetof(QueueHeader, itemCount), sizeof(items), &items) == 0 &&
         items + slots_ / 4 < slots_;
}

bool QueueOwner::wait_for_request(int wait_ms) {
  return semaphores_.implGet_ID(engine_semaphore_, wait_ms) != QueueSemaphores::WaitEnd::kFailed;
}

}  // namespace mar::standin
