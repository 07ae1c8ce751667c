// What the command line asks for. The parsers write these and the actions read them, on one thread.
#pragma once

#include <cstdint>

extern int32_t iWhichCLICommand;       // command number of the keyword found
extern int32_t addAllEdges;            // 1: a count of edge policies was given
extern int32_t addAllEdgesCount;       // how many of EDGES to add, 0 .. 14
extern int32_t addThresholdsCount;     // how many of ADD_THRESHES to add, 0 .. 3
extern int32_t lMgtPolicyUUID;         // edge policy to remove
extern int32_t VRequestID;             // of a data upload
extern int32_t abStartHour;            // of the upload schedule
extern int32_t abInterval;             // of the upload schedule
extern int32_t iLogLevel;              // for the engine's log
extern int32_t VRealtimeSendInterval;  // no keyword reaches it
extern int32_t iThreadsRunning;        // each stress loop that ends counts it down; nothing counts it up
