// Access to memory that other processes can write. A field is read once, into a local that is then checked
// and used. Stores keep their order: a process that is killed between two of them leaves what the order
// promises. Whole messages and blocks go through copy_shared and clear_shared.
#pragma once

#include <atomic>
#include <cstdint>
#include <cstring>
#include <type_traits>

namespace mar {

template <typename T>
T load_shared(const T& field) {
  return std::atomic_ref<T>(const_cast<T&>(field)).load(std::memory_order_relaxed);
}

template <typename T>
void store_shared(T& field, std::type_identity_t<T> value) {
  std::atomic_ref<T>(field).store(value, std::memory_order_release);
}

// Stores `value` if the field still holds `expected`.
template <typename T>
void replace_shared(T& field, std::type_identity_t<T> expected, std::type_identity_t<T> value) {
  std::atomic_ref<T>(field).compare_exchange_strong(expected, value);
}

// To or from a segment. Another process may write meanwhile: what arrives is then a mixture, never more.
inline void copy_shared(void* to, const void* from, uint64_t size_bytes) {
  std::memcpy(to, from, size_bytes);
}

inline void clear_shared(void* at, uint64_t size_bytes) { std::memset(at, 0, size_bytes); }

}  // namespace mar
