// Names and keys of IPC objects, and the identities of queue users. Everything starts from a control file:
// its path is the name, and its inode yields the System V keys. Any thread may call any function, as long as
// none changes the environment; none is a cancellation point.
#pragma once

#include <sys/types.h>

#include "contract/identity.h"

#pragma GCC visibility push(default)

class CIPCUtils {
 public:
  // Builds the name of an IPC object: `base`, then `suffix` if not null, then, in a multi-agent installation,
  // "." and the instance name. The result is cut to maxLength - 1 characters.
  //   out  receives it with its terminator; must hold maxLength + 1 bytes
  // Do not pass a name that this function has built: a multi-agent name would carry the instance twice.
  static void createIPCName(const char* base, const char* suffix, int maxLength, char* out);

  static bool sameIPCIdentifiers(_TIPCIdentifier a, _TIPCIdentifier b) {
    return a.process_id == b.process_id && a.thread_id == b.thread_id;
  }
};

int GetProcessID();

// {processId, calling thread's id cut to 32 bits}
_TIPCIdentifier GetIpcIdentifier(int processId);

// Removes the shared memory segment of `key`, if there is one of at least `size` bytes. Returns 0, also when
// there is none, or the errno of the failed removal. For an engine's clean-up; no client calls it.
int getAndRemoveSharedMemory(int key, unsigned long size);

namespace mar {

// Whether no process has this number any more. A process that the caller may not signal counts as alive. The
// number is one of the caller's process namespace: a user in another namespace looks gone.
bool process_is_gone(uint32_t process_id);

// The three keys of one control file. They equal what ftok returns for IPC_SEM_ID, IPC_MEM_ID and
// kQueueSemId, but come from one stat, so all three belong to the same file even if it is replaced meanwhile.
struct IpcKeys {
  key_t segment_semaphores;
  key_t segment;
  key_t queue_semaphores;
};

// Fills `keys` for the file `name`. False, with errno set, if stat fails.
bool impl_ipc_keys(const char* name, IpcKeys& keys);

}  // namespace mar

#pragma GCC visibility pop
