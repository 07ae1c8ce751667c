// A round trip on an open queue and a whole guarded exchange, each beside its floor and what a program would
// use that need not keep the contract. Client and servers on a core each, or all on one:
//   build/bench/bench/queue_bench [--json FILE] one-core|two-cores
#include <mqueue.h>
#include <sys/msg.h>
#include <sys/socket.h>
#include <sys/un.h>

#include <csignal>
#include <cstdlib>
#include <string>

#include "bench/floor.h"
#include "bench/side_by_side.h"
#include "contract/names.h"
#include "engine_client/exchange.h"
#include "ipc/channel.h"
#include "ipc/naming.h"
#include "standin/queue_owner.h"
#include "tests/support/isolation.h"

namespace mar {

namespace {

constexpr _TIPCIdentifier kClient{1, 1};
bool one_core = false;

// On the other core, until the benchmark ends.
template <typename Serve>
void start_server(Serve serve) {
  floor::start_server([serve] {
    if (!one_core) pin_to_core(1);
    serve();
  });
}

// The stand-in's queue with a server that echoes: no decoding, no decisions.
void serve_queue(int ready) {
  standin::QueueOwner owner(CLI_IPC_NAME, 16);
  if (!owner.create()) return;
  if (write(ready, "r", 1) != 1) return;
  CIPCQueue<TCLIMessage> queue(CLI_IPC_NAME, false);
  long key = -1;
  if (queue.OpenChannel(ZARNENGINE_ID, &key) != 0) return;
  TCLIMessage message;
  while (queue.KeyGet(key, message) == 0 && queue.Put(message.sender, message) == 0) continue;
}

struct PosixQueues {
  mqd_t to_server, to_client;
  static mqd_t open_one(const char* name) {
    mq_attr attributes{};
    attributes.mq_maxmsg = 4;
    attributes.mq_msgsize = sizeof(TCLIMessage);
    mq_unlink(name);
    const mqd_t queue = mq_open(name, O_CREAT | O_RDWR | O_CLOEXEC, 0600, &attributes);
    if (queue == -1) std::perror("mq_open");
    mq_unlink(name);
    return queue;
  }
};

struct SysvMessage {
  long type;
  TCLIMessage message;
};

// A limit of this IPC namespace that is lower than our record.
void raise_limit(const char* file) {
  std::FILE* limit = std::fopen(file, "we");
  if (limit == nullptr) return;
  std::fputs("16384", limit);
  std::fclose(limit);
}

Competitor posix_competitor() {
  raise_limit("/proc/sys/fs/mqueue/msgsize_max");
  const PosixQueues queues{PosixQueues::open_one("/mar_bench_a"), PosixQueues::open_one("/mar_bench_b")};
  static TCLIMessage message{};
  const auto bytes = reinterpret_cast<char*>(&message);
  start_server([=] {
    for (;;) {
      mq_receive(queues.to_server, bytes, sizeof message, nullptr);
      mq_send(queues.to_client, bytes, sizeof message, 0);
    }
  });
  return {"POSIX message queues", [=] {
            mq_send(queues.to_server, bytes, sizeof message, 0);
            mq_receive(queues.to_client, bytes, sizeof message, nullptr);
          }};
}

Competitor sysv_competitor() {
  raise_limit("/proc/sys/kernel/msgmax");
  const int queue = msgget(IPC_PRIVATE, IPC_CREAT | 0600);
  static SysvMessage message{1, {}};
  start_server([=] {
    for (;;) {
      msgrcv(queue, &message, sizeof message.message, 1, 0);
      message.type = 2;
      msgsnd(queue, &message, sizeof message.message, 0);
    }
  });
  return {"System V message queue", [=] {
            message.type = 1;
            if (msgsnd(queue, &message, sizeof message.message, 0) != 0) std::abort();
            msgrcv(queue, &message, sizeof message.message, 2, 0);
          }};
}

Competitor queue_competitor() {
  static CIPCQueue<TCLIMessage> queue(CLI_IPC_NAME, false);
  static long key = -1;
  if (queue.OpenChannel(ZARNENGINE_ID, &key) != 0) std::abort();
  return {"CIPCQueue", [] {
            static TCLIMessage message{};
            message.sender = kClient;
            if (queue.KeyPut(key, message) != 0 || queue.Get(kClient, message) != 0) std::abort();
          }};
}

Competitor exchange_competitor() {
  return {"zarn_send_and_rcv", [] {
            static const unsigned char request[8] = {0, 0, 0, 0, 0, 0, 0, 127};
            static unsigned char reply[CLI_MAX_BUFFER_SIZE];
            if (zarn_send_and_rcv(request, sizeof request, reply) != 1) std::abort();
          }};
}

// What a service with a socket of its own would do: connect, send, receive, close.
Competitor socket_competitor() {
  static const sockaddr_un address = [] {
    sockaddr_un made{};
    made.sun_family = AF_UNIX;
    std::snprintf(made.sun_path + 1, sizeof made.sun_path - 1, "mar_bench.%d", getpid());
    return made;
  }();
  const int server = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const auto* const name = reinterpret_cast<const sockaddr*>(&address);
  if (bind(server, name, sizeof address) != 0 || listen(server, 4) != 0) std::abort();
  start_server([=] {
    static char bytes[sizeof(TCLIMessage)];
    for (;;) {
      const int client = accept(server, nullptr, nullptr);
      recv(client, bytes, sizeof bytes, MSG_WAITALL);
      send(client, bytes, sizeof bytes, 0);
      close(client);
    }
  });
  return {"Unix socket, connected", [name] {
            static char bytes[sizeof(TCLIMessage)];
            const int client = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
            if (connect(client, name, sizeof address) != 0) std::abort();
            send(client, bytes, sizeof bytes, 0);
            recv(client, bytes, sizeof bytes, MSG_WAITALL);
            close(client);
          }};
}

}  // namespace

}  // namespace mar

using namespace mar;

int main(int argc, char** argv) {
  Results results(argc, argv);
  if (!isolate_process()) return 1;
  one_core = argc > 1 && std::string(argv[1]) == "one-core";
  pin_to_core(0);
  floor::Queue queue = floor::Queue::create();
  start_server([queue] { floor::serve(queue); });
  std::vector<Competitor> round_trips = {
      {"floor", [&] { floor::round_trip(queue); }}, posix_competitor(), sysv_competitor()};
  int ready[2];
  if (pipe(ready) != 0) return 1;
  start_server([&] { serve_queue(ready[1]); });
  char byte = 0;
  if (read(ready[0], &byte, 1) != 1) return 1;
  round_trips.insert(round_trips.begin() + 1, queue_competitor());
  const std::string cores = one_core ? "one core" : "two cores";
  side_by_side(results, "Round trip on an open queue, " + cores, round_trips, 200, 100);
  mar::IpcKeys keys;
  if (!mar::impl_ipc_keys(CLI_IPC_NAME, keys)) return 1;
  const key_t all[] = {keys.segment_semaphores, keys.segment, keys.queue_semaphores};
  side_by_side(results, "Whole guarded exchange, " + cores,
               {{"floor", [&] { floor::exchange(queue, CLI_IPC_NAME, all); }},
                exchange_competitor(),
                socket_competitor()},
               200, 50);
}
