// What the owner does for its queue while it serves: freeing what the dead have left, and ending the wait of
// clients that get no answer. A look at the heads copies them under the lock; whatever is then done to one of
// them is checked again under the lock, by the queue.
#include <unistd.h>

#include "standin/queue_owner.h"

namespace mar::standin {

namespace {

bool same(_TIPCIdentifier a, _TIPCIdentifier b) { return CIPCUtils::sameIPCIdentifiers(a, b); }

// Owns the slots of a queue that we have filled ourselves. No thread has this number.
_TIPCIdentifier filler() { return {static_cast<uint32_t>(getpid()), NULL_IPC_ID.thread_id}; }

}  // namespace

bool QueueOwner::open_head() {
  if (queue_->OpenChannel(ZARNENGINE_ID, &engine_key_) != 0) return false;
  engine_semaphore_ = static_cast<uint16_t>(kFirstHeadSem + engine_key_);
  return true;
}

std::vector<_TIPCHeadItem> QueueOwner::heads() {
  std::vector<_TIPCHeadItem> heads(slots_);
  if (block_->Read(QueueLayout::kHeadsOffset, heads.size() * sizeof(heads[0]), heads.data()) != 0)
    heads.clear();
  return heads;
}

bool QueueOwner::has_reader(const _TIPCHeadItem& head) {
  int readers = 0;
  return head.semNumber >= kFirstHeadSem && head.semNumber <= slots_ + 1 &&
         semaphores_.implWaitCount(head.semNumber, readers) == 0 && readers > 0;
}

bool QueueOwner::owner_lives(const _TIPCHeadItem& head, Moment now) {
  if (!process_is_gone(head.owner.process_id)) return true;
  if (has_reader(head)) life_signs_.saw_waiting(head.owner, now);
  return life_signs_.lives(head.owner, now);
}

bool QueueOwner::lives(_TIPCIdentifier client, Moment now) {
  if (life_signs_.lives(client, now)) return true;
  for (const _TIPCHeadItem& head : heads()) {
    if (same(head.owner, client)) return owner_lives(head, now);
  }
  return false;
}

int QueueOwner::reap(Moment now) {
  int reaped = 0;
  const auto all = heads();
  for (size_t i = 0; i < all.size(); ++i) {
    const _TIPCHeadItem& head = all[i];
    const bool left_something = head.state != HEAD_IDLE || head.firstItem != 0;
    if (!left_something || !is_client(head.owner) || owner_lives(head, now)) continue;
    int freed = 0;
    bool emptied = false;
    (void)queue_->EmptyHead(static_cast<uint16_t>(i), head.owner, freed, &emptied);
    if (emptied) ++reaped;
  }
  life_signs_.forget_old(now);
  return reaped;
}

void QueueOwner::discard(_TIPCIdentifier client) {
  if (!is_client(client)) return;  // a request may name us as its sender; what we hold are requests
  (void)queue_->EmptyHeadOf(client);
}

bool QueueOwner::has_unread_answers(Moment now) {
  for (const _TIPCHeadItem& head : heads()) {
    if (head.firstItem != 0 && is_client(head.owner) && !same(head.owner, filler()) && owner_lives(head, now))
      return true;
  }
  return false;
}

bool QueueOwner::withdraw(_TIPCIdentifier client) {
  bool withdrawn = false;
  return queue_->WithdrawHead(client, withdrawn) == 0 && withdrawn;
}

bool QueueOwner::restore(_TIPCIdentifier client) {
  bool settled = false;
  return queue_->RestoreHead(client, settled) != 0 || settled;
}

void QueueOwner::fill() {
  const TCLIMessage nothing{};
  while (queue_->Put(filler(), nothing) == 0) continue;
}

void QueueOwner::unfill() { discard(filler()); }

}  // namespace mar::standin
