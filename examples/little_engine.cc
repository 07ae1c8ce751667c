// A complete engine that accepts every command: makes the queue, answers each request with a success, frees
// what dead clients leave, and removes all it has made when it ends, on the stop command or a signal.
#include <fcntl.h>
#include <mar/contract/byte_order.h>
#include <mar/contract/names.h>
#include <mar/ipc/lay_out_queue.h>
#include <mar/ipc/naming.h>
#include <mar/ipc/queue.h>
#include <mar/ipc/queue_semaphores.h>
#include <mar/ipc/shared_memory.h>
#include <mar/runtime/thread_library.h>
#include <sys/file.h>
#include <sys/sem.h>
#include <unistd.h>

#include <csignal>
#include <cstdio>
#include <cstring>
#include <optional>

namespace {
constexpr uint16_t kSlots = 16;
constexpr int kLookMs = 250;     // how often the engine looks up from its head
constexpr int kLastLooks = 200;  // 10 ms apart, while clients read their last answers

volatile std::sig_atomic_t stop = 0;
void on_signal(int) { stop = 1; }

class Engine {
 public:
  bool create();
  void serve();
  void remove();

 private:
  bool take_control_file();
  void answer(const TCLIMessage& request);
  void reap();
  _TIPCHeadItem& head(uint16_t i) {
    auto* base = static_cast<uint8_t*>(block_->GetAddress());
    return *reinterpret_cast<_TIPCHeadItem*>(base + mar::kCommandQueueLayout.head_offset(i));
  }

  char path_[mar::kSegmentNameLimit + 1] = "";  // of the control file
  std::optional<CkesSharedMemory> block_;       // as its creator, which lives as long as this process
  std::optional<CIPCQueue<TCLIMessage>> queue_;
  mar::QueueSemaphores semaphores_;
  long key_ = -1;  // of the engine's own head
};

// Holds a lock on the file while the process lives, so that a second engine cannot take over. A dead engine's
// objects go: a segment of another size would mean another number of slots.
bool Engine::take_control_file() {
  CIPCUtils::createIPCName(CLI_IPC_NAME, nullptr, mar::kSegmentNameLimit, path_);
  const int file = open(path_, O_RDONLY | O_CREAT | O_CLOEXEC, 0666);
  if (file < 0 || flock(file, LOCK_EX | LOCK_NB) != 0) return false;
  if (CkesSharedMemory(CLI_IPC_NAME, false).CreatorAlive()) return false;
  mar::IpcKeys keys;
  if (!mar::impl_ipc_keys(path_, keys)) return false;
  const int set = semget(keys.queue_semaphores, 0, 0);
  if (set != -1 && semctl(set, 0, IPC_RMID) != 0) return false;
  return getAndRemoveSharedMemory(keys.segment, 1) == 0;
}

// Clients can come as soon as the queue's semaphore set exists, so that is made last and under the lock.
bool Engine::create() {
  if (!take_control_file()) return false;
  const uint64_t size_bytes = mar::kCommandQueueLayout.segment_size_bytes(kSlots);
  block_.emplace(CLI_IPC_NAME, size_bytes, true);
  char name[mar::kQueueNameLimit + 1];
  CIPCUtils::createIPCName(CLI_IPC_NAME, nullptr, mar::kQueueNameLimit, name);
  if (!block_->IsInitialized() || block_->Lock() != 0) return false;
  mar::lay_out_queue(block_->GetAddress(), size_bytes);
  const bool made = semaphores_.implInitialize(name, kSlots);
  if (block_->Unlock() != 0 || !made) return false;
  queue_.emplace(CLI_IPC_NAME, false);
  return queue_->OpenChannel(ZARNENGINE_ID, &key_) == 0;
}

// One wake-up may stand for several requests, and a client killed in the middle leaves one without a wake-up:
// the head is emptied each time.
void Engine::serve() {
  const auto own = static_cast<uint16_t>(mar::kFirstHeadSem + key_);
  while (stop == 0 && semaphores_.implGet_ID(own, kLookMs) != mar::QueueSemaphores::WaitEnd::kFailed) {
    TCLIMessage request;
    bool taken = false;
    while (queue_->KeyTryGet(key_, request, taken) == 0 && taken) answer(request);
    reap();
  }
}

// A request that names us or no process as its sender gets no answer: that would come back to our own head,
// or claim a free one.
void Engine::answer(const TCLIMessage& request) {
  if (request.sender.process_id == ZARNENGINE_ID.process_id) return;
  if (request.sender.process_id == NULL_IPC_ID.process_id) return;
  uint8_t code_bytes[sizeof request.command];
  std::memcpy(code_bytes, &request.command, sizeof code_bytes);
  const uint32_t code = mar::get_be32(code_bytes);
  TCLIMessage reply = {};
  reply.command = request.command;
  reply.sender = ZARNENGINE_ID;
  reply.kind = CLI_SINGLE;
  mar::put_be32(reply.data, mar::kReplyMarker);
  mar::put_be32(reply.data + mar::kReplyResultOffset, MAR_OK);
  reply.length = 2 * mar::kReplyResultOffset;
  const long result = queue_->Put(request.sender, reply);
  std::printf("command %u: %s\n", code, result == 0 ? "answered" : "no room for the answer");
  if (code == CMD_STOP_ENGINE) stop = 1;
}

// Frees the heads of clients that have died.
void Engine::reap() {
  for (uint16_t i = 0; i < kSlots; ++i) {
    const _TIPCIdentifier owner = {mar::load_shared(head(i).owner.process_id),
                                   mar::load_shared(head(i).owner.thread_id)};
    const bool used =
        mar::load_shared(head(i).state) != HEAD_IDLE || mar::load_shared(head(i).firstItem) != 0;
    int freed = 0;
    if (used && i != key_ && mar::process_is_gone(owner.process_id)) (void)queue_->EmptyHead(i, owner, freed);
  }
}

// New requests are refused from here on. Clients get time to read their answers before everything goes.
void Engine::remove() {
  queue_->SetState(IPCQUEUE_CLOSE);
  auto& header = *static_cast<mar::QueueHeader*>(block_->GetAddress());
  for (int look = 0; look < kLastLooks && mar::load_shared(header.itemCount) != 0; ++look) usleep(10'000);
  queue_->SetState(IPCQUEUE_DESTROY);
  semaphores_.implDestroy();
  block_.reset();
  unlink(path_);
}

}  // namespace

int main() {
  CkesThreadLibrary::Initialize();
  for (const int signal : {SIGTERM, SIGINT}) std::signal(signal, on_signal);
  Engine engine;
  if (!engine.create()) {
    std::fprintf(stderr, "The queue cannot be made: is there an engine already?\n");
    return 1;
  }
  std::puts("ready");
  std::fflush(stdout);
  engine.serve();
  engine.remove();
}
