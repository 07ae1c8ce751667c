// What a large queue costs: a put and a get on a queue that is opened for them, with 50 to 31998 heads, of
// which the client's is the last one; and on a chain of 1 to 1000 messages. The floor makes the same system
// calls, but for the one that maps the pages of many heads, and reads the same heads and links, with nothing
// checked.
//   build/bench/bench/growth_bench [--json FILE]
#include <sys/ipc.h>
#include <sys/prctl.h>
#include <sys/sem.h>
#include <sys/shm.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cstdlib>
#include <cstring>

#include "bench/floor.h"
#include "bench/side_by_side.h"
#include "contract/names.h"
#include "contract/queue_layout.h"
#include "ipc/naming.h"
#include "ipc/queue.h"
#include "ipc/shared_memory.h"
#include "standin/queue_owner.h"
#include "tests/support/isolation.h"

namespace mar {

namespace {

constexpr _TIPCIdentifier kClient{1, 1};

// The engine's queue without an engine: one that lives, and takes nothing.
class Queue {
 public:
  explicit Queue(uint16_t slots) : owner_(CLI_IPC_NAME, slots) {
    if (!owner_.create()) std::abort();
  }
  // Gives every head but the first and the last to some client.
  void occupy_heads() {
    CkesSharedMemory memory(CLI_IPC_NAME, false);
    auto* const bytes = static_cast<uint8_t*>(memory.GetAddress());
    for (uint16_t i = 1; i + 1 < owner_.slots(); ++i) {
      auto& head = *reinterpret_cast<_TIPCHeadItem*>(bytes + kCommandQueueLayout.head_offset(i));
      head.owner = {static_cast<uint32_t>(getpid()), i + 1000u};
      head.state = HEAD_CHANNEL;
    }
    reinterpret_cast<QueueHeader*>(bytes)->headsInUse = static_cast<uint16_t>(owner_.slots() - 1);
  }
  void put(_TIPCIdentifier head, int messages) {
    CIPCQueue<TCLIMessage> queue(CLI_IPC_NAME, false);
    TCLIMessage message{};
    for (int i = 0; i < messages; ++i)
      if (queue.Put(head, message) != 0) std::abort();
  }

 private:
  standin::QueueOwner owner_;
};

void exchange() {
  CIPCQueue<TCLIMessage> queue(CLI_IPC_NAME, false);
  static TCLIMessage message{};
  if (queue.Put(kClient, message) != 0 || queue.Get(kClient, message) != 0) std::abort();
}

// The same calls, walks and copies, unguarded.
class Floor {
 public:
  Floor() {
    IpcKeys keys;
    if (!impl_ipc_keys(CLI_IPC_NAME, keys)) std::abort();
    keys_[0] = keys.segment_semaphores;
    keys_[1] = keys.segment;
    keys_[2] = keys.queue_semaphores;
  }
  void exchange() {
    queue_ = floor::open_queue(CLI_IPC_NAME, keys_);
    lock();
    const _TIPCHeadItem* head = find_head();
    walk_chain(*head);
    std::memcpy(slot(header().freeList), &message_, sizeof message_);
    step(queue_.wake_set, head->semNumber, 1);
    unlock();
    lock();
    head = find_head();
    unlock();
    step(queue_.wake_set, head->semNumber, -1);
    lock();
    walk_chain(*head);
    // The oldest message, which on an empty chain is the one just put.
    const uint32_t first = head->firstItem;
    std::memcpy(&message_, slot(first != 0 ? first : header().freeList), sizeof message_);
    semctl(queue_.wake_set, head->semNumber, GETNCNT);
    unlock();
    lock();
    unlock();
    shmdt(queue_.base);
  }

 private:
  const QueueHeader& header() const { return *reinterpret_cast<const QueueHeader*>(queue_.base); }
  uint8_t* slot(uint32_t offset) const { return queue_.base + offset; }
  const _TIPCHeadItem* find_head() const {
    const auto* const heads = reinterpret_cast<const _TIPCHeadItem*>(queue_.base + QueueLayout::kHeadsOffset);
    uint64_t i = 0;
    while (i + 1 < queue_.slots && std::memcmp(&heads[i].owner, &kClient, sizeof kClient) != 0) ++i;
    return &heads[i];
  }
  void walk_chain(const _TIPCHeadItem& head) const {
    const volatile uint32_t* link = &head.firstItem;
    while (const uint32_t offset = *link)
      link = reinterpret_cast<const volatile uint32_t*>(slot(offset) + sizeof(TCLIMessage));
  }
  void step(int set, unsigned short semaphore, short by) {
    sembuf operation{semaphore, by, 0};
    semop(set, &operation, 1);
  }
  void lock() { floor::lock(queue_.lock_set); }
  void unlock() { floor::unlock(queue_.lock_set); }

  key_t keys_[3];
  floor::OpenQueue queue_{};
  TCLIMessage message_{};
};

void measure(Results& results, const std::string& title, int batches) {
  Floor floor;
  side_by_side(results, title, {{"floor", [&] { floor.exchange(); }}, {"CIPCQueue", exchange}}, batches, 10);
}

}  // namespace

}  // namespace mar

using namespace mar;

int main(int argc, char** argv) {
  Results results(argc, argv);
  if (!isolate_process()) return 1;
  pin_to_core(0);
  for (const uint16_t slots : std::initializer_list<uint16_t>{50, 200, 5000, 31998}) {
    Queue queue(slots);
    queue.occupy_heads();
    measure(results, "Exchange with the last of the heads/" + std::to_string(slots), slots > 1000 ? 50 : 200);
  }
  for (const int depth : {1, 10, 100, 1000}) {
    Queue queue(1100);
    queue.put(kClient, depth);
    measure(results, "Exchange on a chain of messages/" + std::to_string(depth), depth > 100 ? 50 : 200);
  }
}
