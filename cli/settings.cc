#include "cli/settings.h"

int32_t iWhichCLICommand = 0;
int32_t addAllEdges = 0;
int32_t addAllEdgesCount = 1;
int32_t addThresholdsCount = 1;
int32_t lMgtPolicyUUID = 0;
int32_t VRequestID = 0;
int32_t abStartHour = 0;
int32_t abInterval = 1;
int32_t iLogLevel = 0;
int32_t VRealtimeSendInterval = 0;
int32_t iThreadsRunning = 0;
