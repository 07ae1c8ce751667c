// Who uses a queue: the identity that a queue head carries as its owner and a message as its sender.
#pragma once

#include "contract/c_language.h"

typedef struct _TIPCIdentifier {
  uint32_t process_id;  // getpid() of the user
  uint32_t thread_id;   // the calling thread's id, cut to 32 bits
} _TIPCIdentifier;
MAR_PINNED(sizeof(_TIPCIdentifier) == 8);
MAR_PINNED(offsetof(_TIPCIdentifier, process_id) == 0 && offsetof(_TIPCIdentifier, thread_id) == 4);

#ifdef __cplusplus
static_assert(alignof(_TIPCIdentifier) == 4);
inline constexpr _TIPCIdentifier NULL_IPC_ID{0xFFFFFFFFu, 0xFFFFFFFFu};  // marks a free head
inline constexpr _TIPCIdentifier ZARNENGINE_ID{0, 0};                    // the engine itself
#else
static const _TIPCIdentifier NULL_IPC_ID = {0xFFFFFFFFu, 0xFFFFFFFFu};
static const _TIPCIdentifier ZARNENGINE_ID = {0, 0};
#endif
