// One named block of memory shared between processes, with a lock across processes and a semaphore that tells
// whether its creator is alive. The engine creates a block; clients open it by the same name. Any thread may
// use a handle; making one may be a cancellation point, nothing else is. Failures are also recorded on the
// thread's error stack.
#pragma once

#include <sys/types.h>

#include <atomic>
#include <cstdint>

#include "contract/names.h"
#include "ipc/naming.h"
#include "ipc/process_generation.h"

#pragma GCC visibility push(default)

class CkesSharedMemory {
 public:
  // Opens the existing block `name` (a control file's path, without instance suffix).
  //   remove  remove the kernel objects when this handle is destroyed
  // GetInitResult() tells how it went: 0; SHMEM_SERVER_DEAD, attached and usable, but the creator has died;
  // IPC_UNAVAILABLE, no control file; IPC_OPEN_FAILED, no block.
  CkesSharedMemory(const char* name, bool remove);

  // Creates the block, `size` bytes of zeros, and takes over from an earlier creator, dead or
  // alive. The calling process is the creator; a process that it forks later is not.
  // GetInitResult(): 0 or IPC_CREATE_FAILED.
  CkesSharedMemory(const char* name, uint64_t size, bool remove);

  ~CkesSharedMemory();  // detaches; with remove, removes semaphore set and segment
  CkesSharedMemory(const CkesSharedMemory&) = delete;
  CkesSharedMemory& operator=(const CkesSharedMemory&) = delete;

  // Copy `length` bytes at `offset` of the block to or from `buffer`, under the lock. A length that
  // reaches past the block is cut one byte short of its end. An offset that leaves nothing to copy fails.
  // Return 0, or
  //   SHMEM_NOT_INIT, SHMEM_LOCK_FAILED, SHMEM_UNLOCK_FAILED (copied)
  //   IPC_READ_FAILED, IPC_WRITE_FAILED   nothing there to copy
  // A cut write also leaves IPC_WRITE_INCOMPLETE on the error stack, though it returns 0.
  long Read(uint64_t offset, uint64_t length, void* buffer);
  long Write(uint64_t offset, uint64_t length, const void* buffer);

  // The lock of the block, between processes and threads alike; not recursive. The kernel releases it when
  // its holder dies. Lock waits without limit, or up to the call's deadline if there is one
  // (util/deadline.h): 0, SHMEM_NOT_INIT or SHMEM_LOCK_FAILED. Unlock is for the handle that holds the lock;
  // any other gets SHMEM_UNLOCK_FAILED and changes nothing. When the system refuses to release it, Unlock
  // also returns SHMEM_UNLOCK_FAILED, and HoldsLock() tells whether the lock is still held.
  long Lock();
  long Unlock();

  // Whether this handle holds the lock. False in a forked child: the lock stays with the parent.
  bool HoldsLock() const { return VLockedIn.load(std::memory_order_relaxed) == mar::process_generation(); }

  bool CreatorAlive();  // whether the creating process has not ended yet
  bool CreatorDied();   // whether it has; false as well while the block is being made

  bool IsInitialized() const { return VInitialized; }
  uint64_t GetSize() const { return VSize; }  // bytes
  void* GetAddress() const { return VAddress; }
  long GetInitResult() const { return VInitResult; }
  const mar::IpcKeys& GetKeys() const { return VKeys; }  // of an opened block's control file
  int GetLockId() const { return VSemaphore; }  // of the semaphore set, which each creator makes anew

 private:
  long implOpen(const char* name);
  long implOpenAttached(const char* location);
  long implCreate(const char* name, uint64_t size);
  bool implCreateSemaphores(key_t key);
  bool implRaiseCreatorAlive();
  bool implCreateSegment(key_t key, uint64_t size);
  void implAbandon();
  void implDestroy();
  bool implAttach();
  void implDetach();
  int implCreatorAliveValue() const;  // the creator-alive semaphore's value, -1 if it cannot be read
  long implLock();
  long implUnlock();
  long implRead(uint64_t offset, uint64_t length, void* buffer);
  long implWrite(uint64_t offset, uint64_t length, const void* buffer);
  bool FitLength(uint64_t offset, uint64_t& length) const;

  bool VInitialized = false;
  mar::IpcKeys VKeys = {};
  int VSemaphore = -1;
  int VMemory = -1;
  void* VAddress = nullptr;
  uint64_t VSize = 0;
  bool VRemove;
  long VInitResult = 0;
  std::atomic<uint32_t> VLockedIn = 0;  // the process generation that took the lock; 0 when it is not held
};

#pragma GCC visibility pop
