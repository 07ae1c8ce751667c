#include "tools/mar_queue/snapshot.h"

#include <sys/sem.h>
#include <sys/shm.h>

#include <chrono>
#include <cstring>
#include <thread>

#include "ipc/shared_field.h"

namespace mar::queue_tool {

namespace {

// A busy queue rests only for moments: many attempts in a row, then one now and then.
constexpr int kEagerAttempts = 2000;
constexpr std::chrono::milliseconds kPause{1};
constexpr std::chrono::milliseconds kPatience{300};

const QueueLayout& kLayout = kCommandQueueLayout;

class AttachedSegment {
 public:
  explicit AttachedSegment(int id) : address_(shmat(id, nullptr, SHM_RDONLY)) {}
  ~AttachedSegment() {
    if (usable()) shmdt(address_);
  }
  AttachedSegment(const AttachedSegment&) = delete;
  AttachedSegment& operator=(const AttachedSegment&) = delete;

  bool usable() const { return reinterpret_cast<intptr_t>(address_) != -1; }

  template <typename T>
  const T& at(uint64_t offset) const {
    return *reinterpret_cast<const T*>(static_cast<const uint8_t*>(address_) + offset);
  }

 private:
  void* address_;
};

_TIPCHeadItem copy_head(const _TIPCHeadItem& head) {
  return {load_shared(head.state),
          0,
          load_shared(head.semNumber),
          {load_shared(head.owner.process_id), load_shared(head.owner.thread_id)},
          load_shared(head.firstItem)};
}

QueueImage copy_queue(const AttachedSegment& segment, uint16_t slots) {
  QueueImage image;
  const auto& header = segment.at<QueueHeader>(0);
  image.slots = slots;
  image.items = load_shared(header.itemCount);
  image.heads_in_use = load_shared(header.headsInUse);
  image.free_list = load_shared(header.freeList);
  image.state = load_shared(header.queueState);
  image.heads.reserve(slots);
  image.next.reserve(slots);
  for (uint16_t i = 0; i < slots; ++i) {
    image.heads.push_back(copy_head(segment.at<_TIPCHeadItem>(kLayout.head_offset(i))));
    const uint64_t slot = kLayout.slot_offset(slots, i);
    image.next.push_back(
        load_shared(segment.at<uint32_t>(slot + offsetof(CIPCQueueItem<TCLIMessage>, next))));
  }
  return image;
}

Owner owner_of(_TIPCIdentifier owner) {
  if (CIPCUtils::sameIPCIdentifiers(owner, NULL_IPC_ID)) return Owner::kNobody;
  if (CIPCUtils::sameIPCIdentifiers(owner, ZARNENGINE_ID)) return Owner::kEngine;
  return process_is_gone(owner.process_id) ? Owner::kGone : Owner::kAlive;
}

bool same_image(const QueueImage& a, const QueueImage& b) {
  return a.items == b.items && a.heads_in_use == b.heads_in_use && a.free_list == b.free_list &&
         a.state == b.state && a.next == b.next &&
         (a.slots == 0 ||
          std::memcmp(a.heads.data(), b.heads.data(), a.heads.size() * sizeof(_TIPCHeadItem)) == 0);
}

void read_head_semaphores(Snapshot& snapshot) {
  snapshot.uses.assign(snapshot.image->slots, {});
  for (uint16_t i = 0; i < snapshot.image->slots; ++i) {
    const _TIPCHeadItem& head = snapshot.image->heads[i];
    HeadUse& use = snapshot.uses[i];
    if (CIPCUtils::sameIPCIdentifiers(head.owner, NULL_IPC_ID) || !snapshot.wakeup_set) continue;
    if (head.semNumber < kFirstHeadSem || head.semNumber >= snapshot.wakeup_set->size) continue;
    use.posts = semaphore_value(snapshot.wakeup_set->id, head.semNumber);
    use.waiting = semctl(snapshot.wakeup_set->id, head.semNumber, GETNCNT);
  }
}

// Copies until three copies in a row are equal, the lock is free between them, and no other process has taken
// it meanwhile. A copy that caught a writer half-way differs from the next one by the time that writer has
// released the lock, unless it was caught half-way again, in the same change.
void copy_settled(const AttachedSegment& segment, Snapshot& snapshot) {
  const auto slots = static_cast<uint16_t>(kLayout.capacity(snapshot.segment->size));
  const auto lock_held = [&] {
    return snapshot.lock_set && semaphore_value(snapshot.lock_set->id, kLockSem) > 0;
  };
  const auto lock_user = [&] {
    return snapshot.lock_set ? semaphore_process(snapshot.lock_set->id, kLockSem) : 0;
  };
  bool always_held = true;
  const auto deadline = std::chrono::steady_clock::now() + kPatience;
  for (int attempt = 0; !snapshot.settled && (attempt == 0 || std::chrono::steady_clock::now() < deadline);
       ++attempt) {
    if (attempt >= kEagerAttempts) std::this_thread::sleep_for(kPause);
    const pid_t user_before = lock_user();
    snapshot.image = copy_queue(segment, slots);
    const bool held_before = lock_held();
    const bool same_before = same_image(copy_queue(segment, slots), *snapshot.image);
    read_head_semaphores(snapshot);
    const bool held_after = lock_held();
    const bool same_after = same_image(copy_queue(segment, slots), *snapshot.image);
    snapshot.settled = same_before && same_after && !held_before && !held_after && lock_user() == user_before;
    always_held = always_held && held_before && held_after;
  }
  if (!always_held && snapshot.lock > 0) snapshot.lock = 0;
  for (uint16_t i = 0; i < slots; ++i) snapshot.uses[i].owner = owner_of(snapshot.image->heads[i].owner);
}

}  // namespace

Snapshot take_snapshot(const std::string& base) {
  Snapshot snapshot;
  snapshot.control_file = find_control_file(base);
  snapshot.objects = list_ipc_objects();
  if (snapshot.control_file.error != 0) return snapshot;
  const IpcKeys& keys = snapshot.control_file.keys;
  snapshot.segment = with_key(snapshot.objects.segments, keys.segment);
  snapshot.lock_set = with_key(snapshot.objects.semaphore_sets, keys.segment_semaphores);
  snapshot.wakeup_set = with_key(snapshot.objects.semaphore_sets, keys.queue_semaphores);
  if (snapshot.lock_set) {
    const int set = snapshot.lock_set->id;
    snapshot.creator_alive = semaphore_value(set, kCreatorAliveSem);
    snapshot.creator = semaphore_process(set, kCreatorAliveSem);
    snapshot.lock = semaphore_value(set, kLockSem);
    snapshot.lock_user = semaphore_process(set, kLockSem);
  }
  if (!snapshot.segment || !is_queue_size(snapshot.segment->size)) return snapshot;
  const AttachedSegment segment(snapshot.segment->id);
  if (segment.usable()) copy_settled(segment, snapshot);
  return snapshot;
}

bool is_queue_size(uint64_t segment_size_bytes) {
  return segment_size_bytes >= sizeof(QueueHeader) && kLayout.capacity(segment_size_bytes) <= kMaxQueueSlots;
}

bool segment_fits(const Snapshot& snapshot) {
  return snapshot.segment && is_queue_size(snapshot.segment->size) &&
         (snapshot.lock_set || kLayout.capacity(snapshot.segment->size) > 0);
}

}  // namespace mar::queue_tool
