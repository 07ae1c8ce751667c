/* Why a call of the client library failed. Part of the public interface, so it compiles as C as well. Numbers
 * are never used again for something else: programs may store and compare them. */
#pragma once

enum mar_cause {
  MAR_CAUSE_NONE = 0,

  /* No engine can be reached. */
  MAR_CAUSE_NO_CONTROL_FILE = 1, /* the control file does not exist */
  MAR_CAUSE_NO_ACCESS = 2,       /* the control file cannot be examined */
  MAR_CAUSE_NO_QUEUE = 3,        /* the control file exists, the queue does not */
  MAR_CAUSE_NO_PERMISSION = 4,   /* the kernel objects belong to another user */
  MAR_CAUSE_KEY_CLASH = 5,       /* the kernel objects are not those of a queue */
  MAR_CAUSE_HALF_MADE = 6,       /* the engine is still starting, or was interrupted */
  MAR_CAUSE_CREATOR_DEAD = 7,    /* the engine has died */
  MAR_CAUSE_CLOSING = 8,         /* the engine is closing its queue */
  MAR_CAUSE_DESTROYED = 9,       /* the engine has given up its queue */
  MAR_CAUSE_BAD_STATE = 10,      /* the queue's state is unknown */
  MAR_CAUSE_NO_MEMORY = 11,

  /* The engine runs, but there was no exchange. */
  MAR_CAUSE_QUEUE_FULL = 20,
  MAR_CAUSE_NO_HEAD = 21,          /* no head of the queue is free for this thread */
  MAR_CAUSE_WITHDRAWN = 22,        /* the engine refused this client its answer */
  MAR_CAUSE_DAMAGED = 23,          /* the queue's numbers contradict each other */
  MAR_CAUSE_LOCK_FAILED = 24,      /* the queue's lock could not be taken or released */
  MAR_CAUSE_WAIT_FAILED = 25,      /* the wait for the answer failed */
  MAR_CAUSE_ANSWER_TOO_LONG = 26,  /* for memory or for an int */
  MAR_CAUSE_REQUEST_TOO_LONG = 27, /* for a record */
  MAR_CAUSE_DEADLINE = 28,         /* the caller's deadline passed */
  MAR_CAUSE_NESTED_CALL = 29,      /* a signal handler called while its thread was in a call */
  MAR_CAUSE_ANSWERS_OWED = 30,     /* answers to earlier requests must come first */

  /* There was an answer. */
  MAR_CAUSE_WRONG_MARKER = 40, /* it does not begin as an answer of the engine does */
  MAR_CAUSE_ENGINE_SAID = 41,  /* the result is the engine's own */

  /* The call itself was wrong. */
  MAR_CAUSE_BAD_ARGUMENT = 60,
  MAR_CAUSE_NOT_OPEN = 61 /* mar_close() without an open connection */
};
