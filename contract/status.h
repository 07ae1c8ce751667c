// Status codes of the transport, shared with the engine. All are 64-bit signed; 0 is success. The same values
// are recorded on the calling thread's error stack.
#pragma once

inline constexpr long IPC_UNAVAILABLE = -250;  // no key could be made from the name
inline constexpr long IPC_OPEN_FAILED = -251;  // semaphore set or memory could not be got, attached or sized
inline constexpr long IPC_CREATE_FAILED = -252;     // creating a segment failed at any step
inline constexpr long IPC_READ_FAILED = -253;       // segment read beyond its end
inline constexpr long IPC_WRITE_FAILED = -254;      // segment write beyond its end
inline constexpr long IPC_WRITE_INCOMPLETE = -255;  // segment write cut short at its end
inline constexpr long IPC_IS_NULL = -256;           // reserved for a missing channel
inline constexpr long IPC_DIFFERENT_SENDER = -257;  // reserved

inline constexpr long SHMEM_NOT_INIT = -260;       // operation on a segment that did not initialise
inline constexpr long SHMEM_LOCK_FAILED = -261;    // the segment lock could not be taken
inline constexpr long SHMEM_UNLOCK_FAILED = -262;  // the segment lock could not be released or is not held
inline constexpr long SHMEM_SERVER_DEAD = -263;    // the segment's creator has died

inline constexpr long QUEUE_SUB_NOT_EMPTY = -270;  // reserved
inline constexpr long QUEUE_INVALID_STATE = -271;  // reserved
inline constexpr long QUEUE_GET_FAILED =
    -272;  // the wait on a head failed, its creator died meanwhile, or a chain is broken
inline constexpr long QUEUE_PUT_FAILED = -273;   // posting a head failed, or a chain is broken or circular
inline constexpr long QUEUE_OVERFLOW = -274;     // the queue is full, or no head is free
inline constexpr long QUEUE_WAIT_FAILED = -275;  // the wait on the overflow gate failed
inline constexpr long QUEUE_NOT_INIT = -276;     // operation on a queue that did not initialise
inline constexpr long QUEUE_INVALID_ID =
    -277;  // no head for the identifier, or it was withdrawn while its reader waited
inline constexpr long QUEUE_INVALID_KEY = -278;        // key out of range, or its head is not a channel
inline constexpr long QUEUE_COUNT_FAILED = -279;       // reading a semaphore's waiter count failed
inline constexpr long QUEUE_OVFL_RESET_FAILED = -280;  // posting the overflow gate failed
inline constexpr long QUEUE_RESET_FAILED = -281;       // waking a head's waiters failed
inline constexpr long QUEUE_HEAD_INIT_FAILED = -282;   // reserved
inline constexpr long QUEUE_OVFL_SET_FAILED = -283;    // reserved
inline constexpr long QUEUE_CLOSED = -284;             // the queue is closing or being destroyed
inline constexpr long QUEUE_EMPTY = -285;              // reserved
