// The components and levels of the engine log: their names and masks, and which of them are valid.
// Errors: an unknown name is -1 or null.
#pragma once

namespace mar {

// Levels of a message, and thresholds: a message is written if its level is at most the threshold.
inline constexpr int kLogLevelMin = 1;
inline constexpr int kLogLevelMed = 2;
inline constexpr int kLogLevelMax = 3;
inline constexpr int kLogLevelQueue = -100;

// The component under which this client's command path and channel log, "BACKEND".
inline constexpr long kBackend = 8192;

}  // namespace mar

extern "C" {

// The mask of a component name, matched exactly; -1 for any other name and for null.
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

}  // extern "C"
