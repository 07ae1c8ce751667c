// The components and levels of the engine log: their names and masks, and which of them are valid.
// Any thread may call any function; none is a cancellation point. Errors: an unknown name is -1 or null.
#pragma once

// Levels of a message, and thresholds: a message is written if its level is at most the threshold. The
// threshold 0 writes none.
enum { MAR_LOG_MIN = 1, MAR_LOG_MED = 2, MAR_LOG_MAX = 3, MAR_LOG_QUEUE = -100 };

// Some of the components; ComponentFromStringToMask() has the others.
enum {
  MAR_LOG_COMMAND = 1,
  MAR_LOG_BACKEND = 8192,    // the command path and the channel of clients
  MAR_LOG_ALL = 2147483647,  // to enable every component, never the component of a message
};

#ifdef __cplusplus
extern "C" {
#endif
#pragma GCC visibility push(default)

// The mask of a component name, matched exactly; -1 for any other name and for null. The names are NONE,
// COMMAND, ARMSERVER, CORRELATOR, COLLECTION, MARGETDATA, AGGREGATOR, ENGINEMAIN, MAR_UP, MAR_DATA, MLM,
// CONTROLLER, RIM, UPLOAD_ALL, BACKEND, FRONTEND, REPOSITORY, CCAPTURE and ALL.
long ComponentFromStringToMask(const char* name);

// The name of a component mask as a new heap string that the caller frees; null if it has none (0, sums other
// than 127, "ALL") or memory runs out.
char* ComponentFromMaskToString(long mask);

// "MIN" 1, "MED" 2, "MAX" 3, "LOGQUEUE" -100; -1 for any other name and for null.
int ThresholdFromStringToValue(const char* name);

// 0 for a valid level or threshold (0 .. 3 and -100), else -1.
int ValidateLogThreshold(int threshold);

// 0 for a valid component mask, else -1. Kept as is: 40, the mask of "COLLECTION", is not valid, although its
// bits 8 and 32 are; nor is 128, although "UPLOAD_ALL" contains it.
int ValidateCompID(long mask);

#pragma GCC visibility pop
#ifdef __cplusplus
}
#endif
