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
  BareQueue(const char* file, const key_t (&keys)[3]) : queue_(floor::open_queue(file, keys)) {}
  void close() {
    lock();
    unlock();
    shmdt(queue_.base);
  }

  // The owner's head, which may have been an idle one. Leaves the queue locked.
  _TIPCHeadItem& find(_TIPCIdentifier owner) {
    lock();
    auto* const heads = reinterpret_cast<_TIPCHeadItem*>(queue_.base + QueueLayout::kHeadsOffset);
    _TIPCHeadItem* idle = nullptr;
    for (_TIPCHeadItem* head = heads; head != heads + queue_.slots; ++head) {
      if (is(head->owner, owner)) return *head;
      if (idle == nullptr && head->state == HEAD_IDLE) idle = head;
    }
    if (is(idle->owner, NULL_IPC_ID)) {
      ++header().headsInUse;
    } else {
      semctl(queue_.wake_set, idle->semNumber, GETNCNT);
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
    while (semtimedop(queue_.wake_set, &take, 1, &slice) == -1) continue;
    lock();
    const uint32_t offset = head.firstItem;
    Item& slot = item(offset);
    std::memcpy(&message, &slot.message, sizeof message);
    head.firstItem = slot.next;
    slot.next = header().freeList;
    header().freeList = offset;
    --header().itemCount;
    semctl(queue_.wake_set, head.semNumber, GETNCNT);
    head.state = HEAD_IDLE;
    unlock();
  }
  void unlock() { floor::unlock(queue_.lock_set); }

 private:
  static bool is(_TIPCIdentifier left, _TIPCIdentifier right) {
    return left.process_id == right.process_id && left.thread_id == right.thread_id;
  }
  QueueHeader& header() { return *reinterpret_cast<QueueHeader*>(queue_.base); }
  Item& item(uint32_t offset) { return *reinterpret_cast<Item*>(queue_.base + offset); }
  void lock() { floor::lock(queue_.lock_set); }
  void step(uint16_t semaphore, short by) {
    sembuf operation{semaphore, by, 0};
    semop(queue_.wake_set, &operation, 1);
  }

  const floor::OpenQueue queue_;
};

}  // namespace

}  // namespace mar

using namespace mar;

int main(int argc, char** argv) {
  if (argc != 5) return 2;
  const key_t keys[] = {std::atoi(argv[2]), std::atoi(argv[3]), std::atoi(argv[4])};
  static TCLIMessage message{};
  const _TIPCIdentifier self{static_cast<uint32_t>(getpid()), 1};
  BareQueue(argv[1], keys).close();  // is the engine there?
  BareQueue queue(argv[1], keys);
  _TIPCHeadItem& engine = queue.find(ZARNENGINE_ID);
  queue.unlock();
  put_be32(reinterpret_cast<uint8_t*>(&message.command), CMD_DUMP);
  message.sender = {static_cast<uint32_t>(getpid()), self.thread_id};
  queue.put(engine, message);
  queue.get(self, message);
  queue.close();
  return write(STDOUT_FILENO, "mar_dump worked!\n", 17) == 17 ? 0 : 1;
}
