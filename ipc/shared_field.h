// Access to fields that other processes can write. A field is read once, into a local that is then checked
// and used; stores keep their order, so that a process killed between two of them leaves what the order
// promises.
#pragma once

#include <atomic>
#include <type_traits>

template <typename T>
T load_shared(const T& field) {
  return std::atomic_ref<T>(const_cast<T&>(field)).load(std::memory_order_relaxed);
}

template <typename T>
void store_shared(T& field, std::type_identity_t<T> value) {
  std::atomic_ref<T>(field).store(value, std::memory_order_release);
}
