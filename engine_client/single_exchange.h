// One request and its answer, on whichever channel and thread they may travel.
#pragma once

#include "ipc/cause.h"
#include "runtime/error_stack.h"
#include "util/deadline.h"

namespace mar {

inline constexpr char kExchangeName[] = "zarn_send_rcv_from_mar_engine";  // the exchange's name in the log

// One request, its answer and how it went.
struct Exchange {
  const unsigned char* request;
  int length;                      // bytes
  unsigned char* reply = nullptr;  // the caller's CLI_MAX_BUFFER_SIZE bytes; a longer answer is cut to them
  bool reply_is_zero = false;      // so only what came is written there
  // After success `reply` or, without one, a block to be freed: null without memory for it. Zeros fill either
  // up to CLI_MAX_BUFFER_SIZE.
  unsigned char* answer = nullptr;
  bool connected = false;  // on a connection of its own, not on the process's channel
  bool succeeded = false;
  long rc = 0;                // the channel's last code
  Deadline deadline = {};     // of the call
  CkesErrorStack trail = {};  // of a failure on a thread of its own
  Cause cause = {};           // the same failure's
};

// Exchanges under an identity to which no answer is owed: a late answer to an earlier request could otherwise
// pass for the answer to this one. When the calling thread's identity will not do, the exchange gets a thread
// of its own, whose number makes another identity. A connected exchange uses the calling thread's connection
// if it can; any other needs the turn.
void exchange_where_nothing_is_owed(Exchange& exchange);

}  // namespace mar
