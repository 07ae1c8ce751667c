// Status codes of the transport, shared with the engine. All are 64-bit signed; 0 is success. The same values
// are recorded on the calling thread's error stack.
#pragma once

#include "contract/c_language.h"

MAR_CONSTANT(long, IPC_UNAVAILABLE, -250);    // no key could be made from the name
MAR_CONSTANT(long, IPC_OPEN_FAILED, -251);    // semaphore set or memory could not be got, attached or sized
MAR_CONSTANT(long, IPC_CREATE_FAILED, -252);  // creating a segment failed at any step
MAR_CONSTANT(long, IPC_READ_FAILED, -253);    // segment read beyond its end
MAR_CONSTANT(long, IPC_WRITE_FAILED, -254);   // segment write beyond its end
MAR_CONSTANT(long, IPC_WRITE_INCOMPLETE, -255);  // segment write cut short at its end
MAR_CONSTANT(long, IPC_IS_NULL, -256);           // reserved for a missing channel
MAR_CONSTANT(long, IPC_DIFFERENT_SENDER, -257);  // reserved

MAR_CONSTANT(long, SHMEM_NOT_INIT, -260);       // operation on a segment that did not initialise
MAR_CONSTANT(long, SHMEM_LOCK_FAILED, -261);    // the segment lock could not be taken
MAR_CONSTANT(long, SHMEM_UNLOCK_FAILED, -262);  // the segment lock could not be released or is not held
MAR_CONSTANT(long, SHMEM_SERVER_DEAD, -263);    // the segment's creator has died

MAR_CONSTANT(long, QUEUE_SUB_NOT_EMPTY, -270);  // reserved
MAR_CONSTANT(long, QUEUE_INVALID_STATE, -271);  // reserved
// The wait on a head failed, the queue's creator died meanwhile, or a chain is broken.
MAR_CONSTANT(long, QUEUE_GET_FAILED, -272);
MAR_CONSTANT(long, QUEUE_PUT_FAILED, -273);   // posting a head failed, or a chain is broken or circular
MAR_CONSTANT(long, QUEUE_OVERFLOW, -274);     // the queue is full, or no head is free
MAR_CONSTANT(long, QUEUE_WAIT_FAILED, -275);  // the wait on the overflow gate failed
MAR_CONSTANT(long, QUEUE_NOT_INIT, -276);     // operation on a queue that did not initialise
// No head for the identifier, or it was withdrawn while its reader waited.
MAR_CONSTANT(long, QUEUE_INVALID_ID, -277);
MAR_CONSTANT(long, QUEUE_INVALID_KEY, -278);        // key out of range, or its head is not a channel
MAR_CONSTANT(long, QUEUE_COUNT_FAILED, -279);       // reading a semaphore's waiter count failed
MAR_CONSTANT(long, QUEUE_OVFL_RESET_FAILED, -280);  // posting the overflow gate failed
MAR_CONSTANT(long, QUEUE_RESET_FAILED, -281);       // waking a head's waiters failed
MAR_CONSTANT(long, QUEUE_HEAD_INIT_FAILED, -282);   // reserved
MAR_CONSTANT(long, QUEUE_OVFL_SET_FAILED, -283);    // reserved
MAR_CONSTANT(long, QUEUE_CLOSED, -284);             // the queue is closing or being destroyed
MAR_CONSTANT(long, QUEUE_EMPTY, -285);              // reserved
