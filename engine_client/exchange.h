// One exchange with the engine: one request out, one answer back, and after a failure the verdict whether the
// engine is gone or merely did not answer. Any thread may call. Whole exchanges are serialised, but for those
// of threads that have a connection open (engine_client/connection.h). The call's deadline, if there is one,
// bounds every wait (util/deadline.h). A child forked while another thread exchanges may call at once.
//
// The answer to one request is never returned for another, however late it comes: while an answer to an
// earlier request of the calling thread's identity {process, thread} may still come, the exchange runs on a
// thread started for it, as another identity. The process remembers such identities; once there are 64, it
// asks nothing more until some of their answers have come. An engine that answers one request twice is beyond
// this: the second answer is dropped if it is there before the thread's next request, and is otherwise taken
// for the next answer.
//
// A request is a buffer of header (8 bytes: process id and message code, both big-endian) and payload,
// `length` bytes in all, at most CLI_MAX_BUFFER_SIZE.
#pragma once

#include "runtime/mutex.h"

extern "C" {

// Serialises exchanges. Made during static initialisation, never destroyed.
extern CkesMutex* pMutex;

// The bare exchange. Returns 1 and stores in *reply a block from malloc, which the caller frees, of at least
// CLI_MAX_BUFFER_SIZE bytes, with zeros past the answer. Stores null if that block cannot be allocated.
// Returns 0 if the exchange failed; *reply is unchanged.
int zarn_send_rcv_from_mar_engine(const unsigned char* request, int length, unsigned char** reply);

// The guarded exchange. `reply`: null, or the caller's CLI_MAX_BUFFER_SIZE bytes, which a success fills; a
// longer answer is cut. Returns 1, MAR_EXCHANGE_FAILED (the engine runs) or MAR_ENGINE_NOT_RUNNING. After a
// failed exchange it pauses for 2 seconds before it looks which of the two applies.
int zarn_send_and_rcv(const unsigned char* request, int length, unsigned char* reply);

// As zarn_send_and_rcv, but waits up to 60 seconds for the engine to start. Returns MAR_EXCHANGE_FAILED if
// it does not.
int zarnStartSend(const unsigned char* request, int length, unsigned char* reply);

// As zarn_send_and_rcv, but hands over the whole answer, however long: *reply as in the bare exchange. The
// last argument is not used.
int zarn_send_and_rcv_long_msg(const unsigned char* request, int length, unsigned char** reply, int unused);
}

namespace mar {

// As zarn_send_and_rcv, into a reply that holds CLI_MAX_BUFFER_SIZE zeros: only what came is copied. A fresh
// page costs more than the exchange's own work on it.
int exchange_into_zeros(const unsigned char* request, int length, unsigned char* reply);

}  // namespace mar
