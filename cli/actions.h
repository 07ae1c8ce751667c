// One action per command: says what it does, sends the command to the engine, says how that went. What each
// returns becomes the exit status. A failing engine ends no action early, except where the action says so.
#pragma once

#include <cstdint>

extern "C" {

// Return 0 whatever the engine answers.
int32_t StopEng();
int32_t ClearEng();
int32_t RemoveEdgePolicy(int32_t identifier);
int32_t RemoveThreshold();
int32_t UpdateThreshold();

// Adds the first of the sample policies, or, when a count was given, as many of them as that, refused ones or
// not. `ring`: whether the error line of the single policy rings the bell. Returns 0.
int32_t AddEdgePolicy(int32_t ring);

// Adds addThresholdsCount of the sample thresholds; the first refused one ends it. Returns 0.
int32_t AddThreshold();

// 0, or -2 on failure. Each update in one process carries another setting: 3, 4, ...
int32_t UpdateEdgePolicy();

// 0, also when there was nothing to upload, or -2 on failure.
int32_t RequestDataUpload();

// Tries an interval that the engine must refuse, then the user's values; returns the engine's result for
// those, so that a success is 1.
int32_t SetUploadSchedule();

// 0, or 1 on failure.
int32_t dump();
int32_t debug();
int32_t setRealtimeSendInterval();

// The stress loop: adds edge policies 1000 times, 100 milliseconds apart, whatever the results. Both return
// 0.
int32_t clis();
int32_t doClis();

// Returns 1. A negative time is none.
int32_t doSleep(int32_t milliseconds);
}
