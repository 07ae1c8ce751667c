#include "standin/queue_owner.h"

#include <fcntl.h>
#include <sys/sem.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>

#include "contract/names.h"
#include "ipc/naming.h"

namespace {

bool same(_TIPCIdentifier a, _TIPCIdentifier b) { return CIPCUtils::sameIPCIdentifiers(a, b); }

bool is_client(_TIPCIdentifier owner) { return !same(owner, NULL_IPC_ID) && !same(owner, ZARNENGINE_ID); }

// Owns the slots of a queue that we have filled ourselves. No thread has this number.
_TIPCIdentifier filler() { return {static_cast<uint32_t>(getpid()), NULL_IPC_ID.thread_id}; }

std::string failure(const std::string& step) { return step + ": " + std::strerror(errno); }

bool remove_semaphores(key_t key) {
  const int set = semget(key, 0, 0);
  return set == -1 || semctl(set, 0, IPC_RMID) == 0;
}

// Removes whatever the keys lead to. Returns what could not be removed and why, or an empty text.
std::string remove_objects(const IpcKeys& keys) {
  if (!remove_semaphores(keys.queue_semaphores)) return failure("queue semaphores");
  if (!remove_semaphores(keys.segment_semaphores)) return failure("segment semaphores");
  errno = getAndRemoveSharedMemory(keys.segment, 1);
  return errno == 0 ? "" : failure("segment");
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

std::string QueueOwner::Create() {
  std::string wrong = TakeControlFile();
  if (wrong.empty()) wrong = MakeQueue();
  if (!wrong.empty()) Remove();
  return wrong;
}

// Makes sure of the file and that its keys lead to nothing. A dead engine's segment, if no smaller than ours,
// would be used again, and everybody would compute another number of slots from its size.
std::string QueueOwner::TakeControlFile() {
  char built[kSegmentNameLimit + 1];
  CIPCUtils::createIPCName(name_.c_str(), nullptr, kSegmentNameLimit, built);
  const std::string path = built;
  IpcKeys keys;
  if (!impl_ipc_keys(built, keys)) {
    const std::string directory = path.substr(0, path.rfind('/'));
    if (mkdir(directory.c_str(), 0777) == 0) made_directory_ = directory;
    const int fd = open(built, O_RDONLY | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0 || !impl_ipc_keys(built, keys)) return failure("control file " + path);
    close(fd);
    control_file_ = path;
  }
  if (CkesSharedMemory(name_.c_str(), false).CreatorAlive()) return "an engine already serves " + path;
  control_file_ = path;
  keys_ = keys;  // from here on what they lead to is ours to remove
  const std::string wrong = remove_objects(keys);
  return wrong.empty() ? "" : "a dead engine's " + wrong;
}

// Until the queue's semaphore set exists no client can open the queue, and until the lock is free none can
// use it.
std::string QueueOwner::MakeQueue() {
  const uint64_t size_bytes = kCommandQueueLayout.segment_size_bytes(slots_);
  block_.emplace(name_.c_str(), size_bytes, false);
  if (!block_->IsInitialized()) return failure("the segment of " + control_file_);
  char built[kQueueNameLimit + 1];
  CIPCUtils::createIPCName(name_.c_str(), nullptr, kQueueNameLimit, built);
  if (block_->Lock() != 0) return failure("the segment's lock");
  lay_out_queue(block_->GetAddress(), size_bytes);
  const bool made = semaphores_.implInitialize(built, slots_);
  const int error = errno;
  block_->Unlock();
  errno = error;
  if (!made) return failure("the queue's semaphores");
  queue_.emplace(name_.c_str(), false);
  if (!queue_->IsInitialized() || queue_->Capacity() != slots_)
    return "the queue was changed while it was made";
  return OpenHead() ? "" : "the engine's head cannot be opened";
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
    if (keys_) remove_objects(*keys_);
    if (!control_file_.empty()) unlink(control_file_.c_str());
    if (!made_directory_.empty()) rmdir(made_directory_.c_str());
  }
  queue_.reset();
  block_.reset();
  keys_.reset();
  control_file_.clear();
  made_directory_.clear();
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

int QueueOwner::Reap() {
  int reaped = 0;
  const auto heads = Heads();
  for (size_t i = 0; i < heads.size(); ++i) {
    const _TIPCHeadItem& head = heads[i];
    const bool left_something = head.state != HEAD_IDLE || head.firstItem != 0;
    if (!left_something || !is_client(head.owner) || !process_is_gone(head.owner.process_id)) continue;
    int freed = 0;
    if (queue_->EmptyHead(static_cast<uint16_t>(i), head.owner, freed) == 0) ++reaped;
  }
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

bool QueueOwner::AnswersUnread() {
  for (const _TIPCHeadItem& head : Heads()) {
    if (head.firstItem != 0 && is_client(head.owner) && !same(head.owner, filler()) &&
        !process_is_gone(head.owner.process_id)) {
      return true;
    }
  }
  return false;
}

bool QueueOwner::Withdraw(_TIPCIdentifier client) {
  const auto heads = Heads();
  for (size_t i = 0; i < heads.size(); ++i) {
    const uint16_t semaphore = heads[i].semNumber;
    int waiting = 0;
    if (!same(heads[i].owner, client) || semaphore < kFirstHeadSem || semaphore > slots_ + 1) continue;
    if (semaphores_.implWaitCount(semaphore, waiting) != 0 || waiting == 0) continue;
    const uint8_t withdrawn = HEAD_WITHDRAWN;
    if (block_->Write(kCommandQueueLayout.head_offset(i), sizeof(withdrawn), &withdrawn) != 0) return false;
    return semaphores_.implPut_ID(semaphore) == 0;
  }
  return false;
}

void QueueOwner::Fill() {
  const TCLIMessage nothing{};
  while (queue_->Put(filler(), nothing) == 0) continue;
}

void QueueOwner::Unfill() { Discard(filler()); }
