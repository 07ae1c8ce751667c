// The semaphore set of one message queue: marker, overflow gate, and a wake-up semaphore per head. Only
// semaphore operations live here; ipc/queue_core.h decides what they mean for the queue. Return codes
// are the queue's. Any thread may call any operation of a set that is open; none is a cancellation point.
// An engine makes the set; it goes with implDestroy() only, not with the object.
#pragma once

#include <sys/types.h>

#include <cstdint>

#include "contract/names.h"
#include "ipc/naming.h"

#pragma GCC visibility push(default)

namespace mar {

class QueueSemaphores {
 public:
  enum class WaitEnd {
    kTaken,   // one post was taken
    kLook,    // the time slice ran out or a signal came: look at the queue, then wait again
    kFailed,  // the set is gone or the semaphore does not exist
  };

  // Opens (items == 0) or makes (items > 0: one semaphore per head, all 0, then the marker) the set of the
  // control file `name`, a built IPC name. Making removes a set that an earlier creator left. False on any
  // failure, which is traced.
  //   keys  of that control file, or null to look it up
  bool implInitialize(const char* name, int items, const IpcKeys* keys = nullptr);
  bool implDestroy();  // removes the set from the system

  // `semNumber` is kOverflowSem or what a head holds: the caller has checked that to lie in 2 .. N+1.
  WaitEnd implGet_ID(uint16_t semNumber, int slice_ms);  // takes one post; slice_ms < 0 waits without limit
  WaitEnd implTryGet_ID(uint16_t semNumber);           // takes a post that is already there, or returns kLook
  void implDrain_ID(uint16_t semNumber);               // takes every post that is there
  long implPut_ID(uint16_t semNumber);                 // 0 or QUEUE_PUT_FAILED
  long implWaitCount(uint16_t semNumber, int& count);  // processes waiting on it; 0 or QUEUE_COUNT_FAILED
  long implResetWait(uint16_t semNumber, int count);   // posts `count` times; 0 or QUEUE_RESET_FAILED

  long implWaitOverflow();                // waits without limit; 0 or QUEUE_WAIT_FAILED
  long implResetOverflow(int count = 1);  // posts; a gate that is full is open: 0 or QUEUE_OVFL_RESET_FAILED
  long implSetOverflow() { return 0; }    // nothing to do: at 0 the gate is closed

 private:
  bool implCreate(key_t key, int count);
  WaitEnd implTake(uint16_t semNumber, const struct timespec* limit, short flags);

  int VSemaphore = -1;
};

}  // namespace mar

#pragma GCC visibility pop
