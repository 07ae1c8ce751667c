// The least program that does what t1 does: the same exchange with the same engine, by the same system calls,
// and a line of output. Nothing is checked. start_bench starts it beside t1.
//   one_shot FILE KEY KEY KEY      the queue's control file; the keys of its segment's semaphores, of the
//   segment and of its semaphores
#include <sys/ipc.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>
#include <ctime>

#include "bench/floor.h"
#include "contract/byte_order.h"
#include "contract/message.h"
#include "contract/queue_layout.h"

namespace mar {

namespace {

using Item = CIPCQueueItem<TCLIMessage>;

class BareQueue {
 public:
  BareQueue(const char* file, const key_t keys[3]) : file_(file), keys_(keys) {}

  void open() {
    struct stat status;  // one for both names of the queue, as for t1
    stat(file_, &status);
    lock_set_ = semget(keys_[0], 2, 0);
    const int memory = shmget(keys_[1], 1, 0);
    base_ = static_cast<uint8_t*>(shmat(memory, nullptr, 0));
    shmid_ds info;
    shmctl(memory, IPC_STAT, &info);
    slots_ = kCommandQueueLayout.capacity(info.shm_segsz);
    semctl(lock_set_, kCreatorAliveSem, GETVAL);
    wake_set_ = semget(keys_[2], 2, 0);
    floor::keep(header().queueState);
    semctl(lock_set_, kCreatorAliveSem, GETVAL);
  }
  void close() {
    lock();
    unlock();
    shmdt(base_);
  }

  // The owner's head, which may have been an idle one. Leaves the queue locked.
  _TIPCHeadItem& find(_TIPCIdentifier owner) {
    lock();
    auto* const heads = reinterpret_cast<_TIPCHeadItem*>(base_ + QueueLayout::kHeadsOffset);
    _TIPCHeadItem* idle = nullptr;
    for (_TIPCHeadItem* head = heads; head != heads + slots_; ++head) {
      if (is(head->owner, owner)) return *head;
      if (idle == nullptr && head->state == HEAD_IDLE) idle = head;
    }
    if (is(idle->owner, NULL_IPC_ID)) {
      ++header().headsInUse;
    } else {
      semctl(wake_set_, idle->semNumber, GETNCNT);
    }
    idle->owner = owner;
    return *idle;
  }
  void put(_TIPCHeadItem& head, const TCLIMessage& message) {
    lock();
    const uint32_t offset = header().freeList;
    Item& slot = item(offset);
    std::memcpy(&slot.message, &message, sizeof message);
    header().freeList = slot.next;
    slot.next = 0;
    head.firstItem = offset;
    ++header().itemCount;
    step(head.semNumber, 1);
    unlock();
  }
  void get(_TIPCIdentifier reader, TCLIMessage& message) {
    _TIPCHeadItem& head = find(reader);
    head.state = HEAD_READER;
    unlock();
    const timespec slice{0, 250'000'000};
    sembuf take{head.semNumber, -1, 0};
    while (semtimedop(wake_set_, &take, 1, &slice) == -1) continue;
    lock();
    const uint32_t offset = head.firstItem;
    Item& slot = item(offset);
    std::memcpy(&message, &slot.message, sizeof message);
    head.firstItem = slot.next;
    slot.next = header().freeList;
    header().freeList = offset;
    --header().itemCount;
    semctl(wake_set_, head.semNumber, GETNCNT);
    head.state = HEAD_IDLE;
    unlock();
  }
  void unlock() { floor::unlock(lock_set_); }

 private:
  static bool is(_TIPCIdentifier left, _TIPCIdentifier right) {
    return left.process_id == right.process_id && left.thread_id == right.thread_id;
  }
  QueueHeader& header() { return *reinterpret_cast<QueueHeader*>(base_); }
  Item& item(uint32_t offset) { return *reinterpret_cast<Item*>(base_ + offset); }
  void lock() { floor::lock(lock_set_); }
  void step(uint16_t semaphore, short by) {
    sembuf operation{semaphore, by, 0};
    semop(wake_set_, &operation, 1);
  }

  const char* file_;
  const key_t* keys_;
  int lock_set_ = -1, wake_set_ = -1;
  uint8_t* base_ = nullptr;
  uint64_t slots_ = 0;
};

}  // namespace

}  // namespace mar

using namespace mar;

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  const key_t keys[] = {std::atoi(argv[2]), std::atoi(argv[3]), std::atoi(argv[4])};
  static TCLIMessage message{};
  const _TIPCIdentifier self{static_cast<uint32_t>(getpid()), 1};
  BareQueue queue(argv[1], keys);
  queue.open();  // is the engine there?
  queue.close();
  queue.open();
  _TIPCHeadItem& engine = queue.find(ZARNENGINE_ID);
  queue.unlock();
  put_be32(reinterpret_cast<uint8_t*>(&message.command), CMD_DUMP);
  message.sender = {static_cast<uint32_t>(getpid()), self.thread_id};
  queue.put(engine, message);
  queue.get(self, message);
  queue.close();
  return write(STDOUT_FILENO, "mar_dump worked!\n", 17) == 17 ? 0 : 1;
}
