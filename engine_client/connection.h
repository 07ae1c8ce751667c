/* The client library for programs that send more than one command: a limit for each call, the cause of a
 * failure, a connection that stays open between commands, and a look at the queue. Compiles as C.
 *
 * Everything here belongs to the calling thread: its deadline, its cause, its connection. Any thread may
 * call.
 *
 * Without a connection each command opens the engine's queue, asks, and closes it again; the threads of a
 * process take turns, and a turn lasts until its answer has come. A thread with a connection of its own waits
 * for no other.
 *
 * fork(): a child inherits the deadline but no connection, and may call at once, whatever the other threads
 * of the parent were doing. Its parent's connections stay as they are.
 *
 * Cancellation: a call can be cancelled while it waits for an answer, at least every 250 ms, and while it
 * pauses. The turn, the memory and the queue are given back, and an answer that comes later reaches no other
 * call.
 *
 * Late answers: a request that ran out of time or was cancelled leaves an answer owed to its thread. Until
 * that has come, the thread's calls start a thread of their own and open the queue for themselves. Once 64
 * answers are owed to a process, its calls return -1 until some of them have come.
 *
 * Signals: a call restarts what a signal has interrupted. A handler must not call, since these functions
 * allocate memory and take locks. One that calls while its own thread is in a call is refused with -1. */
#pragma once

#include <stdint.h>

#include "contract/causes.h"

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

/* Limits each later call of this thread to `milliseconds`; 0, as at the start, to nothing. A command that
 * runs out of time returns -1, and its answer, should it come later, reaches no other call. mar_stop_engine()
 * cuts its last second short. Returns 1, or -1 for a negative limit, which changes nothing. */
int32_t mar_set_deadline(int32_t milliseconds);

/* Why the thread's last call returned -1, -2 or -27, or another code of the engine's own. In a signal handler
 * that interrupted a call: that calls are refused there. */
struct mar_error {
  int code;         /* an enum mar_cause; MAR_CAUSE_NONE after a success */
  const char* text; /* one English sentence, empty after a success; never null */
};

/* Never null. The library owns it; valid until the thread's next call of a mar_ function other than this
 * one. A control file in the text is that of the instance that is set now. */
const struct mar_error* mar_last_error(void);

/* "1.2.3", of the library that runs. */
const char* mar_version(void);

/* Opens a connection for this thread, on which its commands then travel until mar_close(). Results, log and
 * liveness are those of other commands, but for these: the log has no lines about opening and closing the
 * channel, a failed command does not pause for 2 seconds before it says -1 or -2, and an engine that has died
 * is noticed within 250 ms. When another engine has taken over,
 * the connection opens again by itself, once for each command, and repeats only a request that was not
 * queued. Returns 1, also when it is open already; -1 when the engine has no room for the connection, or the
 * call's deadline passed; -2 when no engine can be reached or there is no memory. */
int32_t mar_open(void);

/* Closes it; ending the thread does so too, so mar_open() is not for destructors of thread-specific data.
 * Later commands go as before mar_open(). Returns 1, or -1 when no connection is open. */
int32_t mar_close(void);

/* How full the engine's queue is. */
struct mar_queue_use {
  uint32_t slots;  /* messages that it has room for */
  uint32_t queued; /* messages in it, requests and answers, also for clients that have ended */
};

/* Looks at the queue without its lock and sends nothing, so it also answers for an engine that hangs. What
 * others queue or take meanwhile may be counted or not. Returns 1; -1 for a null `use`; -2 when no engine can
 * be reached. */
int32_t mar_get_queue_use(struct mar_queue_use* use);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
