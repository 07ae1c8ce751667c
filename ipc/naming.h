// Names and keys of IPC objects, and the identities of queue users. Everything starts from a control file:
// its path is the name, its inode the source of the System V keys.
#pragma once

#include <sys/types.h>

#include "contract/identity.h"

class CIPCUtils {
 public:
  // Builds the name of an IPC object: `base`, then `suffix` if not null, then, in a multi-agent installation,
  // "." and the instance name. The result is cut to maxLength - 1 characters.
  //   out  receives it with its terminator; must hold maxLength + 1 bytes
  // Never feed it a name that it has built: a multi-agent name would carry the instance twice.
  static void createIPCName(const char* base, const char* suffix, int maxLength, char* out);

  static bool sameIPCIdentifiers(_TIPCIdentifier a, _TIPCIdentifier b);
};

int GetProcessID();

// {processId, calling thread's id cut to 32 bits}
_TIPCIdentifier GetIpcIdentifier(int processId);

// Whether no process has this number any more. One that we may not signal lives. Numbers speak of the
// caller's process namespace: a user in another one looks gone.
bool process_is_gone(uint32_t process_id);

// Removes the shared memory segment of `key`, if there is one of at least `size` bytes. Returns 0, also when
// there is none, or the errno of the failed removal. For an engine's clean-up; no client calls it.
int getAndRemoveSharedMemory(int key, unsigned long size);

// The three keys of one control file. They are what ftok gives for IPC_SEM_ID, IPC_MEM_ID and kQueueSemId,
// but from one stat, so all three speak of the same file even if it is replaced meanwhile.
struct IpcKeys {
  key_t segment_semaphores;
  key_t segment;
  key_t queue_semaphores;
};

// Fills `keys` for the file `name`; false with errno set if it cannot be looked at.
bool impl_ipc_keys(const char* name, IpcKeys& keys);
