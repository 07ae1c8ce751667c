// One action per command: prints what it does, sends the command to the engine, prints how that went. What an
// action returns becomes the exit status. A command that the engine refuses does not end its action early,
// except where noted.
#pragma once

#include <cstdint>

extern "C" {

// Return 0 whatever the engine answers.
int32_t StopEng();
int32_t ClearEng();
int32_t RemoveEdgePolicy(int32_t identifier);
int32_t RemoveThreshold();
int32_t UpdateThreshold();

// Adds the first sample policy or, when a count was given, that many of them, whether or not some are
// refused. `ring`: whether the error line of the single policy rings the bell. Returns 0.
int32_t AddEdgePolicy(int32_t ring);

// Adds the first addThresholdsCount sample thresholds; stops at the first one that is refused. Returns 0.
int32_t AddThreshold();

// Returns 0, or -2 on failure. Each update of a process carries the next setting: 3, 4, ...
int32_t UpdateEdgePolicy();

// Returns 0, also when there was nothing to upload, or -2 on failure.
int32_t RequestDataUpload();

// Tries an interval that the engine must refuse, then the user's values. Returns the engine's result for the
// latter, so success is 1.
int32_t SetUploadSchedule();

// Return 0, or 1 on failure.
int32_t dump();
int32_t debug();
int32_t setRealtimeSendInterval();

// The stress loop: adds edge policies 1000 times, 100 milliseconds apart, whatever
// the results. Both return 0.
int32_t clis();
int32_t doClis();

// Returns 1. Does not sleep for a negative time.
int32_t doSleep(int32_t milliseconds);
}
