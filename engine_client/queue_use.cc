#include "contract/message.h"
#include "contract/names.h"
#include "engine_client/call.h"
#include "engine_client/connection.h"
#include "ipc/cause.h"
#include "ipc/queue.h"

using namespace mar;

int32_t mar_get_queue_use(mar_queue_use* use) {
  const Call call;
  if (call.is_nested()) return MAR_EXCHANGE_FAILED;
  if (use == nullptr) {
    note_cause(MAR_CAUSE_BAD_ARGUMENT);
    return MAR_EXCHANGE_FAILED;
  }
  CIPCQueue<TCLIMessage> queue(CLI_IPC_NAME, false);
  const bool alive = queue.CreatorAlive();
  if (alive) {
    *use = {queue.Capacity(), queue.ItemCount()};
  } else {
    note_unreachable(queue);
  }
  queue.Detach();  // its destructor would wait for the lock
  return alive ? MAR_OK : MAR_ENGINE_NOT_RUNNING;
}
