// Names by which engine and clients find each other: control files, key numbers, environment.
#pragma once

#include <cstddef>

// Control files: the path of each is the source of its queue's System V keys.
inline constexpr char APP_ENGINE_IPC_NAME[] = "/var/zarn/controls_ae.zarn";  // application to engine
inline constexpr char ENGINE_APP_IPC_NAME[] = "/var/zarn/controls_ea.zarn";  // engine to application
inline constexpr char CLI_IPC_NAME[] = "/var/zarn/controls_cl.zarn";         // command queue of this client

// Stands between a control file's name and the instance name in a multi-agent installation.
inline constexpr char POST_MULTI_DELIMETER[] = ".";

inline constexpr int IPC_MAX_NAME_LENGTH = 128;
inline constexpr int SEMAPHORE_MAX_COUNT = 32766;

namespace mar {

// Limits that createIPCName is given; a name keeps one character less.
inline constexpr int kQueueNameLimit = 123;
inline constexpr int kSegmentNameLimit = 125;

}  // namespace mar

// Key numbers that ftok mixes into a control file's identity.
inline constexpr int IPC_SEM_ID = 1;  // the segment's two semaphores: lock, creator alive
inline constexpr int IPC_MEM_ID = 2;  // the segment itself

namespace mar {

inline constexpr int kQueueSemId = 3;  // the queue's wake-up semaphores

}  // namespace mar
