// Names by which engine and clients find each other: control files, key numbers, environment.
#pragma once

#include "contract/c_language.h"

// Control files: the path of each is the source of its queue's System V keys.
MAR_TEXT(APP_ENGINE_IPC_NAME, "/var/zarn/controls_ae.zarn");  // application to engine
MAR_TEXT(ENGINE_APP_IPC_NAME, "/var/zarn/controls_ea.zarn");  // engine to application
MAR_TEXT(CLI_IPC_NAME, "/var/zarn/controls_cl.zarn");         // command queue of this client

// Stands between a control file's name and the instance name in a multi-agent installation.
MAR_TEXT(POST_MULTI_DELIMETER, ".");

MAR_CONSTANT(int, IPC_MAX_NAME_LENGTH, 128);
MAR_CONSTANT(int, SEMAPHORE_MAX_COUNT, 32766);

#ifdef __cplusplus
namespace mar {

// Limits that createIPCName is given; a name keeps one character less.
inline constexpr int kQueueNameLimit = 123;
inline constexpr int kSegmentNameLimit = 125;

}  // namespace mar
#endif

// Key numbers that ftok mixes into a control file's identity.
MAR_CONSTANT(int, IPC_SEM_ID, 1);  // the segment's two semaphores: lock, creator alive
MAR_CONSTANT(int, IPC_MEM_ID, 2);  // the segment itself

#ifdef __cplusplus
namespace mar {

inline constexpr int kQueueSemId = 3;  // the queue's wake-up semaphores

}  // namespace mar
#endif
