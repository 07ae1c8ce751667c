// Who uses a queue: the identity that a queue head carries as its owner and a message as its sender.
#pragma once

#include <cstddef>
#include <cstdint>
#include <type_traits>

struct _TIPCIdentifier {
  uint32_t process_id;  // getpid() of the user
  uint32_t thread_id;   // the calling thread's id, cut to 32 bits
};
static_assert(sizeof(_TIPCIdentifier) == 8 && alignof(_TIPCIdentifier) == 4);
static_assert(offsetof(_TIPCIdentifier, process_id) == 0 && offsetof(_TIPCIdentifier, thread_id) == 4);
static_assert(std::is_trivially_copyable_v<_TIPCIdentifier>);

inline constexpr _TIPCIdentifier NULL_IPC_ID{0xFFFFFFFFu, 0xFFFFFFFFu};  // marks a free head
inline constexpr _TIPCIdentifier ZARNENGINE_ID{0, 0};                    // the engine itself
