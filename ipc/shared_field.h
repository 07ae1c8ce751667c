// Access to memory that other processes can write. A field is read once, into a local that is then checked
// and used. Stores keep their order: a process that is killed between two of them leaves what the order
// promises. Whole messages and blocks go through copy_shared and clear_shared.
#pragma once

#include <cstdint>
#include <cstring>
#include <type_traits>

namespace mar {

// The compiler's own atomic operations, because std::atomic_ref takes no const field and not every C++
// library has it. A field is a number of up to eight bytes at its natural alignment, so none needs a library
// call.
template <typename T>
T load_shared(const T& field) {
  static_assert(__atomic_always_lock_free(sizeof(T), nullptr));
  return __atomic_load_n(&field, __ATOMIC_RELAXED);
}

template <typename T>
void store_shared(T& field, std::common_type_t<T> value) {
  static_assert(__atomic_always_lock_free(sizeof(T), nullptr));
  __atomic_store_n(&field, value, __ATOMIC_RELEASE);
}

// Stores `value` if the field still holds `expected`.
template <typename T>
void replace_shared(T& field, std::common_type_t<T> expected, std::common_type_t<T> value) {
  static_assert(__atomic_always_lock_free(sizeof(T), nullptr));
  __atomic_compare_exchange_n(&field, &expected, value, false, __ATOMIC_SEQ_CST, __ATOMIC_SEQ_CST);
}

// To or from a segment. Another process may write meanwhile: what arrives is then a mixture, never more.
inline void copy_shared(void* to, const void* from, uint64_t size_bytes) {
  std::memcpy(to, from, size_bytes);
}

inline void clear_shared(void* at, uint64_t size_bytes) { std::memset(at, 0, size_bytes); }

}  // namespace mar
